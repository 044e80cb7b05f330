#pragma once

namespace vireo2 {

// The sleep of an idle, connected worker: poll() for the end of the
// connection on its socket and on an eventfd that a request makes readable,
// so the worker wakes when asked or when the peer closes, never on a timer
// (nor when a late reply arrives). Where there is no eventfd
// (available() is false) the worker falls back to a timed look instead.
class IdleWake {
public:
    IdleWake();
    ~IdleWake();
    IdleWake(const IdleWake&) = delete;
    IdleWake& operator=(const IdleWake&) = delete;

    bool available() const { return wakeFd_ >= 0; }
    // Ends the current sleep, or the next one at once.
    void signal();
    // Sleeps until `socketFd` reports a hang-up or an error, or signal() is
    // called; true when the socket spoke.
    bool sleep(int socketFd);

private:
    int wakeFd_ = -1;
};

} // namespace vireo2
