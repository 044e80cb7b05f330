// The libusb functions the USB transport calls, backed by a simulated device.
// Linked into the USB tests in place of the real libusb.
#include "fake_libusb.h"

#include <QThread>
#include <cerrno>
#include <cstring>
#include <libusb.h>

#include "transport/packet_assembler.h"

struct libusb_device_handle {};

namespace vireo2::test {
namespace {

// A read without timeout that nothing will ever answer ends after this, so a
// test cannot hang; the call still records the 0 it was given.
constexpr unsigned int kEndlessReadCapMs = 5000;
constexpr unsigned char kEndpointOut = 0x01;
constexpr unsigned char kEndpointIn = 0x82;

} // namespace

FakeUsbDevice& FakeUsbDevice::instance()
{
    static FakeUsbDevice device;
    return device;
}

void FakeUsbDevice::reset(std::shared_ptr<sim::InstrumentModel> model, quint16 vendor, quint16 product)
{
    engine_ = std::make_unique<sim::SimEngine>(std::move(model));
    calls_.clear();
    inQueue_.clear();
    outStream_.clear();
    failures_.clear();
    vendor_ = vendor;
    product_ = product;
    present_ = true;
}

void FakeUsbDevice::failNext(UsbCall::Kind kind, int result, int error)
{
    failures_.insert(kind, {result, error});
}

bool FakeUsbDevice::takeFailure(UsbCall::Kind kind, int* result)
{
    if (!failures_.contains(kind))
        return false;
    const QPair<int, int> failure = failures_.take(kind);
    *result = failure.first;
    errno = failure.second;
    return true;
}

// Records the call, keeping errno as the call left it, and returns its result.
int FakeUsbDevice::record(const UsbCall& call)
{
    const int savedErrno = errno;
    calls_ << call;
    errno = savedErrno;
    return call.result;
}

libusb_device_handle* FakeUsbDevice::open(quint16 vendor, quint16 product)
{
    UsbCall call(UsbCall::Open);
    call.vendor = vendor;
    call.product = product;
    const bool found = present_ && vendor == vendor_ && product == product_;
    call.result = found ? 0 : LIBUSB_ERROR_NOT_FOUND;
    outStream_.clear();
    errno = found ? errno : ENOENT;
    record(call);
    return found ? new libusb_device_handle : nullptr;
}

int FakeUsbDevice::claim(libusb_device_handle* handle, int interfaceNumber)
{
    UsbCall call(UsbCall::Claim, interfaceNumber);
    if (!takeFailure(UsbCall::Claim, &call.result) && (!handle || interfaceNumber != 0))
        call.result = LIBUSB_ERROR_NOT_FOUND;
    return record(call);
}

void FakeUsbDevice::close(libusb_device_handle* handle)
{
    record(UsbCall(UsbCall::Close));
    delete handle;
}

int FakeUsbDevice::transfer(libusb_device_handle* handle, unsigned char endpoint, unsigned char* data, int length,
                            int* transferred, unsigned int timeout)
{
    const bool out = endpoint == kEndpointOut;
    UsbCall call(out ? UsbCall::BulkOut : UsbCall::BulkIn, endpoint, length, timeout);
    call.buffer = data;
    if (!out && endpoint != kEndpointIn) {
        call.result = LIBUSB_ERROR_INVALID_PARAM;
    } else if (!present_ || !handle) {
        call.result = LIBUSB_ERROR_NO_DEVICE;
        errno = ENODEV;
    } else if (out) {
        call.data = QByteArray(reinterpret_cast<const char*>(data), length);
        call.result = write(call.data);
    } else {
        call.result = read(data, length, timeout, &call.data);
    }
    *transferred = call.result == 0 ? call.data.size() : 0;
    return record(call);
}

int FakeUsbDevice::write(const QByteArray& bytes)
{
    int result = 0;
    if (!bytes.isEmpty() && takeFailure(UsbCall::BulkOut, &result))
        return result;
    outStream_ += bytes;
    QByteArray command;
    while (bcp::takePacket(outStream_, command)) {
        const sim::ReplyPlan plan = engine_->handle(command);
        present_ = present_ && !plan.drop;
        inQueue_ << plan.segments;
    }
    return 0;
}

int FakeUsbDevice::read(unsigned char* data, int length, unsigned int timeout, QByteArray* received)
{
    int result = 0;
    if (takeFailure(UsbCall::BulkIn, &result))
        return result;
    if (inQueue_.isEmpty()) {
        QThread::msleep(timeout == 0 ? kEndlessReadCapMs : timeout);
        return LIBUSB_ERROR_TIMEOUT;
    }
    if (inQueue_.first().size() > length)
        return LIBUSB_ERROR_OVERFLOW;
    *received = inQueue_.takeFirst();
    std::memcpy(data, received->constData(), size_t(received->size()));
    return 0;
}

} // namespace vireo2::test

using vireo2::test::FakeUsbDevice;

extern "C" {

int LIBUSB_CALL libusb_init(libusb_context**) { return 0; }

libusb_device_handle* LIBUSB_CALL libusb_open_device_with_vid_pid(libusb_context*, uint16_t vendor, uint16_t product)
{
    return FakeUsbDevice::instance().open(vendor, product);
}

int LIBUSB_CALL libusb_claim_interface(libusb_device_handle* handle, int interfaceNumber)
{
    return FakeUsbDevice::instance().claim(handle, interfaceNumber);
}

int LIBUSB_CALL libusb_bulk_transfer(libusb_device_handle* handle, unsigned char endpoint, unsigned char* data,
                                     int length, int* transferred, unsigned int timeout)
{
    return FakeUsbDevice::instance().transfer(handle, endpoint, data, length, transferred, timeout);
}

void LIBUSB_CALL libusb_close(libusb_device_handle* handle) { FakeUsbDevice::instance().close(handle); }

} // extern "C"
