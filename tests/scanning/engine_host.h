#pragma once

#include <memory>

#include "scanning/scan_host.h"
#include "scanning/vireo2_scanning.h"
#include "settings/log_helper.h"
#include "test_environment.h"

namespace vireo2::test {

// An engine with its own error record and log, for the engine's parts
// without a device; counts the aborts it is asked for.
class EngineHost : public ScanHost {
public:
    explicit EngineHost(const QMap<QString, QString>& logOptions = {})
    {
        env.writeLogOptions(logOptions);
        logHelper = std::make_unique<LogHelper>();
        engine = std::make_unique<Vireo2Scanning>(this);
    }
    ~EngineHost() override { engine.reset(); }

    LogHelper& log() override { return *logHelper; }
    int scanAbort() override
    {
        ++aborts;
        engine->stop();
        return 1;
    }
    QString logText() const { return TestEnvironment::readFile(logHelper->logFilePath()); }

    TestEnvironment env;
    std::unique_ptr<LogHelper> logHelper;
    std::unique_ptr<Vireo2Scanning> engine;
    int aborts = 0;
};

} // namespace vireo2::test
