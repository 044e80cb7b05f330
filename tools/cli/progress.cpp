#include "progress.h"

#include <chrono>

#include "console.h"

namespace vireo2::cli {

namespace {
constexpr std::chrono::milliseconds kTickInterval{500};
}

Progress::Progress(const QString& message, bool quiet) : quiet_(quiet)
{
    timer_.start();
    if (quiet_)
        return;
    printErr(message);
    if (errIsTerminal())
        ticker_ = std::thread([this] { tick(); });
}

Progress::~Progress()
{
    finish(false);
}

void Progress::tick()
{
    std::unique_lock<std::mutex> lock(mutex_);
    while (!stop_.wait_for(lock, kTickInterval, [this] { return finished_; }))
        printErr(QStringLiteral("."));
}

void Progress::finish(bool succeeded)
{
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (finished_)
            return;
        finished_ = true;
    }
    stop_.notify_all();
    if (ticker_.joinable())
        ticker_.join();
    if (quiet_)
        return;
    if (succeeded)
        printErr(QStringLiteral(" done (%1 s)\n").arg(QString::number(timer_.elapsed() / 1000.0, 'f', 1)));
    else
        printErr(QStringLiteral(" failed\n"));
}

} // namespace vireo2::cli
