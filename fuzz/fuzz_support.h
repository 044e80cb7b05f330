#pragma once

// Shared by the fuzz targets: a private data folder and working directory
// for the library's files, and a device that answers without an instrument.
#include <QByteArray>
#include <QDir>
#include <QTemporaryDir>
#include <cstdlib>
#include <memory>

#include "device/vireo2.h"

namespace vireo2::fuzz {

// Points the library's data folder and the working directory at a private
// temporary folder for the life of the process (so give the fuzzer absolute
// corpus paths).
inline QString privateFolder()
{
    static QTemporaryDir dir;
    static const QString path = [] {
        ::setenv("XDG_DATA_HOME", QFile::encodeName(dir.path()).constData(), 1);
        QDir::setCurrent(dir.path());
        return dir.path();
    }();
    return path;
}

// A device without an instrument: exchanges are answered by the library's
// stand-in replies, so command handling runs without a network.
class DeviceWithoutInstrument : public Vireo2 {
public:
    DeviceWithoutInstrument()
    {
        instrumentPresent_ = false;
        init();
    }
};

// A device (Vireo2 or a subclass) set up to reach the in-process simulator
// over TCP with one connection attempt, the simulator's
// calibration valid so that measurements are not refused first.
template <typename Device, typename Simulator>
std::unique_ptr<Device> deviceFor(Simulator& sim)
{
    auto device = std::make_unique<Device>();
    device->init();
    device->SetOption(QStringLiteral("connection_method"), QStringLiteral("TCP"));
    device->SetOption(QStringLiteral("device_ip_address"), QString::fromLatin1(sim.address()));
    device->SetOption(QStringLiteral("connection_attempts"), QStringLiteral("1"));
    sim.engine().model().control(QStringLiteral("calibration valid"));
    return device;
}

inline QString text(const uint8_t* data, size_t size)
{
    return QString::fromUtf8(reinterpret_cast<const char*>(data), int(size));
}

} // namespace vireo2::fuzz
