#pragma once

#include <QByteArray>
#include <QHash>
#include <QList>
#include <memory>

#include "instrument_model.h"
#include "sim_engine.h"

struct libusb_device_handle;

namespace vireo2::test {

// One libusb call as the simulated device saw it.
struct UsbCall {
    enum Kind { Open, Claim, BulkOut, BulkIn, Close };
    explicit UsbCall(Kind kind, int endpoint = 0, int length = 0, unsigned int timeout = 0)
        : kind(kind), endpoint(endpoint), length(length), timeout(timeout)
    {
    }

    Kind kind;
    int endpoint;  // the interface number of a Claim
    int length;
    unsigned int timeout;
    int result = 0;
    quint16 vendor = 0;
    quint16 product = 0;
    QByteArray data;  // bytes written (BulkOut) or read (BulkIn)
    const unsigned char* buffer = nullptr;  // the caller's
};

// The instrument at the other end of the libusb functions that the USB tests
// link instead of the real libusb (fake_libusb.cpp). Commands written to
// endpoint 0x01 go through a simulator engine (instrument model and fault
// layer); each reply, or each piece of a split reply, becomes one read of
// endpoint 0x82, available at once (a fault's delay and pauses are not
// simulated). A read with nothing to give waits for real, up to its timeout.
// A "drop" fault unplugs the device: every later transfer fails. Like the USB
// transport it serves, it is used from one thread.
class FakeUsbDevice {
public:
    static FakeUsbDevice& instance();

    // Forgets calls, queued replies and failures; plugs in a device with
    // these identifiers answering through a new engine around `model`.
    void reset(std::shared_ptr<sim::InstrumentModel> model, quint16 vendor, quint16 product);

    sim::SimEngine& engine() { return *engine_; }
    QList<UsbCall> calls() const { return calls_; }
    void clearCalls() { calls_.clear(); }
    // Bytes waiting on the IN endpoint, as a previous command would leave.
    void queueIn(const QByteArray& bytes) { inQueue_ << bytes; }
    // The next Claim, BulkIn or BulkOut carrying data fails with `result`
    // and sets errno to `error`.
    void failNext(UsbCall::Kind kind, int result, int error);

    // What the libusb functions do.
    libusb_device_handle* open(quint16 vendor, quint16 product);
    int claim(libusb_device_handle* handle, int interfaceNumber);
    int transfer(libusb_device_handle* handle, unsigned char endpoint, unsigned char* data, int length,
                 int* transferred, unsigned int timeout);
    void close(libusb_device_handle* handle);

private:
    int write(const QByteArray& bytes);
    int read(unsigned char* data, int length, unsigned int timeout, QByteArray* received);
    bool takeFailure(UsbCall::Kind kind, int* result);
    int record(const UsbCall& call);

    std::unique_ptr<sim::SimEngine> engine_;
    QList<UsbCall> calls_;
    QList<QByteArray> inQueue_;
    QByteArray outStream_;
    quint16 vendor_ = 0;
    quint16 product_ = 0;
    bool present_ = true;
    // Kind -> (result, errno) of the next call of that kind.
    QHash<int, QPair<int, int>> failures_;
};

} // namespace vireo2::test
