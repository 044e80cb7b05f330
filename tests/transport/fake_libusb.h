#pragma once

#include <QByteArray>
#include <QElapsedTimer>
#include <QList>
#include <QMutex>
#include <memory>

#include "instrument_model.h"
#include "sim_engine.h"

namespace vireo2::test {

struct Handle;

// One libusb call as the simulated device saw it.
struct UsbCall {
    enum Kind { Init, Open, Claim, BulkOut, BulkIn, Close };
    Kind kind = Init;
    int endpoint = 0;
    int length = 0;
    unsigned int timeout = 0;
    int result = 0;
    int transferred = 0;
    quint16 vendor = 0;
    quint16 product = 0;
    QByteArray data;  // bytes written (BulkOut) or read (BulkIn)
    const void* buffer = nullptr;  // the caller's buffer
};

// The instrument at the other end of the libusb functions that the USB tests
// link instead of the real libusb (fake_libusb.cpp). Commands written to
// endpoint 0x01 go through a simulator engine (instrument model and fault
// layer); each reply, or each piece of a split reply, becomes one read of
// endpoint 0x82. Reads wait for real, up to their timeout.
class FakeUsbDevice {
public:
    static FakeUsbDevice& instance();

    // Forgets calls, queued replies and failures; plugs in a device with
    // these identifiers answering through a new engine around `model`.
    void reset(std::shared_ptr<sim::InstrumentModel> model, quint16 vendor, quint16 product);

    sim::SimEngine& engine();
    QList<UsbCall> calls() const;
    QList<UsbCall> calls(UsbCall::Kind kind) const;
    void clearCalls();

    // Bytes waiting on the IN endpoint, as a previous command would leave.
    void queueIn(const QByteArray& bytes);
    // libusb_claim_interface's result, and errno with it.
    void failClaim(int result, int error);
    // The next OUT transfer that carries data fails with `result` and errno.
    void failNextWrite(int result, int error);
    // The next IN transfer fails with `result` and errno.
    void failNextRead(int result, int error);
    // Every transfer fails as if the device was pulled out.
    void unplug();
    int openHandles() const;

    // The libusb entry points.
    int init();
    Handle* open(quint16 vendor, quint16 product);
    int claim(Handle* handle, int interfaceNumber);
    int transfer(Handle* handle, unsigned char endpoint, unsigned char* data, int length, int* transferred,
                 unsigned int timeout);
    void close(Handle* handle);

private:
    struct Pending {
        QByteArray bytes;
        qint64 readyAtMs = 0;
    };

    int write(const QByteArray& bytes);
    void queuePlan(const sim::ReplyPlan& plan);
    int read(unsigned char* data, int length, int* transferred, unsigned int timeout, UsbCall& call);
    void record(const UsbCall& call);

    mutable QMutex mutex_;
    std::unique_ptr<sim::SimEngine> engine_;
    QList<UsbCall> calls_;
    QList<Pending> inQueue_;
    QByteArray outStream_;
    QElapsedTimer clock_;
    quint16 vendor_ = 0;
    quint16 product_ = 0;
    bool present_ = true;
    int openHandles_ = 0;
    int claimResult_ = 0;
    int claimErrno_ = 0;
    int writeFailure_ = 0;
    int writeErrno_ = 0;
    int readFailure_ = 0;
    int readErrno_ = 0;
};

} // namespace vireo2::test
