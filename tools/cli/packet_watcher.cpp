#include "packet_watcher.h"

#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <chrono>

#include "console.h"
#include "log_location.h"

namespace vireo2::cli {

namespace {
constexpr std::chrono::milliseconds kPollInterval{300};
}

PacketWatcher::PacketWatcher(bool quiet) : path_(communicationLogPath()), offset_(QFileInfo(path_).size())
{
    if (!quiet)
        thread_ = std::thread([this] { run(); });
}

PacketWatcher::~PacketWatcher() { stop(); }

void PacketWatcher::stop()
{
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (stopped_)
            return;
        stopped_ = true;
    }
    wake_.notify_all();
    if (thread_.joinable()) {
        thread_.join();
        poll();
    }
}

void PacketWatcher::run()
{
    std::unique_lock<std::mutex> lock(mutex_);
    while (!wake_.wait_for(lock, kPollInterval, [this] { return stopped_; })) {
        lock.unlock();
        poll();
        lock.lock();
    }
}

// Reads what the log gained since the last poll (from the start again when
// the log was cut back to its size limit).
void PacketWatcher::poll()
{
    static const QRegularExpression packet(QStringLiteral("SENDING PACKET: (\\d+) of (\\d+)"));
    QFile log(path_);
    if (!log.open(QIODevice::ReadOnly))
        return;
    if (log.size() < offset_)
        offset_ = 0;
    log.seek(offset_);
    const QString added = QString::fromLatin1(log.readAll());
    offset_ += added.size();
    for (auto it = packet.globalMatch(added); it.hasNext();) {
        const auto match = it.next();
        printErr(QStringLiteral("\n  packet %1 of %2").arg(match.captured(1).toInt() + 1).arg(match.captured(2)));
    }
}

} // namespace vireo2::cli
