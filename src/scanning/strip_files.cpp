// Strip data files: the measurements of a traverse ("007.csv") and the
// patches built from them ("007p.csv"), written beside the communication log
// with plausibility checks and summary lines, and read back for replay.
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTextStream>
#include <algorithm>
#include <cmath>
#include <limits>

#include "scanning/scan_host.h"
#include "scanning/vireo2_scanning.h"
#include "settings/log_helper.h"
#include "settings/library_errors.h"

namespace vireo2 {
namespace {

const char kColumnLine[] =
    ",(M0)400,410,420,430,440,450,460,470,480,490,500,510,520,530,540,550,560,570,580,590,600,610,620,630,640,650,"
    "660,670,680,690,700, ,L*,a*,b*,dE*,Ripple,Position,Sync,Delta";
// The header: patch count, patch width, margin, track speed, paper L*a*b*,
// the four references, and the position scale (always 1: positions are mm).
// Reading one back restores the count, width, paper and references.
constexpr int kHeaderFields = 12;
constexpr double kPositionScale = 1.0;
constexpr int kBlockFields = 8;  // L*, a*, b*, dE*, Ripple, Position, Sync, Delta
constexpr qint64 kLongestLine = 64 * 1024;
// A traverse records at most a few thousand readings (about 1.6 KB a line);
// a file beyond this is no strip file, and a pipe is not read for ever.
constexpr qint64 kLargestFile = 16 * 1024 * 1024;

QString fixed(double value, int decimals)
{
    return QString::number(value, 'f', decimals);
}

bool isPatchFile(const QString& path)
{
    return path.right(5).startsWith(QLatin1Char('p'));
}

QString recordLine(const ScanRecord& record, int sets)
{
    QString line = fixed(record[ScanRecord::kTimeStamp], 1);
    for (int set = 0; set < sets; ++set) {
        for (int i = 0; i < ScanRecord::kWavelengthCount; ++i)
            line += QLatin1Char(',') + fixed(record.spectral(set, i), 2);
        if (set == 0) {
            line += QStringLiteral(", ,%1,%2,%3,%4,%5,%6,%7,%8")
                        .arg(fixed(record[ScanRecord::kL], 2), fixed(record[ScanRecord::kA], 2),
                             fixed(record[ScanRecord::kB], 2), fixed(record[ScanRecord::kDeltaE], 2),
                             fixed(record[ScanRecord::kRipple], 2), fixed(record[ScanRecord::kPosition], 4))
                        .arg(qint64(record[ScanRecord::kSync]))
                        .arg(fixed(record[ScanRecord::kDelta], 2));
        }
    }
    return line;
}

// Reads "a,b,..." numbers into `out`; false on any field that is not one.
bool readNumbers(const QVector<QStringRef>& fields, int from, int count, double* out)
{
    for (int i = 0; i < count; ++i) {
        bool ok = false;
        out[i] = fields.at(from + i).toDouble(&ok);
        if (!ok || !std::isfinite(out[i]))
            return false;
    }
    return true;
}

bool parseRecord(const QString& line, ScanRecord* record, int* sets)
{
    const QVector<QStringRef> fields = line.splitRef(QLatin1Char(','));
    const int count = fields.size();
    const int first = 1 + ScanRecord::kWavelengthCount + 1 + kBlockFields;
    if (count < first || (count - first) % ScanRecord::kWavelengthCount != 0)
        return false;
    const int found = 1 + (count - first) / ScanRecord::kWavelengthCount;
    if (found > ScanRecord::kSetCount || (*sets != 0 && found != *sets))
        return false;
    *sets = found;
    if (fields.at(1 + ScanRecord::kWavelengthCount) != QLatin1String(" "))
        return false;
    double block[kBlockFields];
    if (!readNumbers(fields, 0, 1, &(*record)[ScanRecord::kTimeStamp]) ||
        !readNumbers(fields, 1, ScanRecord::kWavelengthCount, record->spectrum(0)) ||
        !readNumbers(fields, 2 + ScanRecord::kWavelengthCount, kBlockFields, block))
        return false;
    for (int set = 1; set < found; ++set) {
        if (!readNumbers(fields, first + (set - 1) * ScanRecord::kWavelengthCount, ScanRecord::kWavelengthCount,
                         record->spectrum(set)))
            return false;
    }
    (*record)[ScanRecord::kL] = block[0];
    (*record)[ScanRecord::kA] = block[1];
    (*record)[ScanRecord::kB] = block[2];
    (*record)[ScanRecord::kDeltaE] = block[3];
    (*record)[ScanRecord::kRipple] = block[4];
    (*record)[ScanRecord::kPosition] = block[5];
    (*record)[ScanRecord::kSync] = block[6];
    (*record)[ScanRecord::kDelta] = block[7];
    return true;
}

} // namespace

QString Vireo2Scanning::stripFilePath(bool measurementFile) const
{
    return QStringLiteral("%1%2%3.csv")
        .arg(log().logFolder())
        .arg(sheetNumber_, 3, 10, QLatin1Char('0'))
        .arg(measurementFile ? QString() : QStringLiteral("p"));
}

bool Vireo2Scanning::saveStripFiles(bool measurementFile)
{
    if (measurementFile)
        return saveStripDataToFile(stripFilePath(true), measurements());
    const bool saved = saveStripDataToFile(stripFilePath(false), patches());
    log().WriteLine(QStringLiteral("Sheet Edge = %1").arg(fixed(sheetEdge_, 2)));
    log().WriteLine(QStringLiteral("Patch Offset = %1").arg(fixed(patchOffset_ - sheetEdge_, 2)));
    log().WriteLine(QStringLiteral("Sheet Length = %1").arg(fixed(farSheetEdge_ - sheetEdge_, 2)));
    return saved;
}

bool Vireo2Scanning::saveStripDataToFile(const QString& path, const ScanRecordList& records)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Text)) {
        log().LogErrorOnly(errors::kStripFile, QStringLiteral("FAILED SaveStripDataToFile: Unable to create output file"));
        return false;
    }
    const bool patchFile = isPatchFile(path);
    QTextStream out(&file);
    out << QStringLiteral("%1/%2/%3/%4/%5/%6/%7/%8/%9/%10/%11/%12")
               .arg(expectedPatchCount_)
               .arg(QString::number(patchWidth_), fixed(kMargin, 1), fixed(trackSpeed_, 2), fixed(paperLab_[0], 2),
                    fixed(paperLab_[1], 2), fixed(paperLab_[2], 2), fixed(refA_, 1), fixed(refB_, 1))
               .arg(fixed(refC_, 1), fixed(refD_, 1), fixed(kPositionScale, 1))
        << '\n'
        << kColumnLine << '\n';
    if (records.size() > 400)
        log().WriteLine(QStringLiteral("Sheet %1").arg(sheetNumber_));

    double smallest = 1e300, largest = -1e300, widestInterval = 0.0;
    double deltaSum = 0.0, rippleSum = 0.0;
    int synchronised = 0;
    for (size_t i = 0; i < records.size(); ++i) {
        const ScanRecord& record = records[i];
        out << recordLine(record, dataSetsPerPatch_) << '\n';
        const double* set0 = record.spectrum(0);
        smallest = std::min(smallest, *std::min_element(set0, set0 + ScanRecord::kWavelengthCount));
        largest = std::max(largest, *std::max_element(set0, set0 + ScanRecord::kWavelengthCount));
        if (i > 0)
            widestInterval = std::max(widestInterval, record[ScanRecord::kTimeStamp] - records[i - 1][ScanRecord::kTimeStamp]);
        deltaSum += std::abs(record[ScanRecord::kDelta]);
        if (record[ScanRecord::kSync] == 1.0) {
            rippleSum += record[ScanRecord::kRipple];
            ++synchronised;
        }
    }
    out.flush();
    file.close();

    const double count = double(records.size());
    if (!patchFile) {
        if (smallest <= 0.0 || largest > 120.0) {
            log().LogErrorOnly(errors::kScanData, QStringLiteral("Reflectance out of range: Min=%1 Max=%2").arg(smallest).arg(largest));
        } else {
            if (widestInterval > 6.5)
                log().LogErrorOnly(errors::kScanData, QStringLiteral("Time Stamp Interval is out of range: Max Interval=%1").arg(widestInterval));
            if (records.size() > 1)
                log().WriteLine(QStringLiteral("Avg Meas Time = %1")
                                    .arg((records.back()[ScanRecord::kTimeStamp] - records.front()[ScanRecord::kTimeStamp]) / (count - 1)));
        }
    } else if (!records.empty()) {
        if (records.size() > 1)
            log().WriteLine(QStringLiteral("Avg Patch Width = %1")
                                .arg((records.back()[ScanRecord::kPosition] - records.front()[ScanRecord::kPosition]) / (count - 1)));
        log().WriteLine(QStringLiteral("Avg Ripple = %1").arg(synchronised > 0 ? rippleSum / synchronised : 0.0));
        log().WriteLine(QStringLiteral("Avg Position Error = %1").arg(deltaSum / count));
    }
    return true;
}

