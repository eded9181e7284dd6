// The one whole-transfer loop behind every full-length, vectored and timed
// transfer. Three things vary and are passed in:
//  - a policy: the system call, what a result of 0 means, whether ENOSPC ends
//    the transfer;
//  - a cursor: where the transfer stands, in a flat buffer or an I/O vector;
//  - a wait: nothing, or a wait for writability under a time budget.
#pragma once

#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstring>
#include <sys/socket.h>
#include <sys/types.h>
#include <sys/uio.h>
#include <unistd.h>

#include "anvil/iov.h"

namespace anvil {

// What a call that moved 0 bytes means to a transfer.
enum class OnZero {
    Retry,       // not an end condition: writes never report 0 for n > 0
    EndOfData,   // end of file: return what was moved so far
    PeerClosed,  // the peer closed before n bytes: ECONNRESET
};

// Each policy takes a flat buffer or, where the platform has the vectored
// twin, an I/O vector; the cursor picks the overload.
struct ReadPolicy {
    using Byte = std::uint8_t;
    static constexpr OnZero on_zero = OnZero::EndOfData;
    static constexpr bool stop_when_full = false;
    static ssize_t call(int fd, Byte *p, size_t n) { return ::read(fd, p, n); }
    static ssize_t call(int fd, const iovec *v, int n) { return ::readv(fd, v, n); }
};

struct WritePolicy {
    using Byte = const std::uint8_t;
    static constexpr OnZero on_zero = OnZero::Retry;
    static constexpr bool stop_when_full = true;
    static ssize_t call(int fd, Byte *p, size_t n) { return ::write(fd, p, n); }
    static ssize_t call(int fd, const iovec *v, int n) { return ::writev(fd, v, n); }
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

// The rest of a flat buffer. Nothing to move means no system call.
template <class Byte>
class FlatCursor {
public:
    FlatCursor(Byte *p, size_t n) : p_(p), n_(n), left_(n) {}
    bool done() const { return left_ == 0; }
    Byte *data() const { return p_; }
    size_t size() const { return left_; }
    void advance(size_t r)
    {
        p_ += r;
        left_ -= r;
    }
    ssize_t moved() const { return static_cast<ssize_t>(n_ - left_); }

private:
    Byte *p_;
    size_t n_;
    size_t left_;
};

// The sum of the entries' lengths.
inline size_t iov_total_length(const iovec *v, unsigned entries)
{
    size_t total = 0;
    for (unsigned i = 0; i < entries; ++i)
        total += v[i].iov_len;
    return total;
}

// The rest of an I/O vector, kept in a working copy that the caller provides
// (entries > 0, at most IOV_MAX), so that the caller's array is never changed.
// The first call is always made, even when the entries hold 0 bytes in all.
class VectorCursor {
public:
    VectorCursor(iovec *work, const iovec *v, int entries)
        : work_(work), total_(iov_total_length(v, static_cast<unsigned>(entries)))
    {
        std::memcpy(work, v, sizeof *v * static_cast<unsigned>(entries));
        it_ = {work, static_cast<unsigned>(entries), 0, total_};
    }
    bool done() const { return started_ && it_.count == 0; }
    const iovec *data() const { return it_.seg; }
    int size() const { return static_cast<int>(it_.nr_segs); }
    void advance(size_t r)
    {
        started_ = true;
        // A call that moved everything ends the transfer: only count is read
        // afterwards, so the walk over every segment is skipped.
        if (r == it_.count) {
            it_.count = 0;
            return;
        }
        iov_iter_advance(&it_, r);
        // Trim what was moved off the current entry, so the next call starts
        // at its first byte not yet moved.
        iovec &cur = work_[it_.seg - work_];
        cur.iov_base = static_cast<std::uint8_t *>(cur.iov_base) + it_.seg_offset;
        cur.iov_len -= it_.seg_offset;
        it_.seg_offset = 0;
    }
    ssize_t moved() const { return static_cast<ssize_t>(total_ - it_.count); }

private:
    iovec *work_;
    iov_iter it_;
    size_t total_;
    bool started_ = false;
};

// Untimed transfers never wait.
struct NoWait {
    bool operator()(int) { return true; }
};

template <class Policy, class Cursor, class Wait = NoWait>
ssize_t transfer(int fd, Cursor c, Wait wait = Wait())
{
    while (!c.done()) {
        if (!wait(fd))
            return -1;
        ssize_t r = Policy::call(fd, c.data(), c.size());
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
        c.advance(static_cast<size_t>(r));
    }
    return c.moved();
}

// A vectored transfer: a negative count or one above what the platform takes
// in one call (IOV_MAX) is refused before anything is copied; no entries
// means nothing to do.
template <class Policy, class Wait = NoWait>
ssize_t transfer_vector(int fd, const iovec *v, int entries, Wait wait = Wait())
{
    if (entries < 0 || entries > IOV_MAX) {
        errno = EINVAL;
        return -1;
    }
    if (entries == 0)
        return 0;
    iovec work[IOV_MAX];
    return transfer<Policy>(fd, VectorCursor(work, v, entries), wait);
}

}  // namespace anvil
