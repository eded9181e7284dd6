#include <anvil/recvstr.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <cstdlib>
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
};

// A string of n bytes counting its terminator, with no NUL before the end.
std::string text(size_t n)
{
    std::string s(n, '\0');
    for (size_t i = 0; i + 1 < n; ++i)
        s[i] = static_cast<char>('A' + i % 26 + i / 4096);
    return s;
}

void send_all(int fd, const std::string &s)
{
    ASSERT_EQ(send(fd, s.data(), s.size(), 0), ssize_t(s.size()));
}

// Receives a string that is already queued, counting the allocations made.
std::string receive_queued(const std::string &sent, int *allocations)
{
    SocketPair s;
    send_all(s.fd[1], sent);
    anvil_test::fail_alloc_after(1000);
    char *r = recvstr(s.fd[0]);
    *allocations = anvil_test::alloc_calls();
    anvil_test::disarm_alloc_failure();
    EXPECT_NE(r, nullptr);
    std::string got(r ? r : "", r ? sent.size() : 0);
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
        std::string sent = text(c.n);
        int allocations = 0;
        EXPECT_EQ(receive_queued(sent, &allocations), sent) << c.n;
        EXPECT_EQ(allocations, c.allocations) << c.n;
    }
}

TEST(Recvstr, OneBytePerDeliveryGivesTheSameString)
{
    SocketPair s;
    std::string sent = text(5000);
    std::thread peer([&] {
        for (char c : sent) {
            ASSERT_EQ(send(s.fd[1], &c, 1, 0), 1);
            int queued = 1;
            while (queued > 0 && ioctl(s.fd[0], FIONREAD, &queued) == 0)
                sched_yield();  // wait until the byte has been taken
        }
    });
    char *r = recvstr(s.fd[0]);
    peer.join();
    ASSERT_NE(r, nullptr);
    EXPECT_EQ(std::string(r, sent.size()), sent);
    free(r);
}

TEST(Recvstr, OnlyTheLastByteOfADeliveryEndsTheString)
{
    SocketPair s;
    send_all(s.fd[1], std::string("ab\0cd\0", 6));
    char *r = recvstr(s.fd[0]);
    ASSERT_NE(r, nullptr);
    EXPECT_EQ(std::string(r, 6), std::string("ab\0cd\0", 6));
    free(r);
}

TEST(Recvstr, FailuresReleaseEverything)
{
    for (size_t n : {3, 5000}) {
        SocketPair s;
        send_all(s.fd[1], text(n + 1).substr(0, n));
        s.close_peer();
        errno = 0;
        EXPECT_EQ(recvstr(s.fd[0]), nullptr);
        EXPECT_EQ(errno, ECONNRESET) << n;
    }
    SocketPair s;
    ASSERT_EQ(fcntl(s.fd[0], F_SETFL, O_NONBLOCK), 0);
    EXPECT_EQ(recvstr(s.fd[0]), nullptr);
    EXPECT_EQ(errno, EAGAIN);
    // Each of the six allocations of a 10001-byte string failing in turn.
    std::string sent = text(10001);
    for (int ok = 0; ok < 6; ++ok) {
        SocketPair p;
        send_all(p.fd[1], sent);
        anvil_test::fail_alloc_after(ok);
        errno = 0;
        EXPECT_EQ(recvstr(p.fd[0]), nullptr);
        EXPECT_EQ(errno, ENOMEM) << ok;
        anvil_test::disarm_alloc_failure();
    }
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
        send_all(s.fd[1], text(10));
    });
    char *r = recvstr(s.fd[0]);
    peer.join();
    sigaction(SIGUSR1, &old, nullptr);
    EXPECT_STREQ(r, text(10).c_str());
    free(r);
}
