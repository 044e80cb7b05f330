// The libusb functions the USB transport calls, backed by a simulated device.
// Linked into the USB tests in place of the real libusb.
#include "fake_libusb.h"

#include <QMutexLocker>
#include <QThread>
#include <cerrno>
#include <cstring>
#include <libusb.h>

#include "transport/packet_assembler.h"

struct libusb_device_handle {
    int serial = 0;
};

namespace vireo2::test {
namespace {

// A read without timeout that nothing will ever answer ends after this, so a
// test cannot hang; the call still records the 0 it was given.
constexpr qint64 kEndlessReadCapMs = 5000;

} // namespace

struct Handle : libusb_device_handle {};

FakeUsbDevice& FakeUsbDevice::instance()
{
    static FakeUsbDevice device;
    return device;
}

void FakeUsbDevice::reset(std::shared_ptr<sim::InstrumentModel> model, quint16 vendor, quint16 product)
{
    QMutexLocker lock(&mutex_);
    engine_ = std::make_unique<sim::SimEngine>(std::move(model));
    calls_.clear();
    inQueue_.clear();
    outStream_.clear();
    clock_.start();
    vendor_ = vendor;
    product_ = product;
    present_ = true;
    claimResult_ = 0;
    writeFailure_ = 0;
    readFailure_ = 0;
}

sim::SimEngine& FakeUsbDevice::engine()
{
    QMutexLocker lock(&mutex_);
    return *engine_;
}

QList<UsbCall> FakeUsbDevice::calls() const
{
    QMutexLocker lock(&mutex_);
    return calls_;
}

QList<UsbCall> FakeUsbDevice::calls(UsbCall::Kind kind) const
{
    QList<UsbCall> matching;
    for (const UsbCall& call : calls()) {
        if (call.kind == kind)
            matching << call;
    }
    return matching;
}

void FakeUsbDevice::clearCalls()
{
    QMutexLocker lock(&mutex_);
    calls_.clear();
}

void FakeUsbDevice::queueIn(const QByteArray& bytes)
{
    QMutexLocker lock(&mutex_);
    inQueue_ << Pending{bytes, clock_.elapsed()};
}

void FakeUsbDevice::failClaim(int result, int error)
{
    QMutexLocker lock(&mutex_);
    claimResult_ = result;
    claimErrno_ = error;
}

void FakeUsbDevice::failNextWrite(int result, int error)
{
    QMutexLocker lock(&mutex_);
    writeFailure_ = result;
    writeErrno_ = error;
}

void FakeUsbDevice::failNextRead(int result, int error)
{
    QMutexLocker lock(&mutex_);
    readFailure_ = result;
    readErrno_ = error;
}

void FakeUsbDevice::unplug()
{
    QMutexLocker lock(&mutex_);
    present_ = false;
}

int FakeUsbDevice::openHandles() const
{
    QMutexLocker lock(&mutex_);
    return openHandles_;
}

void FakeUsbDevice::record(const UsbCall& call)
{
    QMutexLocker lock(&mutex_);
    calls_ << call;
}

int FakeUsbDevice::init()
{
    UsbCall call;
    call.kind = UsbCall::Init;
    record(call);
    return 0;
}

Handle* FakeUsbDevice::open(quint16 vendor, quint16 product)
{
    UsbCall call;
    call.kind = UsbCall::Open;
    call.vendor = vendor;
    call.product = product;
    QMutexLocker lock(&mutex_);
    const bool found = present_ && vendor == vendor_ && product == product_;
    call.result = found ? 0 : LIBUSB_ERROR_NOT_FOUND;
    calls_ << call;
    if (!found) {
        errno = ENOENT;
        return nullptr;
    }
    ++openHandles_;
    outStream_.clear();
    return new Handle;
}

int FakeUsbDevice::claim(Handle* handle, int interfaceNumber)
{
    UsbCall call;
    call.kind = UsbCall::Claim;
    call.endpoint = interfaceNumber;
    QMutexLocker lock(&mutex_);
    call.result = handle && interfaceNumber == 0 ? claimResult_ : LIBUSB_ERROR_NOT_FOUND;
    calls_ << call;
    if (call.result != 0)
        errno = claimErrno_;
    return call.result;
}

void FakeUsbDevice::close(Handle* handle)
{
    UsbCall call;
    call.kind = UsbCall::Close;
    record(call);
    QMutexLocker lock(&mutex_);
    --openHandles_;
    delete handle;
}

int FakeUsbDevice::transfer(Handle* handle, unsigned char endpoint, unsigned char* data, int length,
                            int* transferred, unsigned int timeout)
{
    UsbCall call;
    call.endpoint = endpoint;
    call.length = length;
    call.timeout = timeout;
    call.buffer = data;
    *transferred = 0;
    bool present = false;
    {
        QMutexLocker lock(&mutex_);
        present = present_ && handle;
    }
    if (!present) {
        call.kind = endpoint == 0x01 ? UsbCall::BulkOut : UsbCall::BulkIn;
        call.result = LIBUSB_ERROR_NO_DEVICE;
        errno = ENODEV;
    } else if (endpoint == 0x01) {
        call.kind = UsbCall::BulkOut;
        call.data = QByteArray(reinterpret_cast<const char*>(data), length);
        call.result = write(call.data);
        *transferred = call.result == 0 ? length : 0;
    } else if (endpoint == 0x82) {
        call.kind = UsbCall::BulkIn;
        call.result = read(data, length, transferred, timeout, call);
    } else {
        call.kind = UsbCall::BulkOut;
        call.result = LIBUSB_ERROR_INVALID_PARAM;
    }
    call.transferred = *transferred;
    const int savedErrno = errno;
    record(call);
    errno = savedErrno;
    return call.result;
}

int FakeUsbDevice::write(const QByteArray& bytes)
{
    QMutexLocker lock(&mutex_);
    if (writeFailure_ != 0 && !bytes.isEmpty()) {
        const int result = writeFailure_;
        writeFailure_ = 0;
        errno = writeErrno_;
        return result;
    }
    outStream_ += bytes;
    QByteArray command;
    while (bcp::takePacket(outStream_, command)) {
        sim::SimEngine* engine = engine_.get();
        lock.unlock();
        const sim::ReplyPlan plan = engine->handle(command);
        lock.relock();
        if (plan.drop)
            present_ = false;
        else if (!plan.silent)
            queuePlan(plan);
    }
    return 0;
}

void FakeUsbDevice::queuePlan(const sim::ReplyPlan& plan)
{
    qint64 readyAt = clock_.elapsed() + plan.delayMs;
    for (const QByteArray& segment : plan.segments) {
        inQueue_ << Pending{segment, readyAt};
        readyAt += plan.segmentPauseMs;
    }
}

int FakeUsbDevice::read(unsigned char* data, int length, int* transferred, unsigned int timeout, UsbCall& call)
{
    QMutexLocker lock(&mutex_);
    if (readFailure_ != 0) {
        const int result = readFailure_;
        readFailure_ = 0;
        errno = readErrno_;
        return result;
    }
    const qint64 now = clock_.elapsed();
    const qint64 deadline = now + (timeout == 0 ? kEndlessReadCapMs : qint64(timeout));
    if (inQueue_.isEmpty() || inQueue_.first().readyAtMs > deadline) {
        lock.unlock();
        QThread::msleep(ulong(deadline - now));
        return LIBUSB_ERROR_TIMEOUT;
    }
    const Pending next = inQueue_.takeFirst();
    lock.unlock();
    if (next.readyAtMs > now)
        QThread::msleep(ulong(next.readyAtMs - now));
    if (next.bytes.size() > length)
        return LIBUSB_ERROR_OVERFLOW;
    std::memcpy(data, next.bytes.constData(), size_t(next.bytes.size()));
    *transferred = next.bytes.size();
    call.data = next.bytes;
    return 0;
}

} // namespace vireo2::test

