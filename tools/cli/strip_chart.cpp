// The strip as a picture: one row of patch swatches per sheet in sRGB, and
// beneath each row the patches' position error (bars around a zero line) and
// Ripple (bars up), so a glance shows where building had trouble.
#include <QXmlStreamWriter>
#include <algorithm>
#include <cmath>

#include "illuminant.h"
#include "srgb_colour.h"
#include "strip_output.h"
#include "vireo2_colour.h"

namespace vireo2::cli {
namespace {

constexpr double kSwatch = 28.0;
constexpr double kMargin = 20.0;
constexpr double kTitle = 28.0;
constexpr double kRowHeight = kSwatch + 90.0;
constexpr double kBarHeight = 28.0;
constexpr int kD50TwoDegree = 4;
const char kFont[] = "DejaVu Sans, Arial, sans-serif";

QString n(double value)
{
    return QString::number(value, 'f', 1);
}

class StripChart {
public:
    StripChart(const StripScan& scan, QByteArray* out) : scan_(scan), xml_(out) {}

    void write()
    {
        QList<int> sheets;
        int widest = 1;
        for (const StripPatch& p : scan_.patches) {
            if (!sheets.contains(p.sheet))
                sheets.append(p.sheet);
            widest = std::max(widest, p.index + 1);
        }
        const double width = 2 * kMargin + 70.0 + widest * kSwatch;
        const double height = kTitle + kMargin + std::max(1, int(sheets.size())) * kRowHeight;
        xml_.setAutoFormatting(true);
        xml_.writeStartDocument();
        xml_.writeStartElement(QStringLiteral("svg"));
        xml_.writeDefaultNamespace(QStringLiteral("http://www.w3.org/2000/svg"));
        xml_.writeAttribute(QStringLiteral("width"), n(width));
        xml_.writeAttribute(QStringLiteral("height"), n(height));
        xml_.writeAttribute(QStringLiteral("viewBox"), QStringLiteral("0 0 %1 %2").arg(n(width), n(height)));
        xml_.writeAttribute(QStringLiteral("font-family"), QString::fromLatin1(kFont));
        rect(0, 0, width, height, QStringLiteral("#ffffff"));
        text(kMargin, kMargin + 4, QStringLiteral("Strip scan: %1 patches of %2 mm, %3 under %4")
                                       .arg(scan_.patches.size())
                                       .arg(scan_.patchWidth)
                                       .arg(QStringLiteral("M%1").arg(scan_.condition), illuminant::displayName(scan_.illuminant)),
             13, QStringLiteral("start"));
        for (int row = 0; row < sheets.size(); ++row)
            writeSheet(sheets[row], kTitle + kMargin + row * kRowHeight);
        xml_.writeEndElement();
        xml_.writeEndDocument();
    }

private:
    void rect(double x, double y, double w, double h, const QString& fill, const QString& stroke = QString())
    {
        xml_.writeStartElement(QStringLiteral("rect"));
        xml_.writeAttribute(QStringLiteral("x"), n(x));
        xml_.writeAttribute(QStringLiteral("y"), n(y));
        xml_.writeAttribute(QStringLiteral("width"), n(w));
        xml_.writeAttribute(QStringLiteral("height"), n(h));
        xml_.writeAttribute(QStringLiteral("fill"), fill);
        if (!stroke.isEmpty())
            xml_.writeAttribute(QStringLiteral("stroke"), stroke);
        xml_.writeEndElement();
    }

    void text(double x, double y, const QString& content, int size, const QString& anchor)
    {
        xml_.writeStartElement(QStringLiteral("text"));
        xml_.writeAttribute(QStringLiteral("x"), n(x));
        xml_.writeAttribute(QStringLiteral("y"), n(y));
        xml_.writeAttribute(QStringLiteral("font-size"), QString::number(size));
        xml_.writeAttribute(QStringLiteral("text-anchor"), anchor);
        xml_.writeCharacters(content);
        xml_.writeEndElement();
    }

    void writeSheet(int sheet, double top)
    {
        const double left = kMargin + 70.0;
        text(kMargin, top + kSwatch / 2 + 4, QStringLiteral("Sheet %1").arg(sheet), 11, QStringLiteral("start"));
        const double errorAxis = top + kSwatch + 8 + kBarHeight / 2;
        const double rippleBase = top + kSwatch + 16 + 2 * kBarHeight;
        text(kMargin, errorAxis + 4, QStringLiteral("Δ position"), 9, QStringLiteral("start"));
        text(kMargin, rippleBase, QStringLiteral("Ripple"), 9, QStringLiteral("start"));
        double highestRipple = 1.0;
        for (const StripPatch& p : scan_.patches)
            if (p.sheet == sheet)
                highestRipple = std::max(highestRipple, p.ripple);
        for (const StripPatch& p : scan_.patches) {
            if (p.sheet != sheet)
                continue;
            const double x = left + p.index * kSwatch;
            double lab[3] = {};
            if (p.percent.size() > scan_.condition)
                Vireo2_SpectrumToLab(p.percent[scan_.condition].constData(), kD50TwoDegree, 0, lab);
            rect(x, top, kSwatch, kSwatch, srgbHexOfLab({lab[0], lab[1], lab[2]}), QStringLiteral("#ffffff"));
            if (!p.hasRecord)
                continue;
            // Position error: ±0.5 patch widths fill the bar's half height.
            const double error = std::clamp(p.delta, -0.5, 0.5) / 0.5 * (kBarHeight / 2);
            rect(x + 6, error > 0 ? errorAxis - error : errorAxis, kSwatch - 12, std::abs(error) + 0.5,
                 std::abs(p.delta) > 0.25 ? QStringLiteral("#d04020") : QStringLiteral("#4060a0"));
            const double ripple = p.ripple / highestRipple * kBarHeight;
            rect(x + 6, rippleBase - ripple, kSwatch - 12, ripple + 0.5,
                 p.synchronised ? QStringLiteral("#208040") : QStringLiteral("#909090"));
        }
        const int count = int(std::count_if(scan_.patches.begin(), scan_.patches.end(),
                                            [sheet](const StripPatch& p) { return p.sheet == sheet; }));
        xml_.writeStartElement(QStringLiteral("line"));
        xml_.writeAttribute(QStringLiteral("x1"), n(left));
        xml_.writeAttribute(QStringLiteral("x2"), n(left + count * kSwatch));
        xml_.writeAttribute(QStringLiteral("y1"), n(errorAxis));
        xml_.writeAttribute(QStringLiteral("y2"), n(errorAxis));
        xml_.writeAttribute(QStringLiteral("stroke"), QStringLiteral("#404040"));
        xml_.writeEndElement();
    }

    const StripScan& scan_;
    QXmlStreamWriter xml_;
};

} // namespace

QByteArray stripChartSvg(const StripScan& scan)
{
    QByteArray out;
    StripChart(scan, &out).write();
    return out;
}

} // namespace vireo2::cli
