// Timed writes: the transfer loop with a wait for writability before every
// write, all waits of one call sharing one time budget.
#include "anvil/timed_io.h"

#include <cstdint>
#include <cstdio>
#include <ctime>
#include <poll.h>
#include <sys/select.h>

#include "base/errno_guard.hpp"
#include "io/transfer.hpp"

namespace {

class TimedWait {
public:
    // name tags the message printed on a failed wait; null prints nothing.
    TimedWait(int limit_ms, const char *name) : name_(name), bounded_(limit_ms > 0)
    {
        if (bounded_) {
            budget_.tv_sec = limit_ms / 1000;
            budget_.tv_usec = static_cast<decltype(budget_.tv_usec)>(limit_ms % 1000) * 1000;
        }
    }

    // True once fd is writable; false on time-out (errno untouched) or on a
    // failed wait (errno from select or poll, EINTR included: not retried).
    bool operator()(int fd)
    {
        int r;
        if (fd < 0) {
            errno = EBADF;  // what select says of a descriptor that is not open
            r = -1;
        } else {
            r = fd < FD_SETSIZE ? wait_select(fd) : wait_poll(fd);
        }
        if (r >= 1)
            return true;
        if (name_) {
            anvil::ErrnoGuard keep;
            std::printf("[%s] select time out! ret=%d.\n", name_, r);
            // Flushed at once so that, on a pipe, it is neither lost nor
            // reordered with the caller's later writes to the descriptor.
            (void)std::fflush(stdout);
        }
        return false;
    }

private:
    // Linux writes the time not slept back into budget_, so the next wait
    // gets only what is left.
    int wait_select(int fd)
    {
        fd_set writable;
        FD_ZERO(&writable);
        FD_SET(fd, &writable);
        return ::select(fd + 1, nullptr, &writable, nullptr, bounded_ ? &budget_ : nullptr);
    }

    // An fd_set cannot hold fd: poll for it, charging the time slept to the
    // same budget as select would.
    int wait_poll(int fd)
    {
        pollfd p = {fd, POLLOUT, 0};
        int r;
        if (!bounded_) {
            r = ::poll(&p, 1, -1);
        } else {
            std::int64_t left = std::int64_t(budget_.tv_sec) * 1000000 + budget_.tv_usec;
            timespec limit = {time_t(left / 1000000), long(left % 1000000) * 1000};
            timespec start, end;
            ::clock_gettime(CLOCK_MONOTONIC, &start);
            r = ::ppoll(&p, 1, &limit, nullptr);
            ::clock_gettime(CLOCK_MONOTONIC, &end);
            std::int64_t slept = (std::int64_t(end.tv_sec) - start.tv_sec) * 1000000 +
                                 (end.tv_nsec - start.tv_nsec) / 1000;
            left = r == 0 || slept >= left ? 0 : left - slept;
            budget_.tv_sec = time_t(left / 1000000);
            budget_.tv_usec = suseconds_t(left % 1000000);
        }
        if (r == 1 && (p.revents & POLLNVAL)) {
            errno = EBADF;
            r = -1;
        }
        return r;
    }

    const char *name_;
    bool bounded_;
    timeval budget_ = {};
};

}  // namespace

ssize_t writens(int fd, int limit_ms, const void *buf, size_t n)
{
    auto *p = static_cast<const std::uint8_t *>(buf);
    return anvil::transfer<anvil::WritePolicy>(fd, anvil::FlatCursor(p, n),
                                               TimedWait(limit_ms, "writens"));
}

ssize_t writevns(int fd, int limit_ms, const struct iovec *iov, int entries)
{
    return anvil::transfer_vector<anvil::WritePolicy>(fd, iov, entries,
                                                      TimedWait(limit_ms, "writevns"));
}

ssize_t sockwritens(int fd, int limit_ms, const void *buf, size_t n)
{
    auto *p = static_cast<const std::uint8_t *>(buf);
    return anvil::transfer<anvil::SendPolicy>(fd, anvil::FlatCursor(p, n),
                                              TimedWait(limit_ms, nullptr));
}
