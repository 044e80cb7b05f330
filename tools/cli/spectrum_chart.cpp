#include "measurement_formats.h"

#include <QStringList>
#include <QXmlStreamWriter>
#include <algorithm>
#include <cmath>
#include <utility>

#include "illuminant.h"
#include "srgb_colour.h"

namespace vireo2::cli {

namespace {

// Layout of the chart in SVG user units.
constexpr double kWidth = 900;
constexpr double kHeight = 540;
constexpr double kPlotLeft = 80;
constexpr double kPlotRight = 690;
constexpr double kPlotTop = 76;
constexpr double kPlotBottom = 460;
constexpr double kLegendLeft = 712;
constexpr double kLegendEntryHeight = 78;
constexpr double kFirstNm = 400;
constexpr double kLastNm = 700;
constexpr int kMajorNmStep = 50;
constexpr int kMinorNmStep = 10;
constexpr int kPercentStep = 10;

const char* const kFont = "DejaVu Sans, Helvetica, Arial, sans-serif";

enum class Marker { Circle, Square, Triangle, Diamond };

// One colour, dash pattern and marker shape per condition; the colours stay
// distinct for colour-blind readers.
struct CurveStyle {
    const char* colour;
    const char* dashes;
    Marker marker;
};
const CurveStyle kStyles[] = {
    {"#0072B2", "none", Marker::Circle},
    {"#D55E00", "9 4", Marker::Square},
    {"#009E73", "2 3", Marker::Triangle},
    {"#CC79A7", "10 3 2 3", Marker::Diamond},
};

// Conditions often read almost alike and their curves lie on top of each
// other. Each curve therefore carries its markers every 40 nm, shifted by
// 10 nm from the previous curve's, so every curve stays visible.
constexpr int kMarkerEvery = 4;
bool hasMarker(int condition, int wavelengthIndex) { return wavelengthIndex % kMarkerEvery == condition % kMarkerEvery; }

CurveStyle styleFor(int index) { return kStyles[index % 4]; }

QString n(double value) { return QString::number(value, 'f', 2); }

// The reflectance axis shows 0-100 % unless a value lies above (fluorescence).
double percentAxisTop(const Measurement& m)
{
    double highest = 0;
    for (const auto& condition : m.conditions)
        for (double value : condition.percent)
            highest = std::max(highest, value);
    return std::max(100.0, std::ceil(highest / kPercentStep) * kPercentStep);
}

class ChartWriter {
public:
    ChartWriter(const Measurement& m, QByteArray* out) : m_(m), xml_(out), yTop_(percentAxisTop(m)) {}

    void write()
    {
        xml_.setAutoFormatting(true);
        xml_.setAutoFormattingIndent(1);
        xml_.writeStartDocument();
        xml_.writeStartElement(QStringLiteral("svg"));
        xml_.writeDefaultNamespace(QStringLiteral("http://www.w3.org/2000/svg"));
        attributes({{"width", n(kWidth)}, {"height", n(kHeight)},
                    {"viewBox", QStringLiteral("0 0 %1 %2").arg(kWidth).arg(kHeight)},
                    {"font-family", QString::fromLatin1(kFont)}});
        xml_.writeTextElement(QStringLiteral("title"), titleText());
        element("rect", {{"width", n(kWidth)}, {"height", n(kHeight)}, {"fill", "#ffffff"}});
        writeHeadings();
        writeGrid();
        writeAxes();
        writeCurves();
        writeLegend();
        xml_.writeEndElement();
        xml_.writeEndDocument();
    }

private:
    using Attribute = std::pair<const char*, QString>;

    double x(double nm) const { return kPlotLeft + (nm - kFirstNm) / (kLastNm - kFirstNm) * (kPlotRight - kPlotLeft); }
    double y(double percent) const { return kPlotBottom - percent / yTop_ * (kPlotBottom - kPlotTop); }

    void attributes(std::initializer_list<Attribute> list)
    {
        for (const auto& a : list)
            xml_.writeAttribute(QString::fromLatin1(a.first), a.second);
    }

    void element(const char* name, std::initializer_list<Attribute> list)
    {
        xml_.writeStartElement(QString::fromLatin1(name));
        attributes(list);
        xml_.writeEndElement();
    }

