#include <anvil/io.h>
#include <anvil/timed_io.h>
#include <anvil/vectored_io.h>
#include <gtest/gtest.h>

#include <climits>
#include <fcntl.h>
#include <utility>
#include <vector>

#include "support/io_helpers.hpp"

using anvil_test::Channel;

// Moving data under signals, short transfers, a closed peer and a full disk
// is in test_stress.cpp; these are the remaining ends of a transfer.
TEST(Transfer, EndConditions)
{
    Channel closed, empty(false), p(false);
    closed.close_end(1);
    ASSERT_EQ(fcntl_setfl(empty.fd[0], O_NONBLOCK), 0);
    char b[4];
    std::vector<iovec> many(2000, iovec{b, 1}), none(3, iovec{b, 0});
    auto result = [](ssize_t r) { return std::make_pair(r, r < 0 ? errno : 0); };
    // Listed in the order they run: what is written is read back.
    const struct { const char *what; std::pair<ssize_t, int> got, want; } cases[] = {
        // Any call on fd -1 would fail with EBADF.
        {"readn, n = 0", result(readn(-1, b, 0)), {0, 0}},
        {"writen, n = 0", result(writen(-1, b, 0)), {0, 0}},
        {"sockreadn, n = 0", result(sockreadn(-1, b, 0)), {0, 0}},
        {"sockwriten, n = 0", result(sockwriten(-1, b, 0)), {0, 0}},
        {"writens, n = 0", result(writens(-1, 100, b, 0)), {0, 0}},
        {"readvn, no entries", result(readvn(-1, many.data(), 0)), {0, 0}},
        {"writevn, no entries", result(writevn(-1, many.data(), 0)), {0, 0}},
        {"writevns, no entries", result(writevns(-1, 100, nullptr, 0)), {0, 0}},
        {"readvn, empty entries", result(readvn(p.fd[0], none.data(), 3)), {0, 0}},
        {"writevn, empty entries", result(writevn(p.fd[1], none.data(), 3)), {0, 0}},
        // Entries out of range fail before any call; IOV_MAX is the most allowed.
        {"readvn, -1 entries", result(readvn(p.fd[0], many.data(), -1)), {-1, EINVAL}},
        {"writevn, -1 entries", result(writevn(p.fd[1], many.data(), -1)), {-1, EINVAL}},
        {"writevns, -1 entries", result(writevns(p.fd[1], 100, nullptr, -1)), {-1, EINVAL}},
        {"readvn, 2000 entries", result(readvn(p.fd[0], many.data(), 2000)), {-1, EINVAL}},
        {"writevn, 2000 entries", result(writevn(p.fd[1], many.data(), 2000)), {-1, EINVAL}},
        {"writevn, IOV_MAX entries", result(writevn(p.fd[1], many.data(), IOV_MAX)), {IOV_MAX, 0}},
        {"readvn, IOV_MAX entries", result(readvn(p.fd[0], many.data(), IOV_MAX)), {IOV_MAX, 0}},
        // SIGPIPE keeps its default action here: raising it would end the program.
        {"sockwriten to a closed peer", result(sockwriten(closed.fd[0], "x", 1)), {-1, EPIPE}},
        {"sockwritens to a closed peer", result(sockwritens(closed.fd[0], 100, "x", 1)), {-1, EPIPE}},
        {"readn, nothing to read without blocking", result(readn(empty.fd[0], b, 4)), {-1, EAGAIN}},
    };
    for (const auto &c : cases)
        EXPECT_EQ(c.got, c.want) << c.what;
}

TEST(Fcntl, AddsFlagsAndNeverClears)
{
    int fd = open("/dev/null", O_WRONLY | O_APPEND);
    ASSERT_GE(fd, 0);
    EXPECT_EQ(fcntl_setfl(fd, O_NONBLOCK), 0);
    EXPECT_EQ(fcntl_setfl(fd, 0), 0);
    EXPECT_EQ(fcntl(fd, F_GETFL) & (O_APPEND | O_NONBLOCK), O_APPEND | O_NONBLOCK);
    EXPECT_EQ(fcntl_setfd(fd, FD_CLOEXEC), 0);
    EXPECT_EQ(fcntl(fd, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
    close(fd);
    EXPECT_EQ(anvil_test::fails(fcntl_setfd(fd, FD_CLOEXEC)), EBADF);
    EXPECT_EQ(anvil_test::fails(fcntl_setfl(fd, O_NONBLOCK)), EBADF);
}
