#include <anvil/recvstr.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <malloc.h>
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
    ~SocketPair() { close(fd[0]); close(fd[1]); }
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

}  // namespace

TEST(Recvstr, SizesAcrossBlockBoundaries)
{
    struct sigaction sa {}, old;
    sa.sa_handler = [](int) {};  // no SA_RESTART: the blocked recv sees EINTR
    sigaction(SIGUSR1, &sa, &old);
    // Allocations: the first block; beyond it the stream, its table, one
    // chunk per further 4096 bytes and the gathered result. Each case is
    // sent whole, so that every recv fills what room is left, with each
    // allocation failing in turn and then none; then one byte per recv,
    // after a signal has interrupted the wait.
    const struct { size_t n, blocks; int allocations; } cases[] = {
        {5, 1, 1}, {4095, 1, 1}, {4096, 1, 1}, {4097, 2, 5}, {8192, 2, 5}, {10001, 3, 6}};
    for (bool bytewise : {false, true})
        for (auto &c : cases)
            for (int ok = bytewise ? c.allocations : 0; ok <= c.allocations; ++ok) {
                SCOPED_TRACE(testing::Message() << c.n << (bytewise ? " bytewise" : ", ok ") << ok);
                SocketPair s;
                std::string sent = text(c.n);
                std::thread peer;
                if (bytewise)
                    peer = std::thread([&, self = pthread_self()] {
                        usleep(20000);
                        pthread_kill(self, SIGUSR1);
                        for (char ch : sent) {
                            ASSERT_EQ(::send(s.fd[1], &ch, 1, 0), 1);
                            int queued = 1;
                            while (queued > 0 && ioctl(s.fd[0], FIONREAD, &queued) == 0)
                                sched_yield();  // until the byte has been taken
                        }
                    });
                else
                    s.send(sent);
                if (!bytewise)
                    anvil_test::fail_alloc_after(ok == c.allocations ? 1000 : ok);
                char *r = recvstr(s.fd[0]);
                int calls = anvil_test::alloc_calls();
                anvil_test::disarm_alloc_failure();
                if (peer.joinable())
                    peer.join();
                if (ok < c.allocations) {
                    EXPECT_TRUE(r == nullptr && errno == ENOMEM);
                    continue;
                }
                EXPECT_TRUE(bytewise || calls == c.allocations) << calls;
                ASSERT_NE(r, nullptr);
                EXPECT_EQ(malloc_usable_size(r) / 4096, c.blocks);
                EXPECT_EQ(std::string(r, c.n), sent);
                free(r);
            }
    sigaction(SIGUSR1, &old, nullptr);
}

TEST(Recvstr, EndsOnlyAtALastNulAndFailsWithoutOne)
{
    SocketPair s;
    s.send(std::string("ab\0cd\0", 6));  // only the last byte of a delivery ends the string
    char *r = recvstr(s.fd[0]);
    EXPECT_EQ(std::string(r ? r : "(null)", 6), std::string("ab\0cd\0", 6));
    free(r);
    s.send(text(5000) + "y");  // a NUL inside, none last; then the peer closes

    shutdown(s.fd[1], SHUT_WR);
    EXPECT_TRUE(recvstr(s.fd[0]) == nullptr && errno == ECONNRESET);
    SocketPair idle;
    ASSERT_EQ(fcntl(idle.fd[0], F_SETFL, O_NONBLOCK), 0);
    EXPECT_TRUE(recvstr(idle.fd[0]) == nullptr && errno == EAGAIN);
}
