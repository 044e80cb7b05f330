#pragma once

#include <QElapsedTimer>
#include "threading/locks.h"
#include <QSettings>
#include <QString>
#include <memory>

namespace vireo2 {

// One INI file behind a mutex: QSettings is reentrant but not thread-safe,
// and exports reach the same store from several host threads.
class SettingsStore {
public:
    explicit SettingsStore(const QString& fileName);
    ~SettingsStore();

    // A store that grows by many small changes (thousands of wireless
    // configurations) would rewrite its whole file on every change. This
    // writes it at once when the last write is at least kWriteBehindMs old,
    // and otherwise leaves it for the next change, flush() or the store's
    // end: a burst of changes costs a few rewrites, and a change is on disk
    // at most that long after the burst ends or the device is disconnected.
    static constexpr qint64 kWriteBehindMs = 500;
    void syncSoon();
    // Writes pending changes now.
    void flush();

    // Runs `f(QSettings&)` with the store locked and returns its result.
    template <typename F>
    auto with(F&& f)
    {
        MutexLocker lock(&mutex_);
        return f(settings_);
    }

    QString fileName() const { return fileName_; }

private:
    Mutex mutex_;
    QString fileName_;
    QSettings settings_;
    QElapsedTimer sinceSync_;
    bool pending_ = false;
};

// The settings files of one device model, all fixed at construction.
struct DeviceSettings {
    QString libraryDirectory;   // directory of the loaded library
    QString globalFile;         // libraryDirectory + "/spectro.ini"
    QString dataDirectory;      // from Data/Path, ends in "/"
    std::shared_ptr<SettingsStore> device;         // "<data>Vireo2.ini"
    std::shared_ptr<SettingsStore> wirelessConfigs; // "<root>Hueron/Vireo2WifiConfigs.ini"
    std::shared_ptr<SettingsStore> compatibility;  // "<data>Vireo2Compatibility.ini"
    // Why a configured "Data/Path" could not be used and the default was
    // taken instead; empty when nothing was wrong. The device writes it to
    // the log once.
    QString dataPathProblem;

    // Reads spectro.ini beside the library, resolves and creates the data
    // directories and opens the three stores for `modelName`.
    static DeviceSettings load(const QString& modelName);
};

// Global flags are on only for the exact text "1".
bool isFlagOn(const QString& value);

} // namespace vireo2
