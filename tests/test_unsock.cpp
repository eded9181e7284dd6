#include <anvil/unsock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <pthread.h>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <fcntl.h>
#include <unistd.h>

#include "support/isolated_test.hpp"

namespace {

class Unsock : public anvil_test::IsolatedTest {
protected:
    // The address the kernel recorded for a bound socket.
    static std::string bound_address(int fd)
    {
        sockaddr_un a;
        socklen_t len = sizeof a;
        EXPECT_EQ(getsockname(fd, reinterpret_cast<sockaddr *>(&a), &len), 0);
        return std::string(reinterpret_cast<char *>(&a), len);
    }
};

}  // namespace

TEST_F(Unsock, AbstractAddressLayoutAndTheCutAt106Bytes)
{
    int fd = listenUnTcpSock("execd");
    ASSERT_GE(fd, 0);
    EXPECT_EQ(bound_address(fd), std::string("\x01\x00\x00" "execd", 8));
    close(fd);
    fd = bindUnUdpSock("");
    ASSERT_GE(fd, 0);
    EXPECT_EQ(bound_address(fd), std::string("\x01\x00\x00", 3));
    close(fd);

    std::string name(200, 'n');
    for (size_t i = 0; i < name.size(); ++i)
        name[i] = static_cast<char>('a' + i % 26);
    int l = listenUnTcpSock(name.c_str());
    ASSERT_GE(l, 0);
    EXPECT_EQ(bound_address(l), std::string("\x01\x00\x00", 3) + name.substr(0, 106));
    int c = connectUnSock((name.substr(0, 106) + "something else").c_str(), SOCK_STREAM);
    ASSERT_GE(c, 0);
    int a = acceptUnTcpSock(l);
    EXPECT_GE(a, 0);
    close(a);
    close(c);
    EXPECT_EQ(connectUnSock(name.substr(0, 105).c_str(), SOCK_STREAM), -1);  // another name
    EXPECT_EQ(errno, ECONNREFUSED);
    close(l);
}

TEST_F(Unsock, FailuresLeaveNoDescriptor)
{
    EXPECT_EQ(connectUnSock("nobody", SOCK_STREAM), -1);
    EXPECT_EQ(errno, ECONNREFUSED);
    EXPECT_EQ(connectUnSock("nobody", SOCK_DGRAM), -1);
    EXPECT_EQ(errno, ECONNREFUSED);

    int first = listenUnTcpSock("busy");
    ASSERT_GE(first, 0);
    EXPECT_EQ(listenUnTcpSock("busy"), -1);
    EXPECT_EQ(errno, EADDRINUSE);
    close(first);
    int again = listenUnTcpSock("busy");  // free at once: nothing to remove
    EXPECT_GE(again, 0);
    close(again);
}

TEST_F(Unsock, StreamAndDatagramExchange)
{
    int l = listenUnTcpSock("stream");
    ASSERT_GE(l, 0);
    int c = connectUnSock("stream", SOCK_STREAM);
    ASSERT_GE(c, 0);
    int a = acceptUnTcpSock(l);
    ASSERT_GE(a, 0);
    EXPECT_EQ(send(c, "ping", 4, 0), 4);
    char buf[8] = {};
    EXPECT_EQ(recv(a, buf, sizeof buf, 0), 4);
    EXPECT_STREQ(buf, "ping");
    EXPECT_EQ(fcntl(c, F_GETFD) & FD_CLOEXEC, 0);  // inherited across exec
    close(a);
    close(c);
    close(l);

    int d = bindUnUdpSock("dgram");
    ASSERT_GE(d, 0);
    int s = connectUnSock("dgram", SOCK_DGRAM);
    ASSERT_GE(s, 0);
    EXPECT_EQ(send(s, "datagram", 8, 0), 8);
    EXPECT_EQ(recv(d, buf, sizeof buf, 0), 8);
    close(s);
    close(d);
}

TEST_F(Unsock, AcceptResumesAfterSignal)
{
    struct sigaction sa {}, old;
    sa.sa_handler = [](int) {};  // no SA_RESTART: accept sees EINTR
    sigaction(SIGUSR1, &sa, &old);
    int l = listenUnTcpSock("patient");
    ASSERT_GE(l, 0);
    pthread_t self = pthread_self();
    std::thread other([&] {
        for (int i = 0; i < 5; ++i) {
            usleep(5000);
            pthread_kill(self, SIGUSR1);
        }
        close(connectUnSock("patient", SOCK_STREAM));
    });
    int a = acceptUnTcpSock(l);
    EXPECT_GE(a, 0);
    other.join();
    close(a);
    close(l);
    sigaction(SIGUSR1, &old, nullptr);
}
