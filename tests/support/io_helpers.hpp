// Helpers shared by the descriptor I/O tests.
#pragma once
#include <gtest/gtest.h>
#include <cerrno>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include "support/test_support.hpp"

namespace anvil_test {

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

// Whether two descriptors are open on the same file.
inline bool same_file(int a, int b)
{
    struct stat x, y;
    return fstat(a, &x) == 0 && fstat(b, &y) == 0 && x.st_dev == y.st_dev && x.st_ino == y.st_ino;
}

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
