#include "chart_identify.h"

#include <QStringList>
#include <algorithm>
#include <cmath>
#include <numeric>

#include "vireo2.h"

namespace vireo2::cli::chart {
namespace {

// The three references must read at least this far apart (paper above black
// in L*, cyan from both in ΔE*ab) for the code to be read.
constexpr double kLeastContrast = 25.0;

QVector<double> ranks(const QVector<double>& values)
{
    QVector<int> order(values.size());
    std::iota(order.begin(), order.end(), 0);
    std::sort(order.begin(), order.end(), [&](int a, int b) { return values[a] < values[b]; });
    QVector<double> rank(values.size());
    for (int i = 0; i < order.size();) {
        int j = i;
        while (j + 1 < order.size() && values[order[j + 1]] == values[order[i]])
            ++j;
        for (int k = i; k <= j; ++k)
            rank[order[k]] = (i + j) / 2.0;
        i = j + 1;
    }
    return rank;
}

double distance(const ReadPatch& a, const ReadPatch& b)
{
    return std::sqrt(std::pow(a.lab[0] - b.lab[0], 2) + std::pow(a.lab[1] - b.lab[1], 2) + std::pow(a.lab[2] - b.lab[2], 2));
}

// Which of the three references (black, paper, cyan) a patch reads like.
int nearest(const ReadPatch& patch, const ReadPatch* references)
{
    int best = 0;
    for (int s = 1; s < 3; ++s)
        if (distance(patch, references[s]) < distance(patch, references[best]))
            best = s;
    return best;
}

// The strip a row codes for, read from its first patch on; 0 with `why` set
// when it codes for none of this chart's.
int decode(const Chart& chart, const QVector<ReadPatch>& row, QString* why)
{
    const int n = row.size();
    if (n < kLeadPatches + kEndPatches + 1) {
        *why = QStringLiteral("only %1 patches were found").arg(n);
        return 0;
    }
    const ReadPatch references[3] = {row[0], row[1], row[2]};
    if (references[PaperWhite].lab[0] - references[Black].lab[0] < kLeastContrast
        || distance(references[Cyan], references[Black]) < kLeastContrast
        || distance(references[Cyan], references[PaperWhite]) < kLeastContrast) {
        *why = QStringLiteral("no black lead-in followed by paper and cyan");
        return 0;
    }
    if (nearest(row[n - 1], references) != Black || nearest(row[n - 2], references) != Black) {
        *why = QStringLiteral("no black end patches");
        return 0;
    }
    QVector<bool> bits;
    int previous = Cyan;
    for (int b = 0; b < kCodeBits; ++b) {
        const int symbol = nearest(row[3 + b], references);
        if (symbol == previous) {
            *why = QStringLiteral("its code is not one of this chart's");
            return 0;
        }
        bits << ((symbol - previous + 3) % 3 == 2);
        previous = symbol;
    }
    int strip = 0;
    for (int b = 0; b < kStripBits; ++b)
        strip |= int(bits[b]) << b;
    if (bits != stripBits(strip, chart.tag) || strip < 1 || strip > chart.strips) {
        *why = QStringLiteral("its code is not one of this chart's");
        return 0;
    }
    const int expected = chart.strip(strip).size();
    if (n != expected) {
        *why = QStringLiteral("it codes for strip %1 but %2 of its %3 patches were found").arg(strip).arg(n).arg(expected);
        return 0;
    }
    return strip;
}

QString doubtAbout(const Chart& chart, int strip, const QVector<ReadPatch>& row)
{
    const QVector<Patch> patches = chart.strip(strip);
    QVector<double> expected, measured;
    QStringList unsteady, flagged;
    for (int i = 0; i < patches.size(); ++i) {
        if (row[i].ripple > kUnsteadyRipple)
            unsteady << QStringLiteral("%1 (Ripple %2)").arg(i + 1).arg(row[i].ripple, 0, 'f', 1);
        if (row[i].quality & VIREO2_SCAN_SUSPECT)
            flagged << QString::number(i + 1);
        if (patches[i].role != Role::Data)
            continue;
        expected << expectedLightness(chart, patches[i]);
        measured << row[i].lab[0];
    }
    if (!flagged.isEmpty())
        return QStringLiteral("the scan doubts patch %1 (unsteady or uncertain in place)").arg(flagged.join(QStringLiteral(", ")));
    if (!unsteady.isEmpty())
        return QStringLiteral("unsteady readings (a smudge or a scratch?) on patch %1").arg(unsteady.join(QStringLiteral(", ")));
    if (expected.size() >= 8) {
        const double rho = rankCorrelation(expected, measured);
        if (rho < kLeastCorrelation)
            return QStringLiteral("its patches do not read like their device values (rank correlation %1)")
                .arg(rho, 0, 'f', 2);
    }
    return QString();
}

} // namespace

double rankCorrelation(const QVector<double>& a, const QVector<double>& b)
{
    const QVector<double> ra = ranks(a), rb = ranks(b);
    const int n = ra.size();
    if (n < 2)
        return 1.0;
    const double mean = (n - 1) / 2.0;
    double sab = 0, saa = 0, sbb = 0;
    for (int i = 0; i < n; ++i) {
        sab += (ra[i] - mean) * (rb[i] - mean);
        saa += (ra[i] - mean) * (ra[i] - mean);
        sbb += (rb[i] - mean) * (rb[i] - mean);
    }
    return saa > 0 && sbb > 0 ? sab / std::sqrt(saa * sbb) : 1.0;
}

double expectedLightness(const Chart& chart, const Patch& patch)
{
    if (patch.expectedXyz.size() == 3)
        return patch.expectedXyz[1];
    const QVector<double>& d = patch.device;
    if (d.size() == 4)
        return (1 - 0.6 * d[0] / 100) * (1 - 0.8 * d[1] / 100) * (1 - 0.12 * d[2] / 100) * (1 - 0.95 * d[3] / 100);
    Q_UNUSED(chart);
    return 0.25 * d.value(0) + 0.65 * d.value(1) + 0.10 * d.value(2);
}

Identity identify(const Chart& chart, const QVector<ReadPatch>& row)
{
    Identity identity;
    QString whyForward, whyReversed;
    const int forward = decode(chart, row, &whyForward);
    QVector<ReadPatch> backwards = row;
    std::reverse(backwards.begin(), backwards.end());
    const int reversed = forward ? 0 : decode(chart, backwards, &whyReversed);
    if (!forward && !reversed) {
        identity.why = whyForward == whyReversed ? whyForward
                                                 : QStringLiteral("read one way %1, the other way %2").arg(whyForward, whyReversed);
        return identity;
    }
    identity.verdict = Identity::Identified;
    identity.strip = forward ? forward : reversed;
    identity.reversed = !forward;
    identity.doubt = doubtAbout(chart, identity.strip, identity.reversed ? backwards : row);
    return identity;
}

} // namespace vireo2::cli::chart
