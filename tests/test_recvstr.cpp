#include <anvil/recvstr.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <fcntl.h>
#include <malloc.h>
#include <string>

#include "support/io_helpers.hpp"
#include "support/test_support.hpp"

using anvil_test::Channel;
using anvil_test::fails;

namespace {

// A string of n bytes counting its terminator, with no NUL before the end.
std::string text(size_t n)
{
    std::string s(n, '\0');
    for (size_t i = 0; i + 1 < n; ++i)
        s[i] = static_cast<char>('A' + i % 26 + i / 4096);
    return s;
}

void send_all(int fd, const std::string &s) { ASSERT_EQ(send(fd, s.data(), s.size(), 0), ssize_t(s.size())); }

}  // namespace

TEST(Recvstr, SizesAcrossBlockBoundaries)
{
    // Allocations: the first block; beyond it the stream, its table, one
    // chunk per further 4096 bytes and the gathered result. Each case is
    // sent whole, so that every recv fills what room is left, with each
    // allocation failing in turn and then none. (Strings that come one byte
    // per recv, or under signals, are in test_stress.cpp.)
    const struct { size_t n, blocks; int allocations; } cases[] = {
        {5, 1, 1}, {4095, 1, 1}, {4096, 1, 1}, {4097, 2, 5}, {8192, 2, 5}, {10001, 3, 6}};
    for (auto &c : cases)
        for (int ok = 0; ok <= c.allocations; ++ok) {
            SCOPED_TRACE(testing::Message() << c.n << ", ok " << ok);
            Channel s;
            std::string sent = text(c.n);
            send_all(s.fd[1], sent);
            anvil_test::fail_alloc_after(ok == c.allocations ? 1000 : ok);
            char *r = recvstr(s.fd[0]);
            int calls = anvil_test::alloc_calls();
            anvil_test::disarm_alloc_failure();
            if (ok < c.allocations) {
                EXPECT_TRUE(r == nullptr && errno == ENOMEM);
                continue;
            }
            EXPECT_EQ(calls, c.allocations);
            ASSERT_NE(r, nullptr);
            EXPECT_EQ(malloc_usable_size(r) / 4096, c.blocks);
            EXPECT_EQ(std::string(r, c.n), sent);
            free(r);
        }
}

TEST(Recvstr, EndsOnlyAtALastNulAndFailsWithoutOne)
{
    Channel s, idle;
    send_all(s.fd[1], std::string("ab\0cd\0", 6));  // only the last byte of a delivery ends the string
    char *r = recvstr(s.fd[0]);
    EXPECT_EQ(std::string(r ? r : "(null)", 6), std::string("ab\0cd\0", 6));
    free(r);
    send_all(s.fd[1], text(5000) + "y");  // a NUL inside, none last; then the peer closes
    shutdown(s.fd[1], SHUT_WR);
    EXPECT_EQ(fails(recvstr(s.fd[0])), ECONNRESET);
    ASSERT_EQ(fcntl(idle.fd[0], F_SETFL, O_NONBLOCK), 0);
    EXPECT_EQ(fails(recvstr(idle.fd[0])), EAGAIN);
}
