#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <array>
#include <atomic>
#include <memory>

#include "scanning/motion_profile.h"
#include "scanning/patch_quality.h"
#include "scanning/scan_record.h"
#include "scanning/stream_poll.h"
#include "threading/locks.h"

namespace vireo2 {

class LogHelper;
class ScanHost;
class Tr3Link;

// The scanning engine of the device: the scan state that the status poll and
// the scan exports read, the link to the TR3 track and the track operations
// (stop, home, references, configure, traverse), the measurements streamed
// during a traverse and the patches built from them. Runs on the caller's
// thread; track exchanges are serialised by the device's operation lock,
// which every caller holds. The measurement and patch lists are read
// unlocked by the data exports, so they sit behind a mutex of their own.
class Vireo2Scanning {
public:
    static constexpr int kIdle = 0;
    static constexpr int kScanning = 2;
    static constexpr int kDataReady = 3;
    static constexpr int kAbortedOnInstrument = 5;
    static constexpr int kStopped = 6;
    static constexpr int kHeadNotHome = 7;
    static constexpr int kFailed = -1;

    // Speed record: samples per patch, top speed (mm/s), longest traverse
    // (mm), sample rate (per s); the traverse length comes from the track.
    static constexpr double kMargin = 2.0;
    static constexpr double kSamplesPerPatch = 2.0;
    static constexpr double kMaximumSpeed = 150.0;
    static constexpr double kMaximumTraverse = 1060.0;
    static constexpr double kSampleRate = 90.0;
    static constexpr int kHomePolls = 120;
    static constexpr int kHomePollMs = 250;
    // Readings kept from one traverse: the longest one at the slowest speed
    // takes about 2,200.
    static constexpr int kMaximumReadings = 10000;

    Vireo2Scanning();
    explicit Vireo2Scanning(ScanHost* host);
    ~Vireo2Scanning();

    void setHost(ScanHost* host) { host_ = host; }

    void setTrackInUse(bool inUse) { trackInUse_ = inUse; }
    bool trackInUse() const { return trackInUse_; }

    int state() const { return state_; }
    void setState(int state) { state_ = state; }
    // Reads the state; terminal values (3, 5, 6, -1) are reported once and
    // the state returns to idle.
    int status();

    // --- Link (tr3_link.cpp does the wire work) -------------------------
    bool connect(const QString& address);
    void disconnect();
    bool linkUp() const { return linkUp_; }
    // One track command; the track's status or the link's error code.
    qint32 exchange(const QString& command, QByteArray& reply);
    // The track's reply, empty when the exchange failed ("tr3 WORD").
    QString passThrough(const QString& command);
    // "<00>" when the track accepted the command, otherwise the error text.
    QString passThroughWithStatus(const QString& command);

    // --- Track operations (track_operations.cpp) ------------------------
    bool stop();
    bool home();
    bool headMoving();
    bool readReferences();
    bool configure(int patchCount, double patchWidth);
    // "autoscanconfig WIDTH ...": the command interface's configuration,
    // with its own error texts.
    bool autoConfigure(const QStringList& words);
    // First step of "autoscanstart"; false with the error recorded.
    bool prepareTrackScan(const QStringList& words);
    // Starts the head moving; false with the error recorded (the status
    // code to throw is the error record's).
    bool startTraverse();
    // Aborts through the device, then sets the failure state, keeping the
    // cause in the error record; returns -1.
    int fail();
    // State -1 with the error just recorded as the cause the host reads
    // (no abort: the scan has already ended).
    void markFailed();

    // --- Streamed measurements (stream_packets.cpp, measurement_records.cpp)
    // Called when a traverse is armed: sets the data sets per patch and
    // empties the patch list (the measurements are emptied when the
    // traverse starts).
    void armScan(int dataSetsPerPatch);
    // The instrument was told to start acquiring: its packets count from 0
    // and its time stamps start afresh.
    void beginAcquisition();
    // One 0x90 packet's JSON: appends its readings (MoreData, also for a
    // packet dropped as received twice), or runs the failure routine
    // (Failed, error recorded): a packet that cannot be read, time stamps
    // that go back or repeat, conditions that change, more than
    // kMaximumReadings.
    StreamPoll acceptStreamPacket(const QByteArray& json);
    // End of a streamed scan: references, records, patches; sets the state.
    bool finishStreamedScan();
    // "autoscanconfig": builds patches from whatever was recorded last.
    QString scanRecordedData();