using vireo2::test::FakeUsbDevice;
using vireo2::test::Handle;

extern "C" {

int LIBUSB_CALL libusb_init(libusb_context** context)
{
    if (context)
        *context = nullptr;
    return FakeUsbDevice::instance().init();
}

libusb_device_handle* LIBUSB_CALL libusb_open_device_with_vid_pid(libusb_context*, uint16_t vendor_id,
                                                                  uint16_t product_id)
{
    return FakeUsbDevice::instance().open(vendor_id, product_id);
}

int LIBUSB_CALL libusb_claim_interface(libusb_device_handle* dev_handle, int interface_number)
{
    return FakeUsbDevice::instance().claim(static_cast<Handle*>(dev_handle), interface_number);
}

int LIBUSB_CALL libusb_bulk_transfer(libusb_device_handle* dev_handle, unsigned char endpoint, unsigned char* data,
                                     int length, int* actual_length, unsigned int timeout)
{
    return FakeUsbDevice::instance().transfer(static_cast<Handle*>(dev_handle), endpoint, data, length,
                                              actual_length, timeout);
}

void LIBUSB_CALL libusb_close(libusb_device_handle* dev_handle)
{
    FakeUsbDevice::instance().close(static_cast<Handle*>(dev_handle));
}

} // extern "C"
