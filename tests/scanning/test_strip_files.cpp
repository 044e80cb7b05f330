// Strip data files: what the saver writes the loader reads back unchanged,
// anything else is refused, and the statistics reach the log.
#include <gtest/gtest.h>

#include <QFile>

#include "engine_host.h"

namespace vireo2::test {
namespace {

ScanRecordList sampleRecords(int count)
{
    ScanRecordList records(static_cast<size_t>(count));
    for (int r = 0; r < count; ++r) {
        ScanRecord& record = records[size_t(r)];
        record[ScanRecord::kTimeStamp] = 100.0 + 5.5 * r;
        record[ScanRecord::kPosition] = 12.5 + 0.8333 * r;
        record[ScanRecord::kL] = 50.0 + r;
        record[ScanRecord::kA] = -3.25;
        record[ScanRecord::kB] = 7.5;
        record[ScanRecord::kDeltaE] = 12.0;
        record[ScanRecord::kRipple] = 0.75 * r;
        record[ScanRecord::kSync] = r % 2;
        record[ScanRecord::kDelta] = 0.01 * r;
        for (int set = 0; set < 4; ++set)
            for (int i = 0; i < 31; ++i)
                record.spectral(set, i) = 10.0 + set + 0.25 * i + r;
    }
    return records;
}

QByteArray contents(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void write(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(bytes);
}

TEST(StripFiles, SaveLoadSaveGivesTheSameFile)
{
    EngineHost host;
    Vireo2Scanning& engine = *host.engine;
    ASSERT_TRUE(engine.configure(24, 6.5));
    engine.setPaperReference(95.12, 0.5, -3.25);
    const QString first = host.env.root() + QStringLiteral("/first.csv");
    const QString second = host.env.root() + QStringLiteral("/second.csv");
    ASSERT_TRUE(engine.saveStripDataToFile(first, sampleRecords(12)));
    const QList<QByteArray> lines = contents(first).split('\n');
    EXPECT_EQ(lines.at(0), "24/6.5/2.0/150.00/95.12/0.50/-3.25/0.0/0.0/0.0/0.0/1.0");
    EXPECT_TRUE(lines.at(1).startsWith(",(M0)400,410,420,"));
    EXPECT_TRUE(lines.at(2).startsWith("100.0,10.00,10.25,"));
    EXPECT_TRUE(lines.at(2).contains(", ,50.00,-3.25,7.50,12.00,0.00,12.5000,0,0.00,11.00,"));

    EngineHost other;
    ScanRecordList loaded;
    ASSERT_TRUE(other.engine->loadStripDataFromFile(first, &loaded));
    EXPECT_EQ(loaded.size(), 12u);
    EXPECT_EQ(other.engine->expectedPatchCount(), 24);
    EXPECT_EQ(other.engine->patchWidth(), 6.5);
    ASSERT_TRUE(other.engine->configure(other.engine->expectedPatchCount(), other.engine->patchWidth()));
    ASSERT_TRUE(other.engine->saveStripDataToFile(second, loaded));
    EXPECT_EQ(contents(first), contents(second));
}

TEST(StripFiles, LoaderRefusesAnythingElse)
{
    EngineHost host;
    const QString good = host.env.root() + QStringLiteral("/good.csv");
    ASSERT_TRUE(host.engine->saveStripDataToFile(good, sampleRecords(3)));
    const QByteArray valid = contents(good);
    const QByteArray lastLine = valid.mid(valid.lastIndexOf('\n', valid.size() - 2) + 1);
    const QList<QByteArray> bad{
        QByteArray("\x00\xff\x13junk\x00", 9),
        valid.left(valid.size() - 40),                                      // a truncated last line
        valid + lastLine.left(lastLine.size() - 1).replace(",", ",x") + "\n",  // a field that is no number
        valid + QByteArray(10000, ',') + "\n",                              // 10,000 columns
        valid.mid(valid.indexOf('\n') + 1),                                 // no header
        "1/2/3\n" + valid.mid(valid.indexOf('\n') + 1),                     // a short header
        "1e300" + valid.mid(valid.indexOf('/')),                            // a patch count no int holds
        valid + valid.mid(valid.indexOf('\n', valid.indexOf('\n') + 1) + 1).repeated(10000),  // over 16 MiB
    };
    ScanRecordList records;
    for (int i = 0; i < bad.size(); ++i) {
        const QString path = host.env.root() + QStringLiteral("/bad%1.csv").arg(i);
        write(path, bad.at(i));
        EXPECT_FALSE(host.engine->loadStripDataFromFile(path, &records)) << i;
        EXPECT_EQ(host.logHelper->errorText(), QByteArray("FAILED loadStripDataFromFile: Invalid data format")) << i;
    }
    // 100 MB: a valid start, then one endless line (a sparse file of zeros).
    const QString huge = host.env.root() + QStringLiteral("/huge.csv");
    write(huge, valid);
    {
        QFile file(huge);
        ASSERT_TRUE(file.resize(100LL * 1024 * 1024));
    }
    EXPECT_FALSE(host.engine->loadStripDataFromFile(huge, &records));
    EXPECT_EQ(host.logHelper->errorText(), QByteArray("FAILED loadStripDataFromFile: Invalid data format"));

    EXPECT_FALSE(host.engine->loadStripDataFromFile(host.env.root() + QStringLiteral("/missing.csv"), &records));
    EXPECT_EQ(host.logHelper->errorText(), QByteArray("FAILED LoadStripDataFromFile: Unable to open data file"));
}

TEST(StripFiles, PlausibilityChecksAndSummaries)
{
    EngineHost host;
    ScanRecordList records = sampleRecords(5);
    records[2].spectral(0, 7) = 0.0;
    ASSERT_TRUE(host.engine->saveStripDataToFile(host.env.root() + QStringLiteral("/m.csv"), records));
    EXPECT_EQ(host.logHelper->errorText(), QByteArray("Reflectance out of range: Min=0 Max=21.5"));
    EXPECT_FALSE(host.logText().contains(QStringLiteral("Avg Meas Time")));

    records = sampleRecords(5);
    records[4][ScanRecord::kTimeStamp] += 2.0;
    ASSERT_TRUE(host.engine->saveStripDataToFile(host.env.root() + QStringLiteral("/n.csv"), records));
    EXPECT_EQ(host.logHelper->errorText(), QByteArray("Time Stamp Interval is out of range: Max Interval=7.5"));
    EXPECT_TRUE(host.logText().contains(QStringLiteral("Avg Meas Time = 6")));

    // Any path whose name ends in "p.csv" is a patch file.
    ASSERT_TRUE(host.engine->saveStripDataToFile(host.env.root() + QStringLiteral("/sheetp.csv"), sampleRecords(5)));
    EXPECT_TRUE(host.logText().contains(QStringLiteral("Avg Patch Width = 0.8333")));
    EXPECT_TRUE(host.logText().contains(QStringLiteral("Avg Ripple = 1.5")));
    EXPECT_TRUE(host.logText().contains(QStringLiteral("Avg Position Error = 0.02")));
}

TEST(StripFiles, ScanCsvReplayKeepsThePatchLimit)
{
    EngineHost host;
    ASSERT_TRUE(host.engine->saveStripDataToFile(host.env.workDirectory() + QStringLiteral("/scan.csv"), sampleRecords(8)));
    ASSERT_TRUE(host.engine->replayScanCsv());
    EXPECT_EQ(host.engine->patchCount(), 8) << "a limit nobody set keeps every patch";
    EXPECT_EQ(host.engine->status(), Vireo2Scanning::kDataReady);
    EXPECT_EQ(host.aborts, 1);
    EXPECT_TRUE(host.logText().contains(QStringLiteral("Patch Data Ready")));

    host.engine->setPatchLimit(5);
    ASSERT_TRUE(host.engine->replayScanCsv());
    EXPECT_EQ(host.engine->patchCount(), 5);

    QFile::remove(host.env.workDirectory() + QStringLiteral("/scan.csv"));
    EXPECT_FALSE(host.engine->replayScanCsv());
    EXPECT_EQ(host.logHelper->errorText(), QByteArray("FAILED Scan: Invalid data"));
    EXPECT_EQ(host.engine->status(), Vireo2Scanning::kFailed);
}

} // namespace
} // namespace vireo2::test
