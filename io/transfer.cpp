// The four whole-buffer transfers: one loop, four policies.
#include "anvil/io.h"

#include <cerrno>
#include <cstdint>
#include <sys/socket.h>
#include <unistd.h>

namespace {

// What a call that moved 0 bytes means to a transfer.
enum class OnZero {
    Retry,       // not an end condition: writes never report 0 for n > 0
    EndOfData,   // end of file: return what was moved so far
    PeerClosed,  // the peer closed before n bytes: ECONNRESET
};

struct ReadPolicy {
    using Byte = std::uint8_t;
    static constexpr OnZero on_zero = OnZero::EndOfData;
    static constexpr bool stop_when_full = false;
    static ssize_t call(int fd, Byte *p, size_t n) { return ::read(fd, p, n); }
};

struct WritePolicy {
    using Byte = const std::uint8_t;
    static constexpr OnZero on_zero = OnZero::Retry;
    static constexpr bool stop_when_full = true;
    static ssize_t call(int fd, Byte *p, size_t n) { return ::write(fd, p, n); }
};

struct RecvPolicy {
    using Byte = std::uint8_t;
    static constexpr OnZero on_zero = OnZero::PeerClosed;
    static constexpr bool stop_when_full = false;
    static ssize_t call(int fd, Byte *p, size_t n) { return ::recv(fd, p, n, MSG_WAITALL); }
};

struct SendPolicy {
    using Byte = const std::uint8_t;
    static constexpr OnZero on_zero = OnZero::Retry;
    static constexpr bool stop_when_full = false;
    static ssize_t call(int fd, Byte *p, size_t n) { return ::send(fd, p, n, MSG_NOSIGNAL); }
};

template <class Policy>
ssize_t transfer(int fd, typename Policy::Byte *p, size_t n)
{
    size_t left = n;
    while (left != 0) {
        ssize_t r = Policy::call(fd, p, left);
        if (r < 0) {
            if (errno == EINTR)
                continue;
            // A full device ends a write with a short count; errno stays ENOSPC.
            if (Policy::stop_when_full && errno == ENOSPC)
                break;
            return -1;
        }
        if (r == 0) {
            if constexpr (Policy::on_zero == OnZero::EndOfData)
                break;
            if constexpr (Policy::on_zero == OnZero::PeerClosed) {
                errno = ECONNRESET;
                return -1;
            }
        }
        p += r;
        left -= static_cast<size_t>(r);
    }
    return static_cast<ssize_t>(n - left);
}

}  // namespace

ssize_t readn(int fd, void *buf, size_t n)
{
    return transfer<ReadPolicy>(fd, static_cast<std::uint8_t *>(buf), n);
}

ssize_t writen(int fd, const void *buf, size_t n)
{
    return transfer<WritePolicy>(fd, static_cast<const std::uint8_t *>(buf), n);
}

ssize_t sockreadn(int fd, void *buf, size_t n)
{
    return transfer<RecvPolicy>(fd, static_cast<std::uint8_t *>(buf), n);
}

ssize_t sockwriten(int fd, const void *buf, size_t n)
{
    return transfer<SendPolicy>(fd, static_cast<const std::uint8_t *>(buf), n);
}
