#include <anvil/fd_passing.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <tuple>
#include <vector>

#include "support/io_helpers.hpp"
#include "support/isolated_test.hpp"

using anvil_test::fails;
// Fails a test that leaves any descriptor open, received ones included.
using FdPassing = anvil_test::IsolatedTest;

namespace {

// A message of one data entry with a control buffer of the given size.
msghdr message(iovec *data, void *control, size_t size)
{
    msghdr msg = {};
    msg.msg_iov = data;
    msg.msg_iovlen = 1;
    msg.msg_control = control;
    msg.msg_controllen = size;
    return msg;
}

}  // namespace

TEST_F(FdPassing, RefusesEmptyArgumentsBeforeAnyTransfer)
{
    anvil_test::Channel s;
    char buf[4];
    size_t len = 4, zero = 0;
    const struct { const char *what; int err; } cases[] = {
        {"send: no data", fails(sendFdAndDataByUnSock(s.fd[0], 0, "x", 0))},
        {"send: NULL data", fails(sendFdAndDataByUnSock(s.fd[0], 0, nullptr, 1))},
        {"send: fd -1", fails(sendFdAndDataByUnSock(s.fd[0], -1, "x", 1))},
        {"receive: NULL buffer", fails(recvFdAndDataByUnSock(s.fd[1], nullptr, &len))},
        {"receive: NULL length", fails(recvFdAndDataByUnSock(s.fd[1], buf, nullptr))},
        {"receive: length 0", fails(recvFdAndDataByUnSock(s.fd[1], buf, &zero))},
    };
    for (auto &c : cases)
        EXPECT_EQ(c.err, EINVAL) << c.what;
    EXPECT_EQ(fails(recv(s.fd[1], buf, 4, MSG_DONTWAIT)), EAGAIN);  // nothing was sent
}

TEST_F(FdPassing, DataAndTheControlMessageOnTheWire)
{
    // Received by hand: the data and one SCM_RIGHTS message for one int.
    anvil_test::Channel s;
    ASSERT_EQ(sendFdAndDataByUnSock(s.fd[0], STDIN_FILENO, "0123456789", 10), 10);
    char data[100];
    alignas(cmsghdr) unsigned char control[64] = {};
    iovec iov = {data, sizeof data};
    msghdr msg = message(&iov, control, sizeof control);
    ASSERT_EQ(recvmsg(s.fd[1], &msg, 0), 10);
    EXPECT_EQ(msg.msg_controllen, CMSG_SPACE(sizeof(int)));
    cmsghdr *c = CMSG_FIRSTHDR(&msg);
    ASSERT_TRUE(c);
    EXPECT_EQ(std::make_tuple(size_t(c->cmsg_len), c->cmsg_level, c->cmsg_type),
              std::make_tuple(size_t(CMSG_LEN(sizeof(int))), SOL_SOCKET, int(SCM_RIGHTS)));
    int got;
    std::memcpy(&got, CMSG_DATA(c), sizeof got);
    if (sizeof(void *) == 4) {  // the 32-bit layout: four words, 16 bytes
        std::vector<std::uint32_t> words(4);
        std::memcpy(words.data(), control, 16);
        EXPECT_EQ(words, (std::vector<std::uint32_t>{16, 1, 1, std::uint32_t(got)}));
        EXPECT_EQ(msg.msg_controllen, 16u);
    }
    close(got);
}

TEST_F(FdPassing, OfTwoDescriptorsTheFirstIsDeliveredAndTheOtherDropped)
{
    // A 64-bit control buffer padded to CMSG_SPACE would have room for both.
    // (qemu-user keeps those that do not fit a 32-bit guest's buffer.)
    if (sizeof(void *) != 8)
        GTEST_SKIP() << "no room for two descriptors in a 32-bit control buffer";
    anvil_test::Channel s, p(false);
    int two[2] = {p.fd[0], STDIN_FILENO};
    alignas(cmsghdr) unsigned char control[CMSG_SPACE(sizeof two)] = {};
    iovec iov = {(void *)"x", 1};
    msghdr msg = message(&iov, control, sizeof control);
    cmsghdr *c = CMSG_FIRSTHDR(&msg);
    c->cmsg_len = CMSG_LEN(sizeof two);
    c->cmsg_level = SOL_SOCKET;
    c->cmsg_type = SCM_RIGHTS;
    std::memcpy(CMSG_DATA(c), two, sizeof two);
    ASSERT_EQ(sendmsg(s.fd[0], &msg, 0), 1);
    anvil_test::Fd got{recvFdByUnSock(s.fd[1])};
    EXPECT_TRUE(anvil_test::same_file(got, p.fd[0]));
}
