#include <anvil/vectored_io.h>
#include <gtest/gtest.h>

#include <climits>
#include <vector>

#include "support/io_helpers.hpp"

// Whole vectors under signals, short transfers and a full disk are moved in
// test_stress.cpp; these are the entry counts.
TEST(Vectored, EntryCounts)
{
    anvil_test::Channel p(false);
    char b = 0;
    std::vector<iovec> many(2000, iovec{&b, 1}), empty(3, iovec{&b, 0});
    // Entries out of range fail before any call; none at all return 0
    // without one (on no descriptor); IOV_MAX is the most allowed.
    struct Case { const iovec *v; int entries; ssize_t result; int err; } cases[] = {
        {many.data(), -1, -1, EINVAL}, {many.data(), 2000, -1, EINVAL}, {many.data(), 0, 0, 0},
        {empty.data(), 3, 0, 0}, {many.data(), IOV_MAX, IOV_MAX, 0}};
    for (bool reading : {false, true})  // what is written is read back
        for (const Case &c : cases) {
            errno = 0;
            int fd = c.entries == 0 ? -1 : p.fd[reading ? 0 : 1];
            EXPECT_EQ((reading ? readvn : writevn)(fd, c.v, c.entries), c.result) << reading << c.entries;
            EXPECT_EQ(errno, c.err) << reading << c.entries;
        }
}
