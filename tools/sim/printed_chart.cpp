#include "printed_chart.h"
#include "it8_file.h"

#include <QFile>
#include <QMap>
#include <lcms2.h>
#include <memory>

namespace vireo2::sim {
namespace {

using tools::It8Handle;

// A smear is drawn in quarters of a patch: ink dragged across it, heaviest
// where the smear began.
constexpr int kSmearSteps = 4;
constexpr double kSmear[kSmearSteps] = {0.7, 0.45, 0.2, 0.05};

It8Handle load(const QString& path, QString* error)
{
    return tools::loadIt8(path, error);
}

QString cell(void* it8, int row, int column)
{
    const char* text = cmsIT8GetDataRowCol(it8, row, column);
    return text ? QString::fromUtf8(text) : QString();
}

double property(void* it8, const char* key, double fallback)
{
    const char* text = cmsIT8GetProperty(it8, key);
    bool ok = false;
    const double value = text ? QString::fromUtf8(text).toDouble(&ok) : 0.0;
    return ok ? value : fallback;
}

ReferenceSample smeared(const ReferenceSample& patch, double amount)
{
    ReferenceSample out = patch;
    for (double& r : out.reflectance)
        r *= 1.0 - 0.9 * amount;
    out.fluorescence *= 1.0 - amount;
    return out;
}

} // namespace

std::optional<DeviceTable> readDeviceTable(const QString& path, QString* error)
{
    const It8Handle it8 = load(path, error);
    if (!it8)
        return std::nullopt;
    char** names = nullptr;
    const int fieldCount = cmsIT8EnumDataFormat(it8.get(), &names);
    DeviceTable table;
    int idColumn = -1;
    QVector<int> deviceColumns;
    for (const QString& prefix : {QStringLiteral("CMYK_"), QStringLiteral("RGB_")}) {
        for (int c = 0; c < fieldCount; ++c) {
            const QString name = QString::fromLatin1(names[c]);
            if (name == QLatin1String("SAMPLE_ID"))
                idColumn = c;
            else if (name.startsWith(prefix)) {
                table.fields << name;
                deviceColumns << c;
            }
        }
        if (!deviceColumns.isEmpty())
            break;
    }
    const int expected = table.fields.value(0).startsWith(QLatin1String("CMYK")) ? 4 : 3;
    if (deviceColumns.size() != expected) {
        *error = QStringLiteral("%1 has no CMYK_C..CMYK_K or RGB_R..RGB_B fields").arg(path);
        return std::nullopt;
    }
    const char* rep = cmsIT8GetProperty(it8.get(), "COLOR_REP");
    table.colorRep = rep ? QString::fromUtf8(rep) : QString(expected == 4 ? "CMYK" : "RGB");
    const int rows = int(cmsIT8GetPropertyDbl(it8.get(), "NUMBER_OF_SETS"));
    for (int row = 0; row < rows; ++row) {
        DeviceSample sample;
        sample.id = idColumn >= 0 ? cell(it8.get(), row, idColumn) : QString::number(row + 1);
        for (int column : deviceColumns) {
            bool ok = false;
            sample.device << cell(it8.get(), row, column).toDouble(&ok);
            if (!ok) {
                *error = QStringLiteral("%1: sample %2 has no number in %3").arg(path, sample.id, names[column]);
                return std::nullopt;
            }
        }
        table.samples << sample;
    }
    return table;
}

std::optional<PrintedChart> PrintedChart::fromFile(const QString& path, const PrinterModel& printer, QString* error)
{
    const auto table = readDeviceTable(path, error);
    if (!table)
        return std::nullopt;
    const It8Handle it8 = load(path, error);
    char** names = nullptr;
    const int fieldCount = cmsIT8EnumDataFormat(it8.get(), &names);
    int stripColumn = -1, patchColumn = -1;
    for (int c = 0; c < fieldCount; ++c) {
        if (qstrcmp(names[c], "STRIP") == 0)
            stripColumn = c;
        else if (qstrcmp(names[c], "STRIP_PATCH") == 0)
            patchColumn = c;
    }
    if (stripColumn < 0 || patchColumn < 0) {
        *error = QStringLiteral("%1 is not a chart layout (no STRIP and STRIP_PATCH fields)").arg(path);
        return std::nullopt;
    }
    PrintedChart chart;
    chart.patchWidth_ = property(it8.get(), "CHART_PATCH_WIDTH_MM", 8.0);
    chart.sheetLength_ = property(it8.get(), "CHART_SHEET_LENGTH_MM", 420.0);
    chart.margin_ = property(it8.get(), "CHART_MARGIN_MM", 12.0);
    chart.paper_ = printer.paper();
    QMap<int, QMap<int, ReferenceSample>> strips;
    for (int row = 0; row < table->samples.size(); ++row) {
        const int strip = cell(it8.get(), row, stripColumn).toInt();
        const int patch = cell(it8.get(), row, patchColumn).toInt();
        if (strip < 1 || patch < 1 || strips.value(strip).contains(patch)) {
            *error = QStringLiteral("%1: row %2 has no place of its own on the chart").arg(path).arg(row + 1);
            return std::nullopt;
        }
        strips[strip][patch] = *printer.print(table->samples.at(row).device);
    }
    for (auto strip = strips.cbegin(); strip != strips.cend(); ++strip) {
        if (strip.key() != chart.strips_.size() + 1 || strip->lastKey() != strip->size()) {
            *error = QStringLiteral("%1: strip %2 is missing or has gaps").arg(path).arg(chart.strips_.size() + 1);
            return std::nullopt;
        }
        chart.strips_ << strip->values();
    }
    if (chart.strips_.isEmpty()) {
        *error = QStringLiteral("%1 holds no patches").arg(path);
        return std::nullopt;
    }
    return chart;
}

SheetModel PrintedChart::sheet(const Placement& placement, double edge) const
{
    QList<ReferenceSample> row = strips_.value(placement.strip - 1);
    const int count = row.size();
    QList<ReferenceSample> surfaces;
    const int steps = placement.smudged.isEmpty() ? 1 : kSmearSteps;
    for (int p = 0; p < count; ++p)
        for (int s = 0; s < steps; ++s)
            surfaces << (placement.smudged.contains(p + 1) ? smeared(row.at(p), kSmear[s]) : row.at(p));
    SheetModel::Layout layout;
    layout.edge = edge;
    layout.patchWidth = patchWidth_ / steps;
    layout.margin = margin_;
    layout.farMargin = std::max(margin_, sheetLength_ - margin_ - count * patchWidth_);
    if (placement.reversed) {
        std::reverse(surfaces.begin(), surfaces.end());
        std::swap(layout.margin, layout.farMargin);
    }
    return SheetModel::fromSurfaces(surfaces, paper_, layout);
}

QByteArray printerTruth(const DeviceTable& table, const PrinterModel& printer, Condition condition)
{
    It8Handle it8(cmsIT8Alloc(nullptr));
    cmsIT8SetSheetType(it8.get(), "CTI3");
    cmsIT8SetPropertyStr(it8.get(), "DESCRIPTOR", "Simulated printer truth");
    cmsIT8SetPropertyStr(it8.get(), "ORIGINATOR", "vireo2-sim");
    cmsIT8SetPropertyStr(it8.get(), "COLOR_REP", table.colorRep.toUtf8().constData());
    cmsIT8SetPropertyStr(it8.get(), "PRINTER_MODEL", printer.process().name.toUtf8().constData());
    cmsIT8SetPropertyStr(it8.get(), "SPECTRAL_BANDS", QByteArray::number(kBandCount).constData());
    cmsIT8SetPropertyStr(it8.get(), "SPECTRAL_START_NM", QByteArray::number(kFirstBandNm).constData());
    cmsIT8SetPropertyStr(it8.get(), "SPECTRAL_END_NM",
                         QByteArray::number(kFirstBandNm + kBandStepNm * (kBandCount - 1)).constData());
    cmsIT8SetPropertyStr(it8.get(), "SPECTRAL_NORM", "100");
    QStringList columns = QStringList{QStringLiteral("SAMPLE_ID")} + table.fields;
    for (int band = 0; band < kBandCount; ++band)
        columns << QStringLiteral("SPEC_%1").arg(kFirstBandNm + kBandStepNm * band);
    cmsIT8SetPropertyDbl(it8.get(), "NUMBER_OF_FIELDS", columns.size());
    cmsIT8SetPropertyDbl(it8.get(), "NUMBER_OF_SETS", table.samples.size());
    for (int c = 0; c < columns.size(); ++c)
        cmsIT8SetDataFormat(it8.get(), c, columns.at(c).toLatin1().constData());
    for (int row = 0; row < table.samples.size(); ++row) {
        const DeviceSample& sample = table.samples.at(row);
        QStringList cells{sample.id};
        for (double v : sample.device)
            cells << QString::number(v, 'f', 4);
        for (double v : measuredSpectrum(*printer.print(sample.device), condition, 0, 0.0))
            cells << QString::number(100.0 * v, 'f', 4);
        for (int c = 0; c < cells.size(); ++c)
            cmsIT8SetDataRowCol(it8.get(), row, c, cells.at(c).toUtf8().constData());
    }
    cmsUInt32Number size = 0;
    cmsIT8SaveToMem(it8.get(), nullptr, &size);
    QByteArray text(int(size), '\0');
    cmsIT8SaveToMem(it8.get(), text.data(), &size);
    text.truncate(text.indexOf('\0') < 0 ? text.size() : text.indexOf('\0'));
    return text;
}

} // namespace vireo2::sim
