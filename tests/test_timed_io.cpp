#include <anvil/timed_io.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <fcntl.h>
#include <pthread.h>
#include <string>
#include <sys/resource.h>
#include <thread>
#include <vector>

#include "support/io_helpers.hpp"

using anvil_test::fails;

namespace {

// A pipe or stream socket pair whose writing end [1] is full.
struct Full : anvil_test::Channel {
    explicit Full(bool socket = false) : Channel(socket)
    {
        int flags = fcntl(fd[1], F_GETFL);
        fcntl(fd[1], F_SETFL, flags | O_NONBLOCK);
        static char chunk[4096];
        while (write(fd[1], chunk, sizeof chunk) > 0) {
        }
        fcntl(fd[1], F_SETFL, flags);
    }
    // Moves the writing end to a descriptor above what an fd_set holds.
    void move_writer_high()
    {
        rlimit r;
        getrlimit(RLIMIT_NOFILE, &r);
        if (r.rlim_cur < 2048 && r.rlim_max >= 2048) {
            r.rlim_cur = 2048;
            setrlimit(RLIMIT_NOFILE, &r);
        }
        ASSERT_EQ(dup2(fd[1], 1500), 1500) << "RLIMIT_NOFILE too low";
        close(fd[1]);
        fd[1] = 1500;
    }
};

const char kData[] = "0123456789";
const iovec kVector[] = {{(void *)kData, 4}, {nullptr, 0}, {(void *)(kData + 4), 6}};

// The three timed writes of the 10 bytes above.
using Timed = ssize_t (*)(int fd, int limit);
const Timed kWritens = [](int fd, int limit) { return writens(fd, limit, kData, 10); };
const Timed kWritevns = [](int fd, int limit) { return writevns(fd, limit, kVector, 3); };
const Timed kSockwritens = [](int fd, int limit) { return sockwritens(fd, limit, kData, 10); };

}  // namespace

TEST(Timed, AFailedWaitEndsTheCallWithItsMessage)
{
    // A full descriptor times out after the limit, leaving errno alone and
    // printing ret=0; a signal ends the wait with EINTR and ret=-1. Below and
    // above FD_SETSIZE alike; sockwritens prints nothing.
    anvil_test::Usr1Interrupts usr1;
    struct Case { Timed call; const char *name; bool socket, high, signal; } cases[] = {
        {kWritens, "writens", false, false, false},  {kWritevns, "writevns", false, false, false},
        {kSockwritens, nullptr, true, false, false}, {kWritens, "writens", false, true, false},
        {kWritevns, "writevns", true, true, false},  {kSockwritens, nullptr, true, true, false},
        {kWritens, "writens", false, false, true},   {kWritens, "writens", false, true, true},
        {kWritevns, "writevns", false, false, true}, {kWritevns, "writevns", false, true, true},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(testing::Message() << (c.name ? c.name : "sockwritens") << (c.socket ? " socket" : "")
                                        << (c.high ? " above FD_SETSIZE" : "") << (c.signal ? " signal" : ""));
        Full full(c.socket);
        if (c.high)
            full.move_writer_high();
        std::thread signaller;
        if (c.signal)
            signaller = std::thread([self = pthread_self()] {
                usleep(100 * 1000);
                pthread_kill(self, SIGUSR1);
            });
        testing::internal::CaptureStdout();
        errno = 12345;
        auto start = std::chrono::steady_clock::now();
        ssize_t r = c.call(full.fd[1], c.signal ? 10000 : 150);
        int err = errno;
        auto took = std::chrono::steady_clock::now() - start;
        std::string out = testing::internal::GetCapturedStdout();
        if (signaller.joinable())
            signaller.join();
        EXPECT_EQ(r, -1);
        EXPECT_EQ(err, c.signal ? EINTR : 12345);  // a time-out sets no errno
        EXPECT_EQ(out, c.name ? std::string("[") + c.name + "] select time out! ret=" +
                                    (c.signal ? "-1" : "0") + ".\n" : "");
        if (!c.signal) {
            EXPECT_GE(took, std::chrono::milliseconds(140));
            EXPECT_LT(took, std::chrono::milliseconds(3000));
        }
    }
}

TEST(Timed, TheLimitBoundsTheSumOfTheWaits)
{
    // The reader frees one page every period: with a limit of 350 ms no
    // single wait comes near it, but their sum reaches it after a few writes
    // (short ones: the writer does not block in write). No limit waits for
    // the reader however long it takes.
    struct Case { int limit; bool high; size_t n; int period_ms; ssize_t result; const char *out; int most; } cases[] = {
        {350, false, 1 << 20, 100, -1, "[writens] select time out! ret=0.\n", 12},
        {350, true, 1 << 20, 100, -1, "[writens] select time out! ret=0.\n", 12},
        {0, false, 10, 300, 10, "", 2}, {-1, false, 10, 300, 10, "", 2}};
    for (const Case &c : cases) {
        SCOPED_TRACE(testing::Message() << "limit " << c.limit << (c.high ? " above FD_SETSIZE" : ""));
        Full full;
        if (c.high)
            full.move_writer_high();
        fcntl(full.fd[1], F_SETFL, O_NONBLOCK);
        std::atomic<bool> done{false};
        std::atomic<int> drained{0};
        std::thread reader([&] {
            static char page[4096];
            for (; !done && drained < 30; ++drained) {
                usleep(c.period_ms * 1000);
                read(full.fd[0], page, sizeof page);
            }
        });
        std::vector<char> big(c.n, 'x');
        testing::internal::CaptureStdout();
        ssize_t r = writens(full.fd[1], c.limit, big.data(), big.size());
        std::string out = testing::internal::GetCapturedStdout();
        EXPECT_EQ(r, c.result);
        EXPECT_EQ(out, c.out);
        done = true;
        reader.join();
        EXPECT_GE(drained, 1);  // more than one wait
        EXPECT_LE(drained, c.most);
    }
}

TEST(Timed, EndsOfTransfer)
{
    anvil_test::Channel s;
    char got[10];
    EXPECT_EQ(kWritevns(s.fd[1], 100), 10);
    ASSERT_EQ(recv(s.fd[0], got, 10, MSG_WAITALL), 10);
    EXPECT_EQ(std::string(got, 10), kData);
    EXPECT_EQ(kSockwritens(s.fd[1], 100), 10);
    EXPECT_EQ(writens(s.fd[1], 100, kData, 0), 0);
    errno = 0;
    EXPECT_EQ(writevns(-1, 100, kVector, 0), 0);  // nothing to write: no wait
    EXPECT_EQ(fails(writevns(s.fd[1], 100, kVector, -1)), EINVAL);
    s.close_end(0);
    // SIGPIPE keeps its default action: raising it would end the program.
    EXPECT_EQ(fails(kSockwritens(s.fd[1], 100)), EPIPE);

    int full = open("/dev/full", O_WRONLY);
    ASSERT_GE(full, 0);
    for (Timed call : {kWritens, kWritevns}) {
        EXPECT_EQ(call(full, 100), 0);  // a short count, not -1
        EXPECT_EQ(errno, ENOSPC);
    }
    close(full);
}
