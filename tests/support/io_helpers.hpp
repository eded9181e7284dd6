// Helpers shared by the descriptor I/O tests.
#pragma once
#include <gtest/gtest.h>
#include <cerrno>
#include <sys/socket.h>
#include <unistd.h>

namespace anvil_test {

// The errno of a call that returned -1 (or NULL), or 0 when it did not fail.
template <class T> int fails(T result) { return result == -1 ? errno : 0; }
template <class T> int fails(T *result) { return result ? 0 : errno; }

// A descriptor closed at the end of its scope, unless it is negative.
struct Fd {
    int fd;
    ~Fd()
    {
        if (fd >= 0)
            close(fd);
    }
    operator int() const { return fd; }
};

// Two connected descriptors, [0] reads and [1] writes: a stream socket pair
// or a pipe. Either end may be closed early with close_end().
struct Channel {
    int fd[2] = {-1, -1};
    explicit Channel(bool socket = true)
    {
        EXPECT_EQ(socket ? socketpair(AF_UNIX, SOCK_STREAM, 0, fd) : pipe(fd), 0);
    }
    ~Channel() { close_end(0), close_end(1); }
    void close_end(int i)
    {
        if (fd[i] >= 0)
            close(fd[i]);
        fd[i] = -1;
    }
};

}  // namespace anvil_test
