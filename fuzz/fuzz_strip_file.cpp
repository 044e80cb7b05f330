// Feeds arbitrary bytes as a saved measurement file ("000.csv" beside the
// log) and replays it: the strip-file loader, then patch building over
// whatever it accepted. A file the loader accepts must survive a save and a
// second load unchanged.
#include <QFile>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "fuzz_support.h"
#include "scanning/scan_host.h"
#include "scanning/vireo2_scanning.h"
#include "settings/log_helper.h"

namespace {

class FuzzScanHost : public vireo2::ScanHost {
public:
    vireo2::LogHelper& log() override { return log_; }
    int scanAbort() override { return 1; }

private:
    vireo2::LogHelper log_;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    vireo2::fuzz::privateFolder();
    static FuzzScanHost host;
    static vireo2::Vireo2Scanning engine(&host);
    QString directory = host.log().logFilePath();
    directory.remove(QStringLiteral("spectro.log"));
    QFile file(directory + QStringLiteral("000.csv"));
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return 0;
    file.write(reinterpret_cast<const char*>(data), qint64(size));
    file.close();

    vireo2::ScanRecordList records;
    if (engine.loadStripDataFromFile(file.fileName(), &records)) {
        const QString again = directory + QStringLiteral("again.csv");
        vireo2::ScanRecordList reloaded;
        if (!engine.saveStripDataToFile(again, records) || !engine.loadStripDataFromFile(again, &reloaded) ||
            reloaded.size() != records.size())
            __builtin_trap();
    }
    engine.replayScanFile(QStringLiteral("000.csv"));
    return 0;
}