    void text(double tx, double ty, const QString& content, std::initializer_list<Attribute> list)
    {
        xml_.writeStartElement(QStringLiteral("text"));
        attributes({{"x", n(tx)}, {"y", n(ty)}});
        attributes(list);
        xml_.writeCharacters(content);
        xml_.writeEndElement();
    }

    void line(double x1, double y1, double x2, double y2, const QString& stroke, double width)
    {
        element("line", {{"x1", n(x1)}, {"y1", n(y1)}, {"x2", n(x2)}, {"y2", n(y2)}, {"stroke", stroke},
                         {"stroke-width", n(width)}});
    }

    QString titleText() const
    {
        return QStringLiteral("Reflectance spectra, %1 %2").arg(m_.instrument.model, m_.instrument.serial);
    }

    void writeHeadings()
    {
        text(kPlotLeft, 34, titleText(), {{"font-size", "20"}, {"font-weight", "bold"}, {"fill", "#222222"}});
        QString subtitle = QStringLiteral("%1 measurement conditions, 400-700 nm in 10 nm steps; "
                                          "CIE L*a*b* under %2")
                               .arg(m_.conditions.size())
                               .arg(illuminant::displayName(m_.illuminant));
        if (m_.taken.isValid())
            subtitle += QStringLiteral("; measured %1").arg(m_.taken.toString(QStringLiteral("yyyy-MM-dd HH:mm:ss")));
        text(kPlotLeft, 56, subtitle, {{"font-size", "13"}, {"fill", "#555555"}});
    }

    void writeGrid()
    {
        for (int nm = int(kFirstNm); nm <= int(kLastNm); nm += kMinorNmStep) {
            const bool major = nm % kMajorNmStep == 0;
            line(x(nm), kPlotTop, x(nm), kPlotBottom, major ? "#d0d0d0" : "#eeeeee", 1);
        }
        for (int percent = 0; percent <= int(yTop_); percent += kPercentStep)
            line(kPlotLeft, y(percent), kPlotRight, y(percent), "#d0d0d0", 1);
    }

    void writeAxes()
    {
        element("rect", {{"x", n(kPlotLeft)}, {"y", n(kPlotTop)}, {"width", n(kPlotRight - kPlotLeft)},
                         {"height", n(kPlotBottom - kPlotTop)}, {"fill", "none"}, {"stroke", "#444444"},
                         {"stroke-width", "1.2"}});
        for (int nm = int(kFirstNm); nm <= int(kLastNm); nm += kMinorNmStep) {
            const bool major = nm % kMajorNmStep == 0;
            line(x(nm), kPlotBottom, x(nm), kPlotBottom + (major ? 7 : 4), "#444444", 1);
            if (major)
                text(x(nm), kPlotBottom + 24, QString::number(nm),
                     {{"font-size", "13"}, {"text-anchor", "middle"}, {"fill", "#333333"}});
        }
        for (int percent = 0; percent <= int(yTop_); percent += kPercentStep) {
            line(kPlotLeft - 7, y(percent), kPlotLeft, y(percent), "#444444", 1);
            text(kPlotLeft - 11, y(percent) + 4.5, QString::number(percent),
                 {{"font-size", "13"}, {"text-anchor", "end"}, {"fill", "#333333"}});
        }
        text((kPlotLeft + kPlotRight) / 2, kPlotBottom + 52, QStringLiteral("Wavelength (nm)"),
             {{"font-size", "14"}, {"text-anchor", "middle"}, {"fill", "#222222"}});
        const double middle = (kPlotTop + kPlotBottom) / 2;
        text(28, middle, QStringLiteral("Reflectance (%)"),
             {{"font-size", "14"}, {"text-anchor", "middle"}, {"fill", "#222222"},
              {"transform", QStringLiteral("rotate(-90 28 %1)").arg(n(middle))}});
    }

    void writeCurves()
    {
        for (int c = 0; c < m_.conditions.size(); ++c) {
            const auto& condition = m_.conditions.at(c);
            const CurveStyle style = styleFor(c);
            QStringList points;
            for (int i = 0; i < m_.wavelengths.size(); ++i)
                points << n(x(m_.wavelengths.at(i))) + QLatin1Char(',') + n(y(condition.percent.at(i)));
            xml_.writeStartElement(QStringLiteral("g"));
            attributes({{"id", condition.name}, {"stroke", style.colour}, {"fill", style.colour}});
            element("polyline", {{"points", points.join(QLatin1Char(' '))}, {"fill", "none"}, {"stroke-width", "2.2"},
                                 {"stroke-linejoin", "round"}, {"stroke-dasharray", style.dashes}});
            for (int i = 0; i < m_.wavelengths.size(); ++i) {
                if (hasMarker(c, i))
                    marker(style, x(m_.wavelengths.at(i)), y(condition.percent.at(i)));
            }
            xml_.writeEndElement();
        }
    }

