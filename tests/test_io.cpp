#include <anvil/io.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <utility>

#include "support/io_helpers.hpp"

using anvil_test::Channel;

// Moving data under signals, short transfers, a closed peer and a full disk
// is in test_stress.cpp; these are the remaining ends of a transfer.
TEST(Transfer, EndConditions)
{
    Channel closed, empty(false);
    closed.close_end(1);
    ASSERT_EQ(fcntl_setfl(empty.fd[0], O_NONBLOCK), 0);
    char b[4];
    auto result = [](ssize_t r) { return std::make_pair(r, r < 0 ? errno : 0); };
    const struct { const char *what; std::pair<ssize_t, int> got, want; } cases[] = {
        // Any call on fd -1 would fail with EBADF.
        {"readn, n = 0", result(readn(-1, b, 0)), {0, 0}},
        {"writen, n = 0", result(writen(-1, b, 0)), {0, 0}},
        {"sockreadn, n = 0", result(sockreadn(-1, b, 0)), {0, 0}},
        {"sockwriten, n = 0", result(sockwriten(-1, b, 0)), {0, 0}},
        // SIGPIPE keeps its default action here: raising it would end the program.
        {"sockwriten to a closed peer", result(sockwriten(closed.fd[0], "x", 1)), {-1, EPIPE}},
        {"readn, nothing to read without blocking", result(readn(empty.fd[0], b, 4)), {-1, EAGAIN}},
        {"writen on the read end", result(writen(empty.fd[0], "x", 1)), {-1, EBADF}},
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
