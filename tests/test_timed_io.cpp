#include <anvil/timed_io.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <functional>
#include <pthread.h>
#include <string>
#include <sys/resource.h>
#include <sys/socket.h>
#include <thread>
#include <utility>
#include <unistd.h>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

long ms_since(Clock::time_point t)
{
    return long(std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - t).count());
}

// A pipe or stream socket pair whose writing end [1] is full.
struct Full {
    int fd[2];
    explicit Full(bool socket = false)
    {
        EXPECT_EQ(socket ? socketpair(AF_UNIX, SOCK_STREAM, 0, fd) : pipe(fd), 0);
        int flags = fcntl(fd[1], F_GETFL);
        fcntl(fd[1], F_SETFL, flags | O_NONBLOCK);
        static char chunk[4096];
        while (write(fd[1], chunk, sizeof chunk) > 0) {
        }
        fcntl(fd[1], F_SETFL, flags);
    }
    ~Full() { close(fd[0]); close(fd[1]); }
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

// What f printed on standard output, captured through a pipe.
std::string stdout_of(const std::function<void()> &f)
{
    int p[2];
    EXPECT_EQ(pipe(p), 0);
    fflush(stdout);
    int saved = dup(STDOUT_FILENO);
    dup2(p[1], STDOUT_FILENO);
    close(p[1]);
    f();
    dup2(saved, STDOUT_FILENO);  // the pipe's last writer goes: end of file
    close(saved);
    std::string out;
    char buf[256];
    for (ssize_t n; (n = read(p[0], buf, sizeof buf)) > 0;)
        out.append(buf, size_t(n));
    close(p[0]);
    return out;
}

const char kData[] = "0123456789";
const iovec kVector[] = {{(void *)kData, 4}, {nullptr, 0}, {(void *)(kData + 4), 6}};

// The three timed writes of the 10 bytes above.
using Timed = ssize_t (*)(int fd, int limit);
const Timed kWritens = [](int fd, int limit) { return writens(fd, limit, kData, 10); };
const Timed kWritevns = [](int fd, int limit) { return writevns(fd, limit, kVector, 3); };
const Timed kSockwritens = [](int fd, int limit) { return sockwritens(fd, limit, kData, 10); };

}  // namespace

TEST(Timed, AFullDescriptorTimesOutWithTheMessage)
{
    struct Case {
        Timed call;
        bool socket, high;
        const char *message;
    } cases[] = {
        {kWritens, false, false, "[writens] select time out! ret=0.\n"},
        {kWritevns, false, false, "[writevns] select time out! ret=0.\n"},
        {kSockwritens, true, false, ""},
        {kWritens, false, true, "[writens] select time out! ret=0.\n"},
        {kWritevns, true, true, "[writevns] select time out! ret=0.\n"},
        {kSockwritens, true, true, ""},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(testing::Message() << c.message << (c.high ? " above FD_SETSIZE" : ""));
        Full full(c.socket);
        if (c.high)
            full.move_writer_high();
        ssize_t r = 0;
        long took = 0;
        errno = 12345;
        EXPECT_EQ(stdout_of([&] {
                      auto start = Clock::now();
                      r = c.call(full.fd[1], 150);
                      took = ms_since(start);
                  }),
                  c.message);
        EXPECT_EQ(r, -1);
        EXPECT_EQ(errno, 12345);  // a time-out sets no errno
        EXPECT_GE(took, 140);
        EXPECT_LT(took, 3000);
    }
}

TEST(Timed, TheLimitBoundsTheSumOfTheWaits)
{
    // The reader frees one page every 100 ms: no single wait comes near the
    // limit of 350 ms, but their sum reaches it after a few writes (short
    // ones: the writer does not block in write).
    for (bool high : {false, true}) {
        Full full;
        if (high)
            full.move_writer_high();
        fcntl(full.fd[1], F_SETFL, O_NONBLOCK);
        std::atomic<bool> failed{false};
        std::atomic<int> drained{0};
        std::thread reader([&] {
            static char page[4096];
            while (!failed && drained < 30) {
                usleep(100 * 1000);
                read(full.fd[0], page, sizeof page);
                ++drained;
            }
        });
        std::vector<char> big(1 << 20);
        std::string out = stdout_of([&] {
            EXPECT_EQ(writens(full.fd[1], 350, big.data(), big.size()), -1);
        });
        failed = true;
        reader.join();
        EXPECT_EQ(out, "[writens] select time out! ret=0.\n");
        EXPECT_GE(drained, 1) << high;  // more than one wait
        EXPECT_LE(drained, 12) << high;
    }
}

TEST(Timed, NoLimitWaitsAsLongAsItTakes)
{
    for (int limit : {0, -1}) {
        Full full;
        std::thread reader([&] {
            usleep(300 * 1000);
            static char page[4096];
            read(full.fd[0], page, sizeof page);
        });
        EXPECT_EQ(stdout_of([&] { EXPECT_EQ(kWritens(full.fd[1], limit), 10); }), "");
        reader.join();
    }
}

TEST(Timed, EndsOfTransfer)
{
    int fd[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, fd), 0);
    char got[10];
    EXPECT_EQ(kWritevns(fd[1], 100), 10);
    ASSERT_EQ(recv(fd[0], got, 10, MSG_WAITALL), 10);
    EXPECT_EQ(std::string(got, 10), kData);
    EXPECT_EQ(kSockwritens(fd[1], 100), 10);
    EXPECT_EQ(writens(fd[1], 100, kData, 0), 0);
    errno = 0;
    EXPECT_EQ(writevns(-1, 100, kVector, 0), 0);  // nothing to write: no wait
    EXPECT_EQ(writevns(fd[1], 100, kVector, -1), -1);
    EXPECT_EQ(errno, EINVAL);
    close(fd[0]);
    // SIGPIPE keeps its default action: raising it would end the program.
    EXPECT_EQ(kSockwritens(fd[1], 100), -1);
    EXPECT_EQ(errno, EPIPE);
    close(fd[1]);

    int full = open("/dev/full", O_WRONLY);
    ASSERT_GE(full, 0);
    for (Timed call : {kWritens, kWritevns}) {
        EXPECT_EQ(call(full, 100), 0);  // a short count, not -1
        EXPECT_EQ(errno, ENOSPC);
    }
    close(full);
}

TEST(Timed, ASignalEndsTheWait)
{
    struct sigaction sa {}, old;
    sa.sa_handler = [](int) {};
    sigaction(SIGUSR1, &sa, &old);
    for (auto [call, name] : {std::pair{kWritens, "writens"}, std::pair{kWritevns, "writevns"}}) {
        for (bool high : {false, true}) {
            Full full;
            if (high)
                full.move_writer_high();
            pthread_t self = pthread_self();
            std::thread signaller([&] {
                usleep(100 * 1000);
                pthread_kill(self, SIGUSR1);
            });
            ssize_t r = 0;
            int err = 0;
            std::string out = stdout_of([&] {
                r = call(full.fd[1], 10000);
                err = errno;
            });
            signaller.join();
            EXPECT_EQ(r, -1);
            EXPECT_EQ(err, EINTR);
            EXPECT_EQ(out, std::string("[") + name + "] select time out! ret=-1.\n");
        }
    }
    sigaction(SIGUSR1, &old, nullptr);
}
