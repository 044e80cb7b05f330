#include "strip_output.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include "cgats_writer.h"
#include "illuminant.h"

namespace vireo2::cli {
namespace {

QString conditionName(int set)
{
    return QStringLiteral("M%1").arg(set);
}

QString number(double value, int decimals)
{
    return QString::number(value, 'f', decimals);
}

QVector<int> wavelengths()
{
    QVector<int> nm;
    for (int w = 400; w <= 700; w += 10)
        nm.append(w);
    return nm;
}

} // namespace

QString stripTable(const StripScan& scan)
{
    QString text = QStringLiteral("%1 scan, %2 mm patches, %3 under %4\n\n")
                       .arg(scan.track ? QStringLiteral("Track") : QStringLiteral("Hand"))
                       .arg(scan.patchWidth)
                       .arg(conditionName(scan.condition), illuminant::displayName(scan.illuminant));
    text += scan.track ? QStringLiteral("Sheet  Patch      L*      a*      b*  Position mm  Delta  Ripple  Sync\n")
                       : QStringLiteral("Sheet  Patch      L*      a*      b*\n");
    for (const StripPatch& p : scan.patches) {
        text += QStringLiteral("%1  %2  %3  %4  %5")
                    .arg(p.sheet, 5)
                    .arg(p.index + 1, 5)
                    .arg(number(p.lab[0], 2), 6)
                    .arg(number(p.lab[1], 2), 6)
                    .arg(number(p.lab[2], 2), 6);
        if (p.hasRecord)
            text += QStringLiteral("  %1  %2  %3  %4")
                        .arg(number(p.position, 2), 11)
                        .arg(number(p.delta, 2), 5)
                        .arg(number(p.ripple, 2), 6)
                        .arg(p.synchronised ? QStringLiteral("yes") : QStringLiteral("no"), 4);
        text += QLatin1Char('\n');
    }
    return text;
}

QByteArray stripJson(const StripScan& scan)
{
    QJsonArray patches;
    for (const StripPatch& p : scan.patches) {
        QJsonObject spectra;
        for (int set = 0; set < p.percent.size(); ++set) {
            QJsonArray values;
            for (double value : p.percent[set])
                values.append(value);
            spectra.insert(conditionName(set), values);
        }
        QJsonObject patch{{QStringLiteral("sheet"), p.sheet},
                          {QStringLiteral("patch"), p.index + 1},
                          {QStringLiteral("lab"), QJsonArray{p.lab[0], p.lab[1], p.lab[2]}},
                          {QStringLiteral("spectra"), spectra}};
        if (p.hasRecord) {
            patch.insert(QStringLiteral("position_mm"), p.position);
            patch.insert(QStringLiteral("delta"), p.delta);
            patch.insert(QStringLiteral("ripple"), p.ripple);
            patch.insert(QStringLiteral("synchronised"), p.synchronised);
        }
        patch.insert(QStringLiteral("quality"), p.quality);
        patches.append(patch);
    }
    const QJsonObject root{{QStringLiteral("mode"), scan.track ? QStringLiteral("track") : QStringLiteral("hand")},
                           {QStringLiteral("patch_width_mm"), scan.patchWidth},
                           {QStringLiteral("condition"), conditionName(scan.condition)},
                           {QStringLiteral("illuminant"), illuminant::name(scan.illuminant)},
                           {QStringLiteral("unit"), QStringLiteral("percent")},
                           {QStringLiteral("warnings"), QJsonArray::fromStringList(scan.warnings())},
                           {QStringLiteral("patches"), patches}};
    return QJsonDocument(root).toJson(QJsonDocument::Indented);
}

QString stripCsv(const StripScan& scan)
{
    QString text = QStringLiteral("sheet,patch,L,a,b,position_mm,delta,ripple,sync");
    for (int nm : wavelengths())
        text += QStringLiteral(",%1").arg(nm);
    text += QLatin1Char('\n');
    for (const StripPatch& p : scan.patches) {
        text += QStringLiteral("%1,%2,%3,%4,%5").arg(p.sheet).arg(p.index + 1).arg(number(p.lab[0], 4), number(p.lab[1], 4),
                                                                                     number(p.lab[2], 4));
        text += p.hasRecord ? QStringLiteral(",%1,%2,%3,%4")
                                  .arg(number(p.position, 4), number(p.delta, 4), number(p.ripple, 4))
                                  .arg(p.synchronised ? 1 : 0)
                            : QStringLiteral(",,,,");
        for (double value : p.percent.value(scan.condition))
            text += QLatin1Char(',') + number(value, 4);
        text += QLatin1Char('\n');
    }
    return text;
}

CgatsTable stripCgatsHeader(const StripScan& scan)
{
    CgatsTable table;
    table.descriptor = QStringLiteral("Vireo2 strip scan, %1 mm patches").arg(scan.patchWidth);
    const QString name = illuminant::name(scan.illuminant);
    table.illuminant = name.section(QLatin1Char('/'), 0, 0);
    table.observer = name.section(QLatin1Char('/'), 1);
    table.condition = conditionName(scan.condition);
    table.kind = QStringLiteral("strip");
    table.wavelengths = wavelengths();
    return table;
}

QString appendStripCgats(const StripScan& scan, const QString& path)
{
    CgatsTable table = stripCgatsHeader(scan);
    for (const StripPatch& p : scan.patches) {
        CgatsSample sample;
        sample.id = QString::number(table.samples.size() + 1);
        sample.name = QStringLiteral("S%1P%2").arg(p.sheet).arg(p.index + 1);
        sample.lab = p.lab;
        sample.percent = p.percent.value(scan.condition);
        table.samples.append(sample);
    }
    return appendCgats(table, path);
}

} // namespace vireo2::cli
