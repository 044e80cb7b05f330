#include "chart_layout.h"
#include "it8_file.h"

#include <QCryptographicHash>
#include <QDateTime>
#include <QFile>
#include <QMap>
#include <QSet>
#include <algorithm>
#include <cmath>
#include <lcms2.h>
#include <memory>

#include "chart_identify.h"

// Patch sets and chart descriptions are CGATS files read and written through
// Little CMS's IT8 functions; numbers are formatted by Qt so the locale
// cannot change the decimal point.

namespace vireo2::cli::chart {
namespace {

using tools::It8Handle;

const QStringList kCmyk{"CMYK_C", "CMYK_M", "CMYK_Y", "CMYK_K"};
const QStringList kRgb{"RGB_R", "RGB_G", "RGB_B"};
const QStringList kXyz{"XYZ_X", "XYZ_Y", "XYZ_Z"};

It8Handle load(const QString& path, QString* error)
{
    return tools::loadIt8(path, error);
}

QMap<QString, int> columns(void* it8)
{
    char** names = nullptr;
    const int count = cmsIT8EnumDataFormat(it8, &names);
    QMap<QString, int> map;
    for (int c = 0; c < count; ++c)
        map.insert(QString::fromLatin1(names[c]), c);
    return map;
}

QString cell(void* it8, int row, int column)
{
    const char* text = cmsIT8GetDataRowCol(it8, row, column);
    return text ? QString::fromUtf8(text) : QString();
}

QString property(void* it8, const char* key)
{
    const char* text = cmsIT8GetProperty(it8, key);
    return text ? QString::fromUtf8(text) : QString();
}

// Numbers of the named columns of one row; false when one is missing or not a number.
bool numbers(void* it8, const QMap<QString, int>& map, int row, const QStringList& names, QVector<double>* out)
{
    out->clear();
    for (const QString& name : names) {
        bool ok = false;
        out->append(cell(it8, row, map.value(name)).toDouble(&ok));
        if (!ok || !std::isfinite(out->last()))
            return false;
    }
    return true;
}

int tagOf(const QVector<Patch>& patches)
{
    QCryptographicHash hash(QCryptographicHash::Sha1);
    for (const Patch& p : patches)
        for (double v : p.device)
            hash.addData(QByteArray::number(v, 'f', 2));
    return hash.result().at(0) & 1;
}

QString number(double value, int decimals = 4)
{
    return QString::number(value, 'f', decimals);
}

void setProperty(void* it8, const char* key, const QString& value)
{
    cmsIT8SetPropertyStr(it8, key, value.toUtf8().constData());
}

// A strip's patches, darkest and lightest taking turns: every neighbour
// differs clearly from the one before, so the patch finder sees sharp edges
// and dark patches to re-align on all along the row.
QVector<Patch> contrastOrder(const Chart& chart, QVector<Patch> patches)
{
    std::stable_sort(patches.begin(), patches.end(), [&](const Patch& a, const Patch& b) {
        return expectedLightness(chart, a) < expectedLightness(chart, b);
    });
    QVector<Patch> ordered;
    for (int low = 0, high = patches.size() - 1; low <= high; ++low, --high) {
        ordered << patches.at(low);
        if (high != low)
            ordered << patches.at(high);
    }
    return ordered;
}

} // namespace

QString roleName(Role role)
{
    switch (role) {
    case Role::Data: return QStringLiteral("data");
    case Role::Lead: return QStringLiteral("lead");
    case Role::Paper: return QStringLiteral("paper");
    case Role::Cyan: return QStringLiteral("cyan");
    case Role::Code: return QStringLiteral("code");
    case Role::End: return QStringLiteral("end");
    }
    return QString();
}

QVector<bool> stripBits(int strip, int tag)
{
    QVector<bool> bits;
    for (int b = 0; b < kStripBits; ++b)
        bits << bool((strip >> b) & 1);
    bits << bool(tag & 1);
    bits << bool(bits.count(true) % 2);
    return bits;
}

QVector<int> codeSymbols(const QVector<bool>& bits)
{
    QVector<int> symbols;
    int previous = Cyan;
    for (bool bit : bits) {
        previous = (previous + 1 + int(bit)) % 3;
        symbols << previous;
    }
    return symbols;
}

QVector<Patch> Chart::strip(int number) const
{
    QVector<Patch> out;
    for (const Patch& p : patches)
        if (p.strip == number)
            out << p;
    return out;
}

int Chart::dataCount() const
{
    int n = 0;
    for (const Patch& p : patches)
        n += p.role == Role::Data;
    return n;
}

QString Chart::stripLabel(int strip) const
{
    if (stripsPerSheet == 1)
        return QStringLiteral("sheet %1").arg(strip);
    return QStringLiteral("sheet %1, strip %2").arg(sheetOf(strip)).arg(rowOf(strip));
}

QVector<double> Chart::black() const
{
    return deviceFields.size() == 4 ? QVector<double>{0, 0, 0, 100} : QVector<double>{0, 0, 0};
}

QVector<double> Chart::paper() const
{
    return deviceFields.size() == 4 ? QVector<double>{0, 0, 0, 0} : QVector<double>{100, 100, 100};
}

QVector<double> Chart::cyan() const
{
    return deviceFields.size() == 4 ? QVector<double>{100, 0, 0, 0} : QVector<double>{0, 100, 100};
}

QVector<double> Chart::symbol(int symbol) const
{
    return symbol == Black ? black() : symbol == PaperWhite ? paper() : cyan();
}

QString readPatchSet(const QString& path, PatchSet* set)
{
    QString error;
    const It8Handle it8 = load(path, &error);
    if (!it8)
        return error;
    const QMap<QString, int> map = columns(it8.get());
    PatchSet result;
    if (std::all_of(kCmyk.begin(), kCmyk.end(), [&](const QString& f) { return map.contains(f); }))
        result.deviceFields = kCmyk;
    else if (std::all_of(kRgb.begin(), kRgb.end(), [&](const QString& f) { return map.contains(f); }))
        result.deviceFields = kRgb;
    else
        return QStringLiteral("%1 has neither CMYK_C..CMYK_K nor RGB_R..RGB_B fields").arg(path);
    if (!map.contains(QStringLiteral("SAMPLE_ID")))
        return QStringLiteral("%1 has no SAMPLE_ID field").arg(path);
    result.colorRep = property(it8.get(), "COLOR_REP").section(QLatin1Char('_'), 0, 0);
    if (result.colorRep.isEmpty())
        result.colorRep = result.deviceFields.size() == 4 ? QStringLiteral("CMYK") : QStringLiteral("RGB");
    result.inkLimit = property(it8.get(), "TOTAL_INK_LIMIT");
    result.hasExpected = std::all_of(kXyz.begin(), kXyz.end(), [&](const QString& f) { return map.contains(f); });
    const int rows = int(cmsIT8GetPropertyDbl(it8.get(), "NUMBER_OF_SETS"));
    double largest = 0.0;
    QSet<QString> ids;
    for (int row = 0; row < rows; ++row) {
        Patch patch;
        patch.id = cell(it8.get(), row, map.value(QStringLiteral("SAMPLE_ID")));
        if (patch.id.isEmpty() || ids.contains(patch.id))
            return QStringLiteral("%1: row %2 has an empty or repeated SAMPLE_ID").arg(path).arg(row + 1);
        ids.insert(patch.id);
        if (!numbers(it8.get(), map, row, result.deviceFields, &patch.device))
            return QStringLiteral("%1: sample %2 has a device value that is not a number").arg(path, patch.id);
        for (double v : patch.device)
            largest = std::max(largest, v);
        if (result.hasExpected && !numbers(it8.get(), map, row, kXyz, &patch.expectedXyz))
            result.hasExpected = false;
        patch.order = row + 1;
        result.patches << patch;
    }
    if (result.patches.isEmpty())
        return QStringLiteral("%1 holds no samples").arg(path);
    // RGB in CGATS files often comes as 0..255; the chart works in percent.
    const double scale = result.deviceFields.size() == 3 && largest > 100.0 ? 100.0 / 255.0 : 1.0;
    for (Patch& patch : result.patches) {
        for (double& v : patch.device) {
            v *= scale;
            if (v < 0.0 || v > 100.0)
                return QStringLiteral("%1: sample %2 has a device value outside 0..100").arg(path, patch.id);
        }
    }
    *set = result;
    return QString();
}

QString layOut(const PatchSet& set, const LayoutOptions& options, Chart* out)
{
    Chart chart;
    chart.colorRep = set.colorRep;
    chart.deviceFields = set.deviceFields;
    chart.inkLimit = set.inkLimit;
    chart.hasExpected = set.hasExpected;
    chart.patchWidth = options.patchWidth;
    chart.sheetLength = options.sheetLength;
    chart.sheetWidth = options.sheetWidth;
    const int fit = int((options.sheetWidth - kSheetTopMargin) / kStripPitch);
    chart.stripsPerSheet = options.stripsPerSheet > 0 ? options.stripsPerSheet : std::max(1, fit);
    if (chart.stripsPerSheet > fit)
        return QStringLiteral("%1 strips do not fit across a %2 mm sheet (at most %3)")
            .arg(chart.stripsPerSheet).arg(options.sheetWidth).arg(fit);
    const int places = int((options.sheetLength - 2.0 * chart.margin) / options.patchWidth + 1e-9);
    const int perStrip = places - kLeadPatches - kEndPatches;
    if (perStrip < 4)
        return QStringLiteral("a %1 mm sheet holds too few %2 mm patches (at least %3 are needed)")
            .arg(options.sheetLength).arg(options.patchWidth).arg(kLeadPatches + kEndPatches + 4);
    const int total = set.patches.size();
    chart.strips = (total + perStrip - 1) / perStrip;
    if (chart.strips > kMaxStrips)
        return QStringLiteral("%1 patches need %2 strips; at most %3 can be told apart (use longer sheets or narrower patches)")
            .arg(total).arg(chart.strips).arg(kMaxStrips);
    chart.tag = tagOf(set.patches);
    // The patches are shared out evenly, so no strip is nearly empty.
    int next = 0;
    for (int s = 1; s <= chart.strips; ++s) {
        const int count = total * s / chart.strips - total * (s - 1) / chart.strips;
        int place = 0;
        auto add = [&](Role role, const QVector<double>& device, const QString& id = QString()) {
            Patch p;
            p.role = role;
            p.strip = s;
            p.place = ++place;
            p.device = device;
            p.id = id.isEmpty() ? QStringLiteral("S%1-%2%3").arg(s).arg(roleName(role)).arg(place) : id;
            chart.patches << p;
        };
        add(Role::Lead, chart.black());
        add(Role::Paper, chart.paper());
        add(Role::Cyan, chart.cyan());
        for (int symbol : codeSymbols(stripBits(s, chart.tag)))
            add(Role::Code, chart.symbol(symbol));
        for (const Patch& patch : contrastOrder(chart, set.patches.mid(next, count))) {
            add(Role::Data, patch.device, patch.id);
            chart.patches.last().expectedXyz = patch.expectedXyz;
            chart.patches.last().order = patch.order;
        }
        next += count;
        add(Role::End, chart.black());
        add(Role::End, chart.black());
    }
    *out = chart;
    return QString();
}

QString writeChart(const Chart& chart, const QString& path)
{
    It8Handle it8(cmsIT8Alloc(nullptr));
    if (!it8)
        return QStringLiteral("cannot allocate a CGATS table");
    cmsIT8SetSheetType(it8.get(), "CTI2");
    setProperty(it8.get(), "DESCRIPTOR", QStringLiteral("Vireo2 TR3 chart"));
    setProperty(it8.get(), "ORIGINATOR", QStringLiteral("vireo2 chart layout " VIREO2_CLI_VERSION));
    setProperty(it8.get(), "CREATED", QDateTime::currentDateTime().toString(Qt::ISODate));
    setProperty(it8.get(), "COLOR_REP", chart.colorRep);
    if (!chart.inkLimit.isEmpty())
        setProperty(it8.get(), "TOTAL_INK_LIMIT", chart.inkLimit);
    setProperty(it8.get(), "CHART_PATCH_WIDTH_MM", number(chart.patchWidth, 3));
    setProperty(it8.get(), "CHART_SHEET_LENGTH_MM", number(chart.sheetLength, 1));
    setProperty(it8.get(), "CHART_SHEET_WIDTH_MM", number(chart.sheetWidth, 1));
    setProperty(it8.get(), "CHART_MARGIN_MM", number(chart.margin, 1));
    setProperty(it8.get(), "CHART_STRIPS", QString::number(chart.strips));
    setProperty(it8.get(), "CHART_STRIPS_PER_SHEET", QString::number(chart.stripsPerSheet));
    setProperty(it8.get(), "CHART_TAG", QString::number(chart.tag));
    QStringList fields{"SAMPLE_ID", "SAMPLE_LOC", "SHEET", "STRIP", "STRIP_PATCH", "PATCH_ROLE", "SET_ORDER"};
    fields << chart.deviceFields;
    if (chart.hasExpected)
        fields << kXyz;
    cmsIT8SetPropertyDbl(it8.get(), "NUMBER_OF_FIELDS", fields.size());
    cmsIT8SetPropertyDbl(it8.get(), "NUMBER_OF_SETS", chart.patches.size());
    for (int c = 0; c < fields.size(); ++c)
        cmsIT8SetDataFormat(it8.get(), c, fields.at(c).toLatin1().constData());
    for (int row = 0; row < chart.patches.size(); ++row) {
        const Patch& p = chart.patches.at(row);
        QStringList cells{p.id, QStringLiteral("%1-%2").arg(p.strip).arg(p.place), QString::number(chart.sheetOf(p.strip)),
                          QString::number(p.strip), QString::number(p.place), roleName(p.role), QString::number(p.order)};
        for (double v : p.device)
            cells << number(v);
        if (chart.hasExpected)
            for (int k = 0; k < 3; ++k)
                cells << (p.expectedXyz.size() == 3 ? number(p.expectedXyz[k]) : QStringLiteral("0"));
        for (int c = 0; c < cells.size(); ++c)
            cmsIT8SetDataRowCol(it8.get(), row, c, cells.at(c).toUtf8().constData());
    }
    if (!cmsIT8SaveToFile(it8.get(), QFile::encodeName(path).constData()))
        return QStringLiteral("cannot write %1").arg(path);
    return QString();
}

QString readChart(const QString& path, Chart* out)
{
    PatchSet set;
    QString error = readPatchSet(path, &set);
    if (!error.isEmpty())
        return error;
    const It8Handle it8 = load(path, &error);
    const QMap<QString, int> map = columns(it8.get());
    for (const char* field : {"STRIP", "STRIP_PATCH", "PATCH_ROLE", "SET_ORDER"})
        if (!map.contains(QLatin1String(field)))
            return QStringLiteral("%1 is not a chart layout (no %2 field); make one with 'vireo2 chart layout'")
                .arg(path, QLatin1String(field));
    Chart chart;
    chart.colorRep = set.colorRep;
    chart.deviceFields = set.deviceFields;
    chart.inkLimit = set.inkLimit;
    chart.hasExpected = set.hasExpected;
    chart.patchWidth = property(it8.get(), "CHART_PATCH_WIDTH_MM").toDouble();
    chart.sheetLength = property(it8.get(), "CHART_SHEET_LENGTH_MM").toDouble();
    chart.sheetWidth = property(it8.get(), "CHART_SHEET_WIDTH_MM").toDouble();
    chart.margin = property(it8.get(), "CHART_MARGIN_MM").toDouble();
    chart.strips = property(it8.get(), "CHART_STRIPS").toInt();
    chart.stripsPerSheet = property(it8.get(), "CHART_STRIPS_PER_SHEET").toInt();
    chart.tag = property(it8.get(), "CHART_TAG").toInt();
    if (chart.patchWidth < 3.0 || chart.patchWidth > 20.0 || chart.strips < 1 || chart.strips > kMaxStrips
        || chart.stripsPerSheet < 1)
        return QStringLiteral("%1: the chart's keywords (CHART_PATCH_WIDTH_MM, CHART_STRIPS, ...) are missing or out of range").arg(path);
    const QStringList roles{"data", "lead", "paper", "cyan", "code", "end"};
    for (int row = 0; row < set.patches.size(); ++row) {
        Patch p = set.patches.at(row);
        p.strip = cell(it8.get(), row, map.value(QStringLiteral("STRIP"))).toInt();
        p.place = cell(it8.get(), row, map.value(QStringLiteral("STRIP_PATCH"))).toInt();
        const int role = roles.indexOf(cell(it8.get(), row, map.value(QStringLiteral("PATCH_ROLE"))));
        if (role < 0 || p.strip < 1 || p.strip > chart.strips)
            return QStringLiteral("%1: row %2 has no valid strip or role").arg(path).arg(row + 1);
        p.role = Role(role);
        p.order = cell(it8.get(), row, map.value(QStringLiteral("SET_ORDER"))).toInt();
        chart.patches << p;
    }
    // Each strip must run 1..n in order: the reader relies on it.
    for (int s = 1; s <= chart.strips; ++s) {
        const QVector<Patch> strip = chart.strip(s);
        for (int i = 0; i < strip.size(); ++i)
            if (strip.at(i).place != i + 1)
                return QStringLiteral("%1: strip %2 is not in place order").arg(path).arg(s);
        if (strip.size() < kLeadPatches + kEndPatches + 1)
            return QStringLiteral("%1: strip %2 is too short").arg(path).arg(s);
    }
    *out = chart;
    return QString();
}

} // namespace vireo2::cli::chart