    // --- Read-out ------------------------------------------------------
    int patchCount() const;
    ScanRecordList patches() const;
    ScanRecordList measurements() const;
    // The patches and how far they can be trusted (no flags: as trusted as
    // their source, a replayed file).
    void setPatches(ScanRecordList patches, StripQuality quality = {});
    // Quality flags of patch `index`, or of the strip for -1; -1 when there
    // is no such patch.
    int quality(int index) const;
    int dataSetsPerPatch() const { return dataSetsPerPatch_; }

    // Scan configuration (of hand scans too) and results.
    // The hand scan's layout, stored as given (the instrument checks it).
    void setLayout(int patchCount, double patchWidth)
    {
        expectedPatchCount_ = patchCount;
        patchWidth_ = patchWidth;
    }
    int expectedPatchCount() const { return expectedPatchCount_; }
    double patchWidth() const { return patchWidth_; }
    double trackSpeed() const { return trackSpeed_; }
    double sampleSpacing() const { return sampleSpacing_; }
    double traverseLength() const { return traverseLength_; }
    std::array<double, 4> references() const { return {refA_, refB_, refC_, refD_}; }
    std::array<double, 3> paperReference() const { return paperLab_; }
    void setPaperReference(double L, double a, double b);
    bool paperReferenceSet() const { return paperReferenceSet_; }
    double sheetEdge() const { return sheetEdge_; }
    double farSheetEdge() const { return farSheetEdge_; }
    double patchOffset() const { return patchOffset_; }
    int patchLimit() const { return patchLimit_; }
    void setPatchLimit(int limit) { patchLimit_ = limit; }
    int sheetNumber() const { return sheetNumber_; }

    // A scan trigger reported by the track and not yet asked for; asking
    // clears it.
    void setScanRequested(bool requested) { scanRequested_ = requested; }
    bool takeScanRequested() { return scanRequested_.exchange(false); }

    // Strip files (strip_files.cpp): the measurement or patch list of the
    // current sheet beside the communication log ("007.csv", "007p.csv").
    QString stripFilePath(bool measurementFile) const;
    bool saveStripFiles(bool measurementFile);
    bool saveStripDataToFile(const QString& path, const ScanRecordList& records);
    bool loadStripDataFromFile(const QString& path, ScanRecordList* records);
    // "scanfile NAME": loads a saved measurement file and builds from it.
    QString replayScanFile(const QString& name);
    // The end of a traverse without streamed data: "scan.csv" in the
    // current directory becomes the patch list.
    bool replayScanCsv();

private:
    LogHelper& log() const;
    void prepareMeasurements(ScanRecordList& records);
    bool buildPatches(const ScanRecordList& records);
    bool concludeBuild(const ScanRecordList& records);
    // Every end of a scan: the device's abort (instrument told, track
    // stopped and sent home), then `finalState`, so that a host that sees
    // the end finds the track stopped.
    void endScan(int finalState);
    // The patches are built: the end of the scan with state 3, logged.
    void announcePatches();
    StreamPoll refusePacket(const QString& reason);
    bool referenceReply(const QString& command, double* first, double* second, QByteArray& reply);
    void readTraverseLength();

    ScanHost* host_ = nullptr;
    std::unique_ptr<Tr3Link> link_;
    std::atomic<bool> trackInUse_{false};
    std::atomic<int> state_{kIdle};
    std::atomic<bool> scanRequested_{false};
    // True while endScan's abort runs: the stop leaves the state alone.
    std::atomic<bool> ending_{false};
    bool linkUp_ = false;
    bool atHome_ = false;

    int dataSetsPerPatch_ = ScanRecord::kSetCount;
    int expectedPatchCount_ = 0;
    double patchWidth_ = 0.0;
    double trackSpeed_ = 0.0;
    double sampleSpacing_ = 0.0;
    double traverseLength_ = kMaximumTraverse;
    int patchLimit_ = 0;
    int sheetNumber_ = 0;
    double refA_ = 0.0, refB_ = 0.0, refC_ = 0.0, refD_ = 0.0;
    MotionProfile motion_;
    std::array<double, 3> paperLab_{0.0, 0.0, 0.0};
    bool paperReferenceSet_ = false;
    double sheetEdge_ = 0.0;
    double farSheetEdge_ = 0.0;
    double patchOffset_ = 0.0;
    int lastPacketSequence_ = -1;
    double lastTimeStamp_ = -1.0;
    unsigned streamConditions_ = 0;

    mutable Mutex listMutex_;
    ScanRecordList measurements_;
    ScanRecordList patches_;
    StripQuality quality_;
};

} // namespace vireo2
