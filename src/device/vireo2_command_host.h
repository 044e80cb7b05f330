#pragma once

#include "commands/command_host.h"

namespace vireo2 {

class Vireo2;

// The Vireo2 device as the command dispatcher sees it, scan operations
// included: one per Execute call.
class Vireo2CommandHost : public CommandHost, private ScanOperations {
public:
    explicit Vireo2CommandHost(Vireo2& device) : device_(device) {}

    LogHelper& log() override;
    const DeviceSettings& settings() const override;

    qint32 transact(const QString& command, QByteArray& response, int timeoutMs,
                    ReplyDestination* destination = nullptr) override;
    bool setOption(const QString& name, const QString& value) override;
    int calibrationStatus() override;
    QString aperture() const override;
    QString takeButtonReports() override;

    std::unique_ptr<PortHold> lockPort() override;

    LongOperation* longOperation() override;

    bool isM0M1Compliant() const override;
    QString takeScanRequested() override;
    DeviceMarks& marks() override;
    ScanOperations& scans() override { return *this; }
    int executeBinary(const QByteArray& message, int timeoutMs, QByteArray* reply) override;
    QString option(const QString& name) override;
    bool statusCheckRunning() const override;
    bool isConnected() override;

private:
    int scanIsSupported() override;
    int scanGetStatus() override;
    int scanAbort() override;
    int scanGetCount() override;
    QString scanGetData(int patchIndex, int dataSet) override;
    int scanStart() override;
    Vireo2Scanning& scanning() override;
    StreamPoll pollStreamedScan() override;

    Vireo2& device_;
};

} // namespace vireo2
