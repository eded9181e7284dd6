#include <anvil/timed_io.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <fcntl.h>
#include <string>
#include <sys/resource.h>
#include <thread>
#include <vector>

#include "support/io_helpers.hpp"

namespace {

// A pipe or stream socket pair whose writing end [1] is full, and does not
// block: a write that finds room moves what fits and returns.
struct Full : anvil_test::Channel {
    explicit Full(bool socket = false) : Channel(socket)
    {
        fcntl(fd[1], F_SETFL, O_NONBLOCK);
        static char chunk[4096];
        while (write(fd[1], chunk, sizeof chunk) > 0) {
        }
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

// The three timed writes of n bytes at p; writevns sees them in two parts
// around an empty one.
using Timed = ssize_t (*)(int fd, int limit, const char *p, size_t n);
const Timed kWritens = [](int fd, int limit, const char *p, size_t n) { return writens(fd, limit, p, n); };
const Timed kWritevns = [](int fd, int limit, const char *p, size_t n) {
    iovec v[3] = {{(void *)p, n / 2}, {nullptr, 0}, {(void *)(p + n / 2), n - n / 2}};
    return writevns(fd, limit, v, 3);
};
const Timed kSockwritens = [](int fd, int limit, const char *p, size_t n) { return sockwritens(fd, limit, p, n); };

}  // namespace

TEST(Timed, AllWaitsOfACallShareTheLimit)
{
    // The reader frees one page per period, or nothing (period 0). A time-out
    // leaves errno alone and prints ret=0 (sockwritens prints nothing), below
    // and above FD_SETSIZE alike. With a limit of 350 ms and a page per 100 ms
    // no single wait comes near the limit, but their sum reaches it after a
    // few writes (short ones: the writer does not block in write). No limit
    // waits for the reader however long it takes. (A signal ending a wait is
    // in test_stress.cpp.)
    struct Case { Timed call; const char *name; bool socket, high; int limit, period_ms; size_t n; ssize_t result; int most; } cases[] = {
        {kWritens, "writens", false, false, 150, 0, 10, -1, 0},
        {kWritevns, "writevns", false, false, 150, 0, 10, -1, 0},
        {kSockwritens, "sockwritens", true, false, 150, 0, 10, -1, 0},
        {kWritens, "writens", false, true, 150, 0, 10, -1, 0},
        {kWritens, "writens", false, false, 350, 100, 1 << 20, -1, 12},
        {kWritens, "writens", false, true, 350, 100, 1 << 20, -1, 12},
        {kWritens, "writens", false, false, 0, 300, 10, 10, 2},
        {kWritens, "writens", false, false, -1, 300, 10, 10, 2},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(testing::Message() << c.name << (c.socket ? " socket" : "") << " limit " << c.limit
                                        << (c.high ? " above FD_SETSIZE" : ""));
        Full full(c.socket);
        if (c.high)
            full.move_writer_high();
        std::atomic<bool> done{false};
        std::atomic<int> drained{0};
        std::thread reader([&] {
            static char page[4096];
            for (; c.period_ms && !done && drained < 30; ++drained) {
                usleep(c.period_ms * 1000);
                read(full.fd[0], page, sizeof page);
            }
        });
        std::vector<char> big(c.n, 'x');
        testing::internal::CaptureStdout();
        errno = 12345;
        auto start = std::chrono::steady_clock::now();
        ssize_t r = c.call(full.fd[1], c.limit, big.data(), big.size());
        int err = errno;
        auto took = std::chrono::steady_clock::now() - start;
        std::string out = testing::internal::GetCapturedStdout();
        done = true;
        reader.join();
        EXPECT_EQ(r, c.result);
        bool prints = r == -1 && c.name[0] != 's';
        EXPECT_EQ(out, prints ? std::string("[") + c.name + "] select time out! ret=0.\n" : "");
        EXPECT_TRUE(r != -1 || err == 12345) << "a time-out sets no errno";
        EXPECT_GE(took, std::chrono::milliseconds(c.limit - 10));
        EXPECT_LT(took, std::chrono::milliseconds(3000));
        EXPECT_GE(drained, c.period_ms ? 1 : 0);  // more than one wait
        EXPECT_LE(drained, c.most);
    }
}
