#include "chart_pdf.h"

#include <QStringList>
#include <QVector>

namespace vireo2::cli::chart {
namespace {

constexpr double kPointsPerMm = 72.0 / 25.4;
constexpr double kLabelSize = 3.2;   // mm
constexpr double kLabelGap = 2.0;    // between the label's baseline and the patches, mm

QByteArray num(double value)
{
    QByteArray text = QByteArray::number(value, 'f', 4);
    while (text.endsWith('0'))
        text.chop(1);
    if (text.endsWith('.'))
        text.chop(1);
    return text;
}

// PDF text strings hold Latin-1; brackets and backslashes are escaped.
QByteArray pdfText(const QString& text)
{
    QByteArray out;
    for (QChar c : text) {
        const char ch = c.unicode() < 128 && c.unicode() >= 32 ? char(c.unicode()) : '?';
        if (ch == '(' || ch == ')' || ch == '\\')
            out += '\\';
        out += ch;
    }
    return out;
}

QByteArray fill(const QVector<double>& device)
{
    QByteArray op;
    for (double v : device)
        op += num(v / 100.0) + ' ';
    return op + (device.size() == 4 ? "k\n" : "rg\n");
}

QByteArray label(double x, double y, const QString& text)
{
    return "BT /F1 " + num(kLabelSize) + " Tf " + num(x) + ' ' + num(y) + " Td (" + pdfText(text) + ") Tj ET\n";
}

// One sheet's drawing, in millimetres from the page's lower left corner.
QByteArray sheetContent(const Chart& chart, int sheet, const QString& title)
{
    QByteArray c = "q " + num(kPointsPerMm) + " 0 0 " + num(kPointsPerMm) + " 0 0 cm\n";
    const double top = chart.sheetWidth - kSheetTopMargin;
    c += "0 0 0 rg\n" + label(chart.margin, top + 5.0,
                              QStringLiteral("%1 - sheet %2 of %3 - %4 mm patches").arg(title).arg(sheet)
                                  .arg(chart.sheets()).arg(chart.patchWidth));
    for (int row = 1; row <= chart.stripsPerSheet; ++row) {
        const int strip = (sheet - 1) * chart.stripsPerSheet + row;
        if (strip > chart.strips)
            break;
        const double y = top - row * kStripPitch + (kStripPitch - kPatchHeight - kLabelSize - kLabelGap);
        c += "0 0 0 rg\n" + label(chart.margin, y + kPatchHeight + kLabelGap,
                                  QStringLiteral("Sheet %1  strip %2  (strip %3 of %4)  - this end against the track's stop")
                                      .arg(sheet).arg(row).arg(strip).arg(chart.strips));
        for (const Patch& p : chart.strip(strip)) {
            const double x = chart.margin + (p.place - 1) * chart.patchWidth;
            c += fill(p.device) + num(x) + ' ' + num(y) + ' ' + num(chart.patchWidth) + ' ' + num(kPatchHeight) + " re f\n";
        }
        // A hairline to cut along between strips.
        if (chart.stripsPerSheet > 1)
            c += "0.6 0.6 0.6 RG 0.1 w [2 2] 0 d 0 " + num(y - 3.0) + " m " + num(chart.sheetLength) + ' ' + num(y - 3.0)
               + " l S [] 0 d\n";
    }
    return c + "Q\n";
}

} // namespace

QByteArray chartPdf(const Chart& chart, const QString& title)
{
    // Objects: 1 catalog, 2 page tree, 3 font, then a page and its content per sheet.
    QVector<QByteArray> objects;
    QByteArray kids;
    const int sheets = chart.sheets();
    for (int s = 0; s < sheets; ++s)
        kids += QByteArray::number(4 + 2 * s) + " 0 R ";
    objects << "<< /Type /Catalog /Pages 2 0 R >>";
    objects << "<< /Type /Pages /Kids [" + kids + "] /Count " + QByteArray::number(sheets) + " >>";
    objects << "<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica /Encoding /WinAnsiEncoding >>";
    const QByteArray box = "[0 0 " + num(chart.sheetLength * kPointsPerMm) + ' ' + num(chart.sheetWidth * kPointsPerMm) + ']';
    for (int s = 1; s <= sheets; ++s) {
        const QByteArray content = sheetContent(chart, s, title);
        objects << "<< /Type /Page /Parent 2 0 R /MediaBox " + box + " /Resources << /Font << /F1 3 0 R >> >> /Contents "
                       + QByteArray::number(5 + 2 * (s - 1)) + " 0 R >>";
        objects << "<< /Length " + QByteArray::number(content.size()) + " >>\nstream\n" + content + "endstream";
    }
    QByteArray pdf = "%PDF-1.4\n%\xe2\xe3\xcf\xd3\n";
    QVector<int> offsets;
    for (int i = 0; i < objects.size(); ++i) {
        offsets << pdf.size();
        pdf += QByteArray::number(i + 1) + " 0 obj\n" + objects.at(i) + "\nendobj\n";
    }
    const int xref = pdf.size();
    pdf += "xref\n0 " + QByteArray::number(objects.size() + 1) + "\n0000000000 65535 f \n";
    for (int offset : offsets)
        pdf += QByteArray::number(offset).rightJustified(10, '0') + " 00000 n \n";
    pdf += "trailer\n<< /Size " + QByteArray::number(objects.size() + 1) + " /Root 1 0 R >>\nstartxref\n"
         + QByteArray::number(xref) + "\n%%EOF\n";
    return pdf;
}

} // namespace vireo2::cli::chart
