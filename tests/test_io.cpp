#include <anvil/io.h>
#include <gtest/gtest.h>

#include <atomic>
#include <fcntl.h>
#include <pthread.h>
#include <thread>
#include <vector>

#include "support/io_helpers.hpp"

using anvil_test::Channel;
using anvil_test::fails;

namespace {

std::vector<unsigned char> pattern(size_t n)
{
    std::vector<unsigned char> v(n);
    for (size_t i = 0; i < n; ++i)
        v[i] = static_cast<unsigned char>(i * 7 + i / 251);
    return v;
}

// Signals the calling thread every 2 ms through a handler installed without
// SA_RESTART, so that whatever it blocks in sees EINTR or a short transfer.
// The handler stays installed: several interrupters may overlap.
class Interrupter {
public:
    Interrupter()
    {
        struct sigaction sa {};
        sa.sa_handler = [](int) {};
        sigaction(SIGUSR1, &sa, nullptr);
        thread_ = std::thread([this, target = pthread_self()] {
            for (; !stop_; usleep(2000))
                pthread_kill(target, SIGUSR1);
        });
    }
    ~Interrupter() { stop_ = true, thread_.join(); }

private:
    std::atomic<bool> stop_{false};
    std::thread thread_;
};

}  // namespace

TEST(Transfer, ZeroLengthMakesNoSystemCall)
{
    char b = 0;
    errno = 0;
    EXPECT_EQ(readn(-1, &b, 0), 0);
    EXPECT_EQ(writen(-1, &b, 0), 0);
    EXPECT_EQ(sockreadn(-1, &b, 0), 0);
    EXPECT_EQ(sockwriten(-1, &b, 0), 0);
    EXPECT_EQ(errno, 0);  // any call on fd -1 would have left EBADF
}

TEST(Transfer, ReadsGatherOneBytePiecesUntilEndOfFile)
{
    Channel p(false);
    auto data = pattern(64);
    std::thread writer([&] {
        for (unsigned char c : data) {
            ASSERT_EQ(write(p.fd[1], &c, 1), 1);
            usleep(200);
        }
        write(p.fd[1], "tail", 4);
        p.close_end(1);
    });
    std::vector<unsigned char> got(64);
    EXPECT_EQ(readn(p.fd[0], got.data(), got.size()), 64);
    EXPECT_EQ(got, data);
    writer.join();
    char rest[16];
    EXPECT_EQ(readn(p.fd[0], rest, sizeof rest), 4);  // end of file: a short count
    EXPECT_EQ(readn(p.fd[0], rest, sizeof rest), 0);
}

TEST(Transfer, SignalsNeitherEndNorCorruptATransfer)
{
    // Interrupted pipe writes and socket sends return short counts or EINTR;
    // the reads on the other side see pieces and EINTR too.
    for (bool socket : {false, true}) {
        Channel c(socket);
        auto data = pattern(1 << 20);
        std::vector<unsigned char> got(data.size());
        std::thread reader([&] {
            Interrupter signals;
            EXPECT_EQ((socket ? sockreadn : readn)(c.fd[0], got.data(), got.size()), ssize_t(got.size()));
        });
        {
            Interrupter signals;
            EXPECT_EQ((socket ? sockwriten : writen)(c.fd[1], data.data(), data.size()), ssize_t(data.size()));
        }
        reader.join();
        EXPECT_EQ(got, data) << (socket ? "socket" : "pipe");
    }
}

TEST(Transfer, EndConditions)
{
    int full = open("/dev/full", O_WRONLY);
    ASSERT_GE(full, 0);
    errno = 0;
    EXPECT_EQ(writen(full, "12345678", 8), 0);  // a short count, not -1
    EXPECT_EQ(errno, ENOSPC);
    close(full);

    Channel early;
    ASSERT_EQ(send(early.fd[1], "ab", 2, 0), 2);
    early.close_end(1);
    char buf[4];
    EXPECT_EQ(fails(sockreadn(early.fd[0], buf, 4)), ECONNRESET);
    // SIGPIPE keeps its default action here: raising it would end the program.
    EXPECT_EQ(fails(sockwriten(early.fd[0], "x", 1)), EPIPE);

    Channel p(false);
    ASSERT_EQ(fcntl_setfl(p.fd[0], O_NONBLOCK), 0);
    EXPECT_EQ(fails(readn(p.fd[0], buf, 4)), EAGAIN);
    EXPECT_EQ(fails(writen(p.fd[0], "x", 1)), EBADF);  // the read end
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
    EXPECT_EQ(fails(fcntl_setfd(fd, FD_CLOEXEC)), EBADF);
    EXPECT_EQ(fails(fcntl_setfl(fd, O_NONBLOCK)), EBADF);
}
