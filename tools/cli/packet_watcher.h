#pragma once

#include <QString>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace vireo2::cli {

// A firmware update runs inside one Execute call for up to 50 s per packet.
// The library notes each packet in its communication log as it starts
// sending it; this watcher reads those notes while the call runs and prints
// "packet 2 of 3" on stderr, so a long update shows where it is. Quiet: no
// watching at all.
class PacketWatcher {
public:
    explicit PacketWatcher(bool quiet);
    ~PacketWatcher();

    PacketWatcher(const PacketWatcher&) = delete;
    PacketWatcher& operator=(const PacketWatcher&) = delete;

    // Reports what is left to report and stops watching.
    void stop();

private:
    void run();
    void poll();

    QString path_;
    qint64 offset_ = 0;
    bool stopped_ = false;
    std::mutex mutex_;
    std::condition_variable wake_;
    std::thread thread_;
};

} // namespace vireo2::cli