bool Vireo2Scanning::loadStripDataFromFile(const QString& path, ScanRecordList* records)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        log().LogErrorOnly(errors::kStripFile, QStringLiteral("FAILED LoadStripDataFromFile: Unable to open data file"));
        return false;
    }
    auto invalid = [this] {
        log().LogErrorOnly(errors::kStripFile, QStringLiteral("FAILED loadStripDataFromFile: Invalid data format"));
        return false;
    };
    qint64 bytesRead = 0;
    auto readLine = [&file, &bytesRead](QString* line) {
        const QByteArray bytes = file.readLine(kLongestLine);
        bytesRead += bytes.size();
        if (bytes.isEmpty() || (!bytes.endsWith('\n') && !file.atEnd()) || bytesRead > kLargestFile)
            return false;
        *line = QString::fromLatin1(bytes).trimmed();
        return true;
    };
    QString line;
    if (!readLine(&line))
        return invalid();
    const QStringList header = line.split(QLatin1Char('/'));
    if (header.size() != kHeaderFields)
        return invalid();
    double values[kHeaderFields];
    for (int i = 0; i < kHeaderFields; ++i) {
        bool ok = false;
        values[i] = header.at(i).toDouble(&ok);
        if (!ok || !std::isfinite(values[i]))
            return invalid();
    }
    // The patch count becomes an int.
    if (values[0] < 0.0 || values[0] > double(std::numeric_limits<int>::max()))
        return invalid();
    if (!readLine(&line) || line != QLatin1String(kColumnLine).trimmed())
        return invalid();

    ScanRecordList loaded;
    int sets = 0;
    while (!file.atEnd()) {
        if (!readLine(&line))
            return invalid();
        if (line.isEmpty())
            continue;
        ScanRecord record;
        if (!parseRecord(line, &record, &sets))
            return invalid();
        loaded.push_back(record);
    }
    expectedPatchCount_ = int(values[0]);
    patchWidth_ = values[1];
    paperLab_ = {values[4], values[5], values[6]};
    refA_ = values[7];
    refB_ = values[8];
    refC_ = values[9];
    refD_ = values[10];
    if (sets > 0)
        dataSetsPerPatch_ = sets;
    *records = std::move(loaded);
    return true;
}

QString Vireo2Scanning::replayScanFile(const QString& name)
{
    ScanRecordList records;
    if (!loadStripDataFromFile(log().logFolder() + (name.isEmpty() ? QStringLiteral("000.csv") : name), &records))
        return QString();
    {
        MutexLocker lock(&listMutex_);
        measurements_ = records;
    }
    if (!concludeBuild(records))
        return QString();
    return QStringLiteral("<00>");
}

bool Vireo2Scanning::replayScanCsv()
{
    ScanRecordList records;
    if (!loadStripDataFromFile(QDir::currentPath() + QStringLiteral("/scan.csv"), &records)) {
        log().LogErrorOnly(errors::kPatchBuild, QStringLiteral("FAILED Scan: Invalid data"));
        markFailed();
        return false;
    }
    if (patchLimit_ > 0 && patchLimit_ < int(records.size()))
        records.resize(size_t(patchLimit_));
    setPatches(std::move(records));
    announcePatches();
    return true;
}

} // namespace vireo2
