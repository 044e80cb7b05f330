#include "transport/ethernet_thread.h"

#include <QDebug>
#include <QElapsedTimer>

#include "settings/log_category.h"
#include "transport/ethernet_transport.h"
#include "transport/hand_over_spin.h"
#include "transport/idle_event_dispatcher.h"
#include "transport/read_ahead.h"

namespace vireo2 {

EthernetThread::EthernetThread(CEthernet* owner) : owner_(owner), socket_(owner)
{
    // No event loop ever runs on the worker; see IdleEventDispatcher.
    setEventDispatcher(new IdleEventDispatcher);
    // Also the name the system shows for the thread.
    setObjectName(QStringLiteral("EthernetThread"));
}

EthernetThread::~EthernetThread()
{
    quitAndWait();
}

void EthernetThread::startAndWait()
{
    MutexLocker lock(&mutex_);
    start();
    while (!running_)
        requestDone_.wait(&mutex_);
}

bool EthernetThread::connectTo(const QString& address)
{
    MutexLocker requester(&submitMutex_);
    {
        MutexLocker lock(&mutex_);
        address_ = address;
    }
    submit(Request::Connect);
    return result();
}

bool EthernetThread::write(const char* bytes, int length)
{
    MutexLocker requester(&submitMutex_);
    {
        MutexLocker lock(&mutex_);
        writeData_ = bytes;
        writeLength_ = length;
    }
    submit(Request::Write);
    return result();
}

int EthernetThread::read(QByteArray& output, int timeoutMs, bool packetMode)
{
    MutexLocker requester(&submitMutex_);
    {
        MutexLocker lock(&mutex_);
        readTimeoutMs_ = timeoutMs;
        readPacketMode_ = packetMode;
    }
    submit(Request::Read);
    MutexLocker lock(&mutex_);
    output = socket_.reply().packet();
    return readCount_;
}

EthernetThread::Transfer EthernetThread::writeThenRead(const char* bytes, int length, QByteArray& header,
                                                        QByteArray& body, int timeoutMs, bool packetMode,
                                                        ReplyDestination* destination, ReadAhead* ahead)
{
    MutexLocker requester(&submitMutex_);
    {
        MutexLocker lock(&mutex_);
        writeData_ = bytes;
        writeLength_ = length;
        readTimeoutMs_ = timeoutMs;
        readPacketMode_ = packetMode;
        readDestination_ = destination;
        readAhead_ = ahead;
    }
    submit(Request::WriteThenRead);
    MutexLocker lock(&mutex_);
    if (!result_)
        return Transfer::WriteFailed;
    if (!readRan_)
        return Transfer::NotConnectedToRead;
    if (ahead && ahead->takeLead(header, body))
        return Transfer::Read;
    // Hand the body over without copying; the worker keeps the caller's old
    // array as its next buffer.
    header = socket_.reply().header();
    return socket_.reply().handBodyTo(body) ? Transfer::ReadIntoDestination : Transfer::Read;
}

void EthernetThread::disconnectAndClose()
{
    MutexLocker requester(&submitMutex_);
    submit(Request::Disconnect);
}

void EthernetThread::quitAndWait()
{
    {
        MutexLocker requester(&submitMutex_);
        submit(Request::Quit);
    }
    wait();
    exitFence_.joined();
}

bool EthernetThread::result() const
{
    MutexLocker lock(&mutex_);
    return result_;
}

void EthernetThread::submit(Request request)
{
    const bool spins = handover::threadSpins();
    Sleep sleep = Sleep::Awake;
    {
        MutexLocker lock(&mutex_);
        if (!running_) {
            refuse(request, lock);
            return;
        }
        served_.clear();
        request_ = request;
        requestedAt_ = handover::steadyNanos();
        requestSpins_ = spins;
        sleep = sleep_;
    }
    // Woken after unlocking, so the worker does not block on our mutex.
    wakeWorker(sleep);
    if (spins && handover::briefly([this] { return served_.isSet(); }))
        return;
    served_.wait();
}

void EthernetThread::wakeWorker(Sleep sleep)
{
    if (sleep == Sleep::OnCondition)
        requestReady_.wakeOne();
    else if (sleep == Sleep::OnSocket)
        idleWake_.signal();
}

// A worker that has stopped serves nothing: the request fails rather than
// reporting an earlier request's outcome.
void EthernetThread::refuse(Request request, MutexLocker<Mutex>& lock)
{
    result_ = false;
    readRan_ = false;
    readCount_ = 0;
    socket_.reply().clear();
    lock.unlock();
    if (request == Request::Read)
        owner_->SetError(errors::kReceiveNotConnected);
    else if (request != Request::Disconnect && request != Request::Quit)
        owner_->SetError(errors::kSendNotConnected);
}

// The loop then clears the owner's connected flag.
void EthernetThread::peerClosed()
{
    qCDebug(libraryLog) << "Device Disconnected - PORT DISCONNECT!!.";
    MutexLocker lock(&mutex_);
    peerClosed_ = true;
}

void EthernetThread::run()
{
    socket_.create([this] { peerClosed(); });

    MutexLocker lock(&mutex_);
    running_ = true;
    requestDone_.wakeAll();
    bool justServed = false;
    for (;;) {
        const Request request = nextRequest(lock, justServed);
        // Requests that come far apart (the status poll's, every 200 ms) are
        // not waited for by spinning, which would only burn the core: the
        // spin after serving stops when it found nothing and resumes once a
        // request follows the one before within the spin time again.
        if (request != Request::None && !spinAfterServing_ &&
            requestedAt_ - servedAt_ < qint64(handover::kSpinMicros) * 1000)
            spinAfterServing_ = true;
        if (request != Request::None) {
            lock.unlock();
            serve(request);
            lock.relock();
        }
        // A disconnection noticed while serving is settled before the
        // requester learns the outcome, so IsConnected() is already false.
        if (peerClosed_) {
            lock.unlock();
            settlePeerClosed();
            lock.relock();
        }
        justServed = request != Request::None;
        if (justServed) {
            request_ = Request::None;
            servedAt_ = handover::steadyNanos();
            // Set once mutex_ is free, so the woken requester does not block
            // on it at once.
            lock.unlock();
            served_.set();
            lock.relock();
        }
        if (request == Request::Quit)
            break;
    }
    running_ = false;
    lock.unlock();
    socket_.destroy();
    exitFence_.threadDone();
}

// Waits (mutex_ held) until a request or a disconnection needs attention.
EthernetThread::Request EthernetThread::nextRequest(MutexLocker<Mutex>& lock, bool justServed)
{
    if (justServed && request_ == Request::None && spinAfterServing_ && requestSpins_) {
        // The next request of an exchange usually follows at once.
        lock.unlock();
        spinAfterServing_ = handover::briefly([this] { return request_.load() != Request::None; });
        lock.relock();
    }
    while (request_ == Request::None && !peerClosed_) {
        // Only a connected socket needs watching; otherwise sleep until asked.
        if (socket_.connected()) {
            sleepOnIdleSocket(lock);
        } else {
            sleep_ = Sleep::OnCondition;
            requestReady_.wait(&mutex_);
            sleep_ = Sleep::Awake;
        }
    }
    return request_;
}

void EthernetThread::sleepOnIdleSocket(MutexLocker<Mutex>& lock)
{
    if (idleWake_.available()) {
        // The worker sleeps without the mutex, so a requester is never kept
        // waiting for it; one that sees sleep_ set signals the eventfd,
        // which stays readable if the signal comes before the poll.
        const int socketFd = socket_.idleDescriptor();
        if (socketFd >= 0) {
            sleep_ = Sleep::OnSocket;
            lock.unlock();
            if (idleWake_.sleep(socketFd))
                socket_.checkIdle();
            lock.relock();
            sleep_ = Sleep::Awake;
            return;
        }
    }
    // No eventfd: look every kIdleCheckMs instead.
    sleep_ = Sleep::OnCondition;
    const bool woken = requestReady_.wait(&mutex_, kIdleCheckMs);
    sleep_ = Sleep::Awake;
    if (!woken && request_ == Request::None) {
        lock.unlock();
        socket_.checkIdle();
        lock.relock();
    }
}

void EthernetThread::serve(Request request)
{
    switch (request) {
    case Request::Connect: {
        const bool ok = socket_.connectTo(address_);
        MutexLocker lock(&mutex_);
        result_ = ok;
        break;
    }
    case Request::Write: {
        const bool ok = socket_.write(writeData_, writeLength_);
        MutexLocker lock(&mutex_);
        result_ = ok;
        break;
    }
    case Request::Read: {
        const int count = socket_.read(readTimeoutMs_, readPacketMode_);
        MutexLocker lock(&mutex_);
        readCount_ = count;
        break;
    }
    case Request::WriteThenRead:
        serveWriteThenRead();
        break;
    case Request::Disconnect:
        socket_.drop(true);
        break;
    case Request::Quit:
    case Request::None:
        break;
    }
}

void EthernetThread::serveWriteThenRead()
{
    const bool written = socket_.write(writeData_, writeLength_);
    // As between a write request and a read request: a closed connection
    // seen during the write is settled first, and then there is no read.
    settlePeerClosed();
    const bool readable = written && owner_->IsConnected();
    const int count = readable ? socket_.read(readTimeoutMs_, readPacketMode_, readDestination_) : 0;
    if (readAhead_ && count > 0)
        serveReadAhead(*readAhead_);
    MutexLocker lock(&mutex_);
    readDestination_ = nullptr;
    readAhead_ = nullptr;
    result_ = written;
    readRan_ = readable;
    readCount_ = count;
}

// The planned commands after the one just answered, each as a write and a
// read of its own with the same checks; the first reply that does not allow
// the next command, or a failure, ends the run.
void EthernetThread::serveReadAhead(ReadAhead& ahead)
{
    ahead.keepLead(socket_.reply());
    while (const ReadAhead::Step* step = ahead.nextStep()) {
        settlePeerClosed();
        if (!owner_->IsConnected())
            return;
        QElapsedTimer timer;
        timer.start();
        owner_->owedReplies().sent(step->command.constData(), step->command.size());
        const QByteArray packet = bcp::frame(step->command.constData(), step->command.size());
        const bool written = socket_.write(packet.constData(), packet.size());
        settlePeerClosed();
        const bool readable = written && owner_->IsConnected();
        const int count = readable ? socket_.read(CTransport::boundedReplyTimeout(step->timeoutMs), readPacketMode_) : 0;
        using Outcome = ReadAhead::Outcome;
        ahead.keepStep(!written ? Outcome::WriteFailed : readable ? Outcome::Read : Outcome::NotConnectedToRead,
                       readable ? &socket_.reply() : nullptr, quint32(timer.elapsed()));
        if (count == 0)
            return;
    }
}

void EthernetThread::settlePeerClosed()
{
    {
        MutexLocker lock(&mutex_);
        if (!peerClosed_)
            return;
        peerClosed_ = false;
    }
    socket_.drop();
}

} // namespace vireo2
