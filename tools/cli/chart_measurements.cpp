#include "chart_measurements.h"

#include <QCryptographicHash>
#include <QDateTime>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>
#include <lcms2.h>
#include <algorithm>
#include <memory>

#include "illuminant.h"
#include "vireo2_colour.h"

namespace vireo2::cli::chart {
namespace {

constexpr int kBands = 31;

struct It8Deleter {
    void operator()(void* handle) const { cmsIT8Free(handle); }
};

QString number(double value, int decimals) { return QString::number(value, 'f', decimals); }

void setProperty(void* it8, const char* key, const QString& value)
{
    cmsIT8SetPropertyStr(it8, key, value.toUtf8().constData());
}

} // namespace

QString fileDigest(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return QString();
    return QString::fromLatin1(QCryptographicHash::hash(file.readAll(), QCryptographicHash::Sha1).toHex());
}

QString saveProgress(const ChartReading& reading, const QString& path)
{
    QJsonObject strips;
    for (auto s = reading.strips.cbegin(); s != reading.strips.cend(); ++s) {
        QJsonArray patches;
        for (const QVector<double>& spectrum : *s) {
            QJsonArray values;
            for (double v : spectrum)
                values.append(v);
            patches.append(values);
        }
        strips.insert(QString::number(s.key()), patches);
    }
    const QJsonObject root{{QStringLiteral("chart_sha1"), reading.chartDigest},
                           {QStringLiteral("condition"), reading.condition},
                           {QStringLiteral("illuminant"), illuminant::name(reading.illuminant)},
                           {QStringLiteral("strips"), strips}};
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(QJsonDocument(root).toJson(QJsonDocument::Compact)) < 0
        || !file.commit())
        return QStringLiteral("cannot save the progress to %1: %2").arg(path, file.errorString());
    return QString();
}

QString loadProgress(const QString& path, ChartReading* reading)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return QStringLiteral("no progress to resume: %1: %2").arg(path, file.errorString());
    const QJsonObject root = QJsonDocument::fromJson(file.readAll()).object();
    ChartReading result;
    result.chartDigest = root.value(QStringLiteral("chart_sha1")).toString();
    result.condition = root.value(QStringLiteral("condition")).toInt(-1);
    result.illuminant = illuminant::parse(root.value(QStringLiteral("illuminant")).toString());
    const QJsonObject strips = root.value(QStringLiteral("strips")).toObject();
    for (auto s = strips.begin(); s != strips.end(); ++s) {
        QVector<QVector<double>> patches;
        for (const QJsonValue& patch : s.value().toArray()) {
            QVector<double> spectrum;
            for (const QJsonValue& v : patch.toArray())
                spectrum << v.toDouble();
            if (spectrum.size() != kBands)
                return QStringLiteral("%1 is damaged (strip %2)").arg(path, s.key());
            patches << spectrum;
        }
        result.strips.insert(s.key().toInt(), patches);
    }
    if (result.chartDigest.isEmpty() || result.condition < 0 || result.illuminant < 0)
        return QStringLiteral("%1 is not a chart-reading progress file").arg(path);
    *reading = result;
    return QString();
}

QString writeTi3(const Chart& chart, const ChartReading& reading, const QString& path)
{
    std::unique_ptr<void, It8Deleter> handle(cmsIT8Alloc(nullptr));
    void* it8 = handle.get();
    if (!it8)
        return QStringLiteral("cannot allocate a CGATS table");
    cmsIT8SetSheetType(it8, "CTI3");
    setProperty(it8, "DESCRIPTOR", QStringLiteral("Vireo2 on the TR3 track, condition M%1").arg(reading.condition));
    setProperty(it8, "ORIGINATOR", QStringLiteral("vireo2 chart read " VIREO2_CLI_VERSION));
    setProperty(it8, "CREATED", QDateTime::currentDateTime().toString(Qt::ISODate));
    setProperty(it8, "DEVICE_CLASS", QStringLiteral("OUTPUT"));
    setProperty(it8, "COLOR_REP", chart.colorRep + QStringLiteral("_XYZ"));
    if (!chart.inkLimit.isEmpty())
        setProperty(it8, "TOTAL_INK_LIMIT", chart.inkLimit);
    setProperty(it8, "TARGET_INSTRUMENT", QStringLiteral("Vireo2"));
    setProperty(it8, "INSTRUMENT_TYPE_SPECTRAL", QStringLiteral("YES"));
    setProperty(it8, "ILLUMINANT_OBSERVER", illuminant::name(reading.illuminant));
    setProperty(it8, "MEASUREMENT_CONDITION", QStringLiteral("M%1").arg(reading.condition));
    setProperty(it8, "SPECTRAL_BANDS", QString::number(kBands));
    setProperty(it8, "SPECTRAL_START_NM", number(400.0, 6));
    setProperty(it8, "SPECTRAL_END_NM", number(700.0, 6));
    setProperty(it8, "SPECTRAL_NORM", number(100.0, 6));
    QStringList fields{QStringLiteral("SAMPLE_ID")};
    fields << chart.deviceFields << "XYZ_X" << "XYZ_Y" << "XYZ_Z" << "LAB_L" << "LAB_A" << "LAB_B";
    for (int b = 0; b < kBands; ++b)
        fields << QStringLiteral("SPEC_%1").arg(400 + 10 * b);
    cmsIT8SetPropertyDbl(it8, "NUMBER_OF_FIELDS", fields.size());
    cmsIT8SetPropertyDbl(it8, "NUMBER_OF_SETS", chart.dataCount());
    for (int c = 0; c < fields.size(); ++c)
        cmsIT8SetDataFormat(it8, c, fields.at(c).toLatin1().constData());
    QVector<Patch> data;
    for (const Patch& p : chart.patches)
        if (p.role == Role::Data)
            data << p;
    std::stable_sort(data.begin(), data.end(), [](const Patch& a, const Patch& b) { return a.order < b.order; });
    int row = 0;
    for (const Patch& p : data) {
        const QVector<QVector<double>> strip = reading.strips.value(p.strip);
        if (p.place > strip.size())
            return QStringLiteral("strip %1 has not been read").arg(p.strip);
        const QVector<double>& spectrum = strip.at(p.place - 1);
        double xyz[3], lab[3];
        if (!Vireo2_SpectrumToXYZ(spectrum.constData(), reading.illuminant, xyz) || !Vireo2_XYZToLab(xyz, reading.illuminant, lab))
            return QStringLiteral("cannot compute the colour of patch %1").arg(p.id);
        QStringList cells{p.id};
        for (double v : p.device)
            cells << number(v, 4);
        for (double v : xyz)
            cells << number(v, 5);
        for (double v : lab)
            cells << number(v, 5);
        for (double v : spectrum)
            cells << number(v, 4);
        for (int c = 0; c < cells.size(); ++c)
            cmsIT8SetDataRowCol(it8, row, c, cells.at(c).toUtf8().constData());
        ++row;
    }
    if (!cmsIT8SaveToFile(it8, QFile::encodeName(path).constData()))
        return QStringLiteral("cannot write %1").arg(path);
    return QString();
}

} // namespace vireo2::cli::chart
