#include "sheet_model.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <cmath>

namespace vireo2::sim {
namespace {

// Bare track, reflectance factors, 400 to 700 nm.
constexpr double kTrack[kBandCount] = {
    0.0158, 0.0149, 0.0149, 0.0148, 0.0147, 0.0146, 0.0147, 0.0146, 0.0145, 0.0144, 0.0144,
    0.0143, 0.0142, 0.0141, 0.0140, 0.0139, 0.0137, 0.0138, 0.0137, 0.0138, 0.0138, 0.0138,
    0.0137, 0.0138, 0.0137, 0.0139, 0.0139, 0.0139, 0.0139, 0.0139, 0.0139};

// Points across the aperture; the weight of each is the chord of the
// circle there, so the mix follows the area each surface covers.
constexpr int kAperturePoints = 15;

double smoothStep(double nm, double centre, double width)
{
    return 1.0 / (1.0 + std::exp(-(nm - centre) / width));
}

// A printing primary from where it reflects: `low` and `high` are the band
// edges (nm) of its reflecting range; outside it reflects `floor`.
ReferenceSample primary(const QString& name, double low, double high, double floor, double top)
{
    ReferenceSample sample;
    sample.name = name;
    sample.reflectance.resize(kBandCount);
    for (int i = 0; i < kBandCount; ++i) {
        const double nm = kFirstBandNm + i * kBandStepNm;
        const double inside = smoothStep(nm, low, 8.0) * (1.0 - smoothStep(nm, high, 8.0));
        sample.reflectance[i] = floor + (top - floor) * inside;
    }
    return sample;
}

ReferenceSample flat(const QString& name, double factor)
{
    ReferenceSample sample;
    sample.name = name;
    sample.reflectance = QVector<double>(kBandCount, factor);
    return sample;
}

} // namespace

// "tint:<ink>:<coverage>": the ink printed at a coverage (0 to 1) on the
// brightened white paper; its reflectance is the paper's times the ink's
// relative reflectance to the power of the coverage, as halftone tints read
// to a first approximation.
std::optional<ReferenceSample> SheetModel::tint(const QString& name, const QString& inkAndCoverage)
{
    const QStringList parts = inkAndCoverage.split(QLatin1Char(':'));
    bool ok = false;
    const double coverage = parts.value(1).toDouble(&ok);
    const auto ink = parts.size() == 2 ? namedSample(parts.at(0)) : std::nullopt;
    if (!ok || !ink || coverage < 0.0 || coverage > 1.0)
        return std::nullopt;
    const SampleLibrary library = SampleLibrary::builtIn();
    const ReferenceSample paper = library.at(library.indexOf(QStringLiteral("OBA-WHITE")));
    ReferenceSample sample;
    sample.name = name;
    sample.reflectance.resize(kBandCount);
    for (int i = 0; i < kBandCount; ++i) {
        const double relative = std::max(ink->reflectance[i], 1e-4) / paper.reflectance[i];
        sample.reflectance[i] = paper.reflectance[i] * std::pow(relative, coverage);
    }
    sample.fluorescence = paper.fluorescence * (1.0 - coverage);
    return sample;
}

SheetModel::SheetModel() : track_(trackSurface())
{
    const SampleLibrary library = SampleLibrary::builtIn();
    paper_ = library.at(library.indexOf(QStringLiteral("OBA-WHITE")));
}

ReferenceSample SheetModel::trackSurface()
{
    ReferenceSample sample;
    sample.name = QStringLiteral("TRACK");
    sample.reflectance = QVector<double>(kTrack, kTrack + kBandCount);
    return sample;
}

std::optional<ReferenceSample> SheetModel::namedSample(const QString& name)
{
    const QString key = name.trimmed().toLower();
    if (key.startsWith(QLatin1String("grey:"))) {
        bool ok = false;
        const double factor = key.mid(5).toDouble(&ok);
        if (!ok || factor <= 0.0 || factor > 1.0)
            return std::nullopt;
        return flat(name, factor);
    }
    if (key.startsWith(QLatin1String("tint:")))
        return tint(name, key.mid(5));
    if (key == QLatin1String("cyan"))
        return primary(name, 390.0, 560.0, 0.04, 0.75);
    if (key == QLatin1String("magenta")) {
        ReferenceSample s = primary(name, 390.0, 480.0, 0.05, 0.65);
        const ReferenceSample red = primary(name, 600.0, 720.0, 0.0, 0.85);
        for (int i = 0; i < kBandCount; ++i)
            s.reflectance[i] = std::max(s.reflectance[i], red.reflectance[i]);
        return s;
    }
    if (key == QLatin1String("yellow"))
        return primary(name, 500.0, 720.0, 0.05, 0.85);
    if (key == QLatin1String("red"))
        return primary(name, 590.0, 720.0, 0.04, 0.80);
    if (key == QLatin1String("green"))
        return primary(name, 490.0, 580.0, 0.04, 0.45);
    if (key == QLatin1String("blue"))
        return primary(name, 390.0, 480.0, 0.04, 0.40);
    if (key == QLatin1String("black"))
        return flat(name, 0.02);
    const SampleLibrary library = SampleLibrary::builtIn();
    const int index = library.indexOf(name);
    if (index < 0)
        return std::nullopt;
    return library.at(index);
}

std::optional<SheetModel> SheetModel::fromNames(const QStringList& names, double width, QString* error)
{
    if (!(width > 0.5 && width <= 100.0)) {
        *error = QStringLiteral("patch width %1 mm is out of range").arg(width);
        return std::nullopt;
    }
    SheetModel sheet;
    sheet.layout_.patchWidth = width;
    for (const QString& name : names) {
        const auto sample = namedSample(name);
        if (!sample) {
            *error = QStringLiteral("unknown patch \"%1\"").arg(name);
            return std::nullopt;
        }
        sheet.patches_ << *sample;
    }
    if (sheet.patches_.isEmpty()) {
        *error = QStringLiteral("a sheet needs at least one patch");
        return std::nullopt;
    }
    return sheet;
}

SheetModel SheetModel::fromSurfaces(const QList<ReferenceSample>& patches, const ReferenceSample& paper,
                                    const Layout& layout)
{
    SheetModel sheet;
    sheet.layout_ = layout;
    sheet.paper_ = paper;
    sheet.patches_ = patches;
    return sheet;
}

SheetModel SheetModel::withPatches(const QList<ReferenceSample>& patches, double width)
{
    SheetModel sheet;
    sheet.layout_.patchWidth = width;
    sheet.patches_ = patches;
    return sheet;
}

SheetModel SheetModel::defaultChart()
{
    // A dark patch first: the first ink must stand out from the paper.
    QStringList names{QStringLiteral("black"), QStringLiteral("grey:0.8"), QStringLiteral("grey:0.4"),
                      QStringLiteral("grey:0.2"), QStringLiteral("grey:0.1")};
    for (int i = 1; i <= 14; ++i)
        names << QStringLiteral("TCS%1").arg(i, 2, 10, QLatin1Char('0'));
    names << QStringLiteral("cyan") << QStringLiteral("magenta") << QStringLiteral("yellow") << QStringLiteral("red")
          << QStringLiteral("blue");
    QString error;
    return *fromNames(names, 8.0, &error);
}

std::optional<SheetModel> SheetModel::fromFile(const QString& path, QString* error)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        *error = file.errorString();
        return std::nullopt;
    }
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(file.read(1 << 20), &parseError);
    if (!document.isObject()) {
        *error = parseError.error != QJsonParseError::NoError ? parseError.errorString() : QStringLiteral("not a JSON object");
        return std::nullopt;
    }
    const QJsonObject object = document.object();
    QStringList names;
    QList<ReferenceSample> spectra;
    for (const QJsonValue& entry : object.value(QLatin1String("patches")).toArray()) {
        if (entry.isString()) {
            names << entry.toString();
            continue;
        }
        const QJsonArray values = entry.toArray();
        if (values.size() != kBandCount) {
            *error = QStringLiteral("a patch spectrum needs %1 values").arg(kBandCount);
            return std::nullopt;
        }
        names << QStringLiteral("grey:0.5");  // replaced below
        ReferenceSample sample;
        sample.name = QStringLiteral("P%1").arg(names.size());
        for (const QJsonValue& value : values)
            sample.reflectance << value.toDouble();
        spectra << sample;
    }
    auto sheet = fromNames(names, object.value(QLatin1String("width")).toDouble(8.0), error);
    if (!sheet)
        return std::nullopt;
    for (int i = 0, s = 0; i < object.value(QLatin1String("patches")).toArray().size(); ++i)
        if (!object.value(QLatin1String("patches")).toArray().at(i).isString())
            sheet->patches_[i] = spectra.at(s++);
    Layout& layout = sheet->layout_;
    layout.edge = object.value(QLatin1String("edge")).toDouble(layout.edge);
    layout.margin = object.value(QLatin1String("margin")).toDouble(layout.margin);
    layout.farMargin = object.value(QLatin1String("farMargin")).toDouble(layout.farMargin);
    if (object.contains(QLatin1String("paper"))) {
        const auto paper = namedSample(object.value(QLatin1String("paper")).toString());
        if (!paper) {
            *error = QStringLiteral("unknown paper \"%1\"").arg(object.value(QLatin1String("paper")).toString());
            return std::nullopt;
        }
        sheet->paper_ = *paper;
    }
    return sheet;
}

