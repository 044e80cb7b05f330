#include "transport/idle_wake.h"

#include <QtGlobal>

#ifdef Q_OS_LINUX
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>
#endif

namespace vireo2 {

IdleWake::IdleWake()
{
#ifdef Q_OS_LINUX
    wakeFd_ = ::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
#endif
}

IdleWake::~IdleWake()
{
#ifdef Q_OS_LINUX
    if (wakeFd_ >= 0)
        ::close(wakeFd_);
#endif
}

void IdleWake::signal()
{
#ifdef Q_OS_LINUX
    if (wakeFd_ >= 0) {
        const quint64 one = 1;
        [[maybe_unused]] const ssize_t written = ::write(wakeFd_, &one, sizeof one);
    }
#endif
}

bool IdleWake::sleep([[maybe_unused]] int socketFd)
{
#ifdef Q_OS_LINUX
    if (wakeFd_ < 0)
        return false;
    // Only the end of the connection matters to an idle worker: bytes that
    // arrive unasked wait in the kernel for the next read, without waking it.
    pollfd fds[2] = {{socketFd, POLLRDHUP, 0}, {wakeFd_, POLLIN, 0}};
    ::poll(fds, 2, -1);
    quint64 count = 0;
    [[maybe_unused]] const ssize_t drained = ::read(wakeFd_, &count, sizeof count);
    return fds[0].revents != 0;
#else
    return false;
#endif
}

} // namespace vireo2
