#include <anvil/recvstr.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <pthread.h>
#include <string>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

#include "support/test_support.hpp"

namespace {

struct SocketPair {
    int fd[2];
    SocketPair() { EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, fd), 0); }
    ~SocketPair() { close(fd[0]); close_peer(); }
    void close_peer() { if (fd[1] >= 0) close(fd[1]); fd[1] = -1; }
    void send(const std::string &s) { ASSERT_EQ(::send(fd[1], s.data(), s.size(), 0), ssize_t(s.size())); }
};

// A string of n bytes counting its terminator, with no NUL before the end.
std::string text(size_t n)
{
    std::string s(n, '\0');
    for (size_t i = 0; i + 1 < n; ++i)
        s[i] = static_cast<char>('A' + i % 26 + i / 4096);
    return s;
}

// recvstr's result, holding at least as many bytes as were sent, as a string.
std::string take(char *r, size_t sent)
{
    std::string got = r ? std::string(r, sent) : "(null)";
    free(r);
    return got;
}

}  // namespace

TEST(Recvstr, SizesAcrossBlockBoundaries)
{
    // Allocations: the first block; beyond it the stream, its table, one
    // chunk per further 4096 bytes and the gathered result.
    const struct { size_t n; int allocations; } cases[] = {
        {5, 1}, {4095, 1}, {4096, 1}, {4097, 5}, {8192, 5}, {10001, 6}};
    for (auto &c : cases) {
        SocketPair s;
        std::string sent = text(c.n);
        s.send(sent);  // queued whole: each recv fills what room is left
        anvil_test::fail_alloc_after(1000);
        char *r = recvstr(s.fd[0]);
        EXPECT_EQ(anvil_test::alloc_calls(), c.allocations) << c.n;
        anvil_test::disarm_alloc_failure();
        EXPECT_EQ(take(r, c.n), sent) << c.n;
    }
    // Only the last byte of a delivery can end the string.
    SocketPair s;
    s.send(std::string("ab\0cd\0", 6));
    EXPECT_EQ(take(recvstr(s.fd[0]), 6), std::string("ab\0cd\0", 6));
}

TEST(Recvstr, OneBytePerDeliveryGivesTheSameString)
{
    SocketPair s;
    std::string sent = text(5000);
    std::thread peer([&] {
        for (char c : sent) {
            s.send(std::string(1, c));
            int queued = 1;
            while (queued > 0 && ioctl(s.fd[0], FIONREAD, &queued) == 0)
                sched_yield();  // until the byte has been taken
        }
    });
    char *r = recvstr(s.fd[0]);
    peer.join();
    EXPECT_EQ(take(r, sent.size()), sent);
}

TEST(Recvstr, SignalDuringTheWaitDoesNotEndTheCall)
{
    struct sigaction sa {}, old;
    sa.sa_handler = [](int) {};  // no SA_RESTART: the blocked recv sees EINTR
    sigaction(SIGUSR1, &sa, &old);
    SocketPair s;
    pthread_t self = pthread_self();
    std::thread peer([&] {
        usleep(20000);
        pthread_kill(self, SIGUSR1);
        usleep(20000);
        s.send(text(10));
    });
    char *r = recvstr(s.fd[0]);
    peer.join();
    sigaction(SIGUSR1, &old, nullptr);
    EXPECT_EQ(take(r, 10), text(10));
}

TEST(Recvstr, FailuresReleaseEverything)
{
    for (size_t n : {3, 5000}) {  // the peer closes before a terminator
        SocketPair s;
        s.send(text(n + 1).substr(0, n));
        s.close_peer();
        EXPECT_EQ(recvstr(s.fd[0]), nullptr);
        EXPECT_EQ(errno, ECONNRESET) << n;
    }
    SocketPair s;
    ASSERT_EQ(fcntl(s.fd[0], F_SETFL, O_NONBLOCK), 0);
    EXPECT_EQ(recvstr(s.fd[0]), nullptr);
    EXPECT_EQ(errno, EAGAIN);
    for (int ok = 0; ok < 6; ++ok) {  // each allocation of a 10001-byte string in turn
        SocketPair p;
        p.send(text(10001));
        anvil_test::fail_alloc_after(ok);
        EXPECT_EQ(recvstr(p.fd[0]), nullptr);
        EXPECT_EQ(errno, ENOMEM) << ok;
        anvil_test::disarm_alloc_failure();
    }
}
