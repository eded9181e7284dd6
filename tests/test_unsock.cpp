#include <anvil/unsock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <string>
#include <sys/un.h>

#include "support/io_helpers.hpp"
#include "support/isolated_test.hpp"

using anvil_test::Fd;
using anvil_test::fails;
using Unsock = anvil_test::IsolatedTest;

namespace {

// The address the kernel recorded for a bound socket.
std::string bound_address(int fd)
{
    sockaddr_un a;
    socklen_t len = sizeof a;
    EXPECT_EQ(getsockname(fd, reinterpret_cast<sockaddr *>(&a), &len), 0);
    return std::string(reinterpret_cast<char *>(&a), len);
}

}  // namespace

// Streams between these endpoints are moved in test_stress.cpp.
TEST_F(Unsock, AbstractAddressesCutAt106BytesAndPlainSockets)
{
    std::string name(200, 'n');
    for (size_t i = 0; i < name.size(); ++i)
        name[i] = static_cast<char>('a' + i % 26);
    const std::string family("\x01\x00\x00", 3);
    Fd execd{listenUnTcpSock("execd")}, empty{bindUnUdpSock("")}, l{listenUnTcpSock(name.c_str())};
    EXPECT_EQ(bound_address(execd), family + "execd");
    EXPECT_EQ(bound_address(empty), family);
    EXPECT_EQ(bound_address(l), family + name.substr(0, 106));
    Fd c{connectUnSock((name.substr(0, 106) + "something else").c_str(), SOCK_STREAM)}, a{acceptUnTcpSock(l)};
    EXPECT_EQ(fails(connectUnSock(name.substr(0, 105).c_str(), SOCK_STREAM)), ECONNREFUSED);  // another name
    Fd d{bindUnUdpSock("dgram")}, s{connectUnSock("dgram", SOCK_DGRAM)};
    char buf[8];
    EXPECT_EQ(send(s, "datagram", 8, 0), 8);
    EXPECT_EQ(recv(d, buf, sizeof buf, 0), 8);
    for (int fd : {execd.fd, l.fd, c.fd, a.fd, d.fd, s.fd})  // blocking, and inherited across exec
        EXPECT_EQ(fcntl(fd, F_GETFD) | (fcntl(fd, F_GETFL) & O_NONBLOCK), 0) << fd;
}

TEST_F(Unsock, FailuresLeaveNoDescriptor)
{
    for (int type : {SOCK_STREAM, SOCK_DGRAM})
        EXPECT_EQ(fails(connectUnSock("nobody", type)), ECONNREFUSED) << type;
    {
        Fd first{listenUnTcpSock("busy")};
        ASSERT_GE(first, 0);
        EXPECT_EQ(fails(listenUnTcpSock("busy")), EADDRINUSE);
    }
    EXPECT_GE(Fd{listenUnTcpSock("busy")}, 0);  // free at once: nothing to remove
}