double SheetModel::farEdge() const
{
    return layout_.edge + layout_.margin + patches_.size() * layout_.patchWidth + layout_.farMargin;
}

double SheetModel::patchCentre(int index) const
{
    return layout_.edge + layout_.margin + (index + 0.5) * layout_.patchWidth;
}

const ReferenceSample& SheetModel::surfaceAt(double position) const
{
    if (position < layout_.edge || position >= farEdge())
        return track_;
    const double intoRow = position - layout_.edge - layout_.margin;
    const int index = intoRow < 0.0 ? -1 : int(intoRow / layout_.patchWidth);
    if (index < 0 || index >= patches_.size())
        return paper_;
    return patches_.at(index);
}

QVector<double> SheetModel::reading(double position, double aperture, Condition condition, quint64 seed,
                                    double noise) const
{
    const double radius = aperture / 2.0;
    QList<const ReferenceSample*> surfaces;
    QList<double> weights;
    double total = 0.0;
    for (int i = 0; i < kAperturePoints; ++i) {
        const double u = -radius + (i + 0.5) * aperture / kAperturePoints;
        const double weight = std::sqrt(std::max(0.0, radius * radius - u * u));
        const ReferenceSample* surface = &surfaceAt(position + u);
        const int known = surfaces.indexOf(surface);
        if (known >= 0) {
            weights[known] += weight;
        } else {
            surfaces << surface;
            weights << weight;
        }
        total += weight;
    }
    QVector<double> mixed(kBandCount, 0.0);
    for (int s = 0; s < surfaces.size(); ++s) {
        const QVector<double> values = measuredSpectrum(*surfaces.at(s), condition, seed + quint64(s), noise);
        for (int i = 0; i < kBandCount; ++i)
            mixed[i] += values[i] * weights.at(s) / total;
    }
    return mixed;
}

} // namespace vireo2::sim
