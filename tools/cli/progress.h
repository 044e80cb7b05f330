#pragma once

#include <QElapsedTimer>
#include <QString>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace vireo2::cli {

// Tells the user on stderr that a blocking library call is under way:
// "Measuring..." when it starts, " done (1.3 s)" or " failed" when it ends.
// On a terminal a dot is added every half second while the call runs, so a
// long wait never looks like a hang. Quiet progress prints nothing.
class Progress {
public:
    Progress(const QString& message, bool quiet);
    ~Progress();

    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void finish(bool succeeded);

private:
    void tick();

    bool quiet_;
    bool finished_ = false;
    QElapsedTimer timer_;
    std::mutex mutex_;
    std::condition_variable stop_;
    std::thread ticker_;
};

// Runs `call` between the start and end of one Progress and returns its result.
template <typename Call>
auto withProgress(const QString& message, bool quiet, Call&& call)
{
    Progress progress(message, quiet);
    const auto result = call();
    progress.finish(bool(result));
    return result;
}

} // namespace vireo2::cli