    void marker(const CurveStyle& style, double cx, double cy)
    {
        constexpr double r = 4.2;
        switch (style.marker) {
        case Marker::Circle:
            element("circle", {{"cx", n(cx)}, {"cy", n(cy)}, {"r", n(r)}, {"fill", style.colour}, {"stroke", "#ffffff"}});
            return;
        case Marker::Square:
            element("rect", {{"x", n(cx - r)}, {"y", n(cy - r)}, {"width", n(2 * r)}, {"height", n(2 * r)},
                             {"fill", style.colour}, {"stroke", "#ffffff"}});
            return;
        case Marker::Triangle:
            polygon(style, {cx, cy - 1.2 * r, cx + 1.1 * r, cy + 0.8 * r, cx - 1.1 * r, cy + 0.8 * r});
            return;
        case Marker::Diamond:
            polygon(style, {cx, cy - 1.3 * r, cx + 1.3 * r, cy, cx, cy + 1.3 * r, cx - 1.3 * r, cy});
            return;
        }
    }

    void polygon(const CurveStyle& style, std::initializer_list<double> coordinates)
    {
        QStringList points;
        for (const double* p = coordinates.begin(); p != coordinates.end(); p += 2)
            points << n(p[0]) + QLatin1Char(',') + n(p[1]);
        element("polygon", {{"points", points.join(QLatin1Char(' '))}, {"fill", style.colour}, {"stroke", "#ffffff"}});
    }

    void writeLegend()
    {
        text(kLegendLeft, kPlotTop + 4, QStringLiteral("Condition"),
             {{"font-size", "13"}, {"font-weight", "bold"}, {"fill", "#222222"}});
        for (int c = 0; c < m_.conditions.size(); ++c)
            writeLegendEntry(c, kPlotTop + 22 + c * kLegendEntryHeight);
    }

    void writeLegendEntry(int c, double top)
    {
        const auto& condition = m_.conditions.at(c);
        const CurveStyle style = styleFor(c);
        element("line", {{"x1", n(kLegendLeft)}, {"y1", n(top + 6)}, {"x2", n(kLegendLeft + 34)}, {"y2", n(top + 6)},
                         {"stroke", style.colour}, {"stroke-width", "2.6"}, {"stroke-dasharray", style.dashes}});
        marker(style, kLegendLeft + 17, top + 6);
        text(kLegendLeft + 44, top + 11, condition.name,
             {{"font-size", "15"}, {"font-weight", "bold"}, {"fill", style.colour}});
        // The condition's colour as sRGB under D65, framed so a white shows.
        element("rect", {{"class", "swatch"}, {"x", n(kLegendLeft + 132)}, {"y", n(top - 4)}, {"width", "40"},
                         {"height", "30"}, {"rx", "3"}, {"fill", srgbHexOfSpectrum(condition.percent)},
                         {"stroke", "#777777"}, {"stroke-width", "0.8"}});
        // Colour values in two columns: L*; a*, b*; C*, h.
        const auto& v = condition.lch;
        const QString cells[3][2] = {{QStringLiteral("L* %1").arg(n(v[0])), QString()},
                                     {QStringLiteral("a* %1").arg(n(v[1])), QStringLiteral("b* %1").arg(n(v[2]))},
                                     {QStringLiteral("C* %1").arg(n(v[3])), QStringLiteral("h %1\u00B0").arg(n(v[4]))}};
        for (int row = 0; row < 3; ++row) {
            for (int column = 0; column < 2; ++column) {
                if (!cells[row][column].isEmpty())
                    text(kLegendLeft + 2 + column * 84, top + 30 + row * 15, cells[row][column],
                         {{"font-size", "11.5"}, {"fill", "#333333"}});
            }
        }
    }

    const Measurement& m_;
    QXmlStreamWriter xml_;
    double yTop_;
};

} // namespace

QByteArray spectrumChartSvg(const Measurement& measurement)
{
    QByteArray out;
    ChartWriter(measurement, &out).write();
    return out;
}

} // namespace vireo2::cli
