#include <anvil/vectored_io.h>
#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <fcntl.h>
#include <random>
#include <thread>
#include <vector>

#include "support/io_helpers.hpp"
#include "support/scratch_dir.hpp"

using anvil_test::Channel;

namespace {

bool same(const std::vector<iovec> &a, const std::vector<iovec> &b)
{
    return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof a[0]) == 0;
}

}  // namespace

TEST(Vectored, ReadsStopAtEndOfFileAndKeepTheCallersVector)
{
    Channel p(false);
    ASSERT_EQ(write(p.fd[1], "abcdef", 6), 6);
    p.close_end(1);
    char a[4] = {}, b[4] = {};
    std::vector<iovec> v = {{a, 4}, {b, 4}}, before = v;
    EXPECT_EQ(readvn(p.fd[0], v.data(), 2), 6);
    EXPECT_EQ(std::string(a, 4) + std::string(b, 2), "abcdef");
    EXPECT_TRUE(same(v, before));
    EXPECT_EQ(readvn(p.fd[0], v.data(), 2), 0);
}

TEST(Vectored, SmallPiecesOnTheOtherEndStillMoveWholeVectors)
{
    // 1 MiB over segments of random lengths (empty ones included), while the
    // other end of the pipe moves one byte and a few KiB by turns, so that
    // transfers end anywhere in a segment. (One byte per call throughout
    // takes minutes under emulation.)
    std::mt19937 rng(11);
    std::vector<unsigned char> data(1 << 20), got(data.size());
    for (auto &c : data)
        c = static_cast<unsigned char>(rng());
    for (bool reading : {true, false}) {
        Channel p(false);
        std::fill(got.begin(), got.end(), 0);
        std::vector<unsigned char> &buf = reading ? got : data;
        std::vector<iovec> v;
        for (size_t at = 0, len; at < buf.size(); at += len) {
            len = std::min<size_t>(rng() % 3 == 0 ? 0 : rng() % 40000, buf.size() - at);
            v.push_back({buf.data() + at, len});
        }
        std::vector<iovec> before = v;
        std::thread peer([&] {
            size_t piece = 1;
            for (size_t i = 0; i < data.size(); i += piece) {
                piece = piece == 1 ? std::min<size_t>(1 + rng() % 8192, data.size() - i) : 1;
                ssize_t r = reading ? write(p.fd[1], &data[i], piece) : read(p.fd[0], &got[i], piece);
                ASSERT_GT(r, 0);
                piece = size_t(r);
            }
        });
        EXPECT_EQ((reading ? readvn : writevn)(p.fd[reading ? 0 : 1], v.data(), int(v.size())), ssize_t(data.size()));
        peer.join();
        EXPECT_TRUE(got == data) << (reading ? "readvn" : "writevn");
        EXPECT_TRUE(same(v, before));
    }
}

using VectoredFull = anvil_test::ScratchTest;

TEST_F(VectoredFull, AFullDeviceEndsAWriteWithTheBytesWritten)
{
    std::string dir = mount_scratch("small", 4096);
    if (dir.empty())
        GTEST_SKIP() << "no private tmpfs (needs CAP_SYS_ADMIN)";
    int fd = open((dir + "/f").c_str(), O_WRONLY | O_CREAT, 0600);
    ASSERT_GE(fd, 0);
    std::vector<char> fill(4096 - 5, 'x');
    ASSERT_EQ(write(fd, fill.data(), fill.size()), ssize_t(fill.size()));
    iovec v[3] = {{(void *)"abc", 3}, {nullptr, 0}, {(void *)"defgh", 5}};
    errno = 0;
    EXPECT_EQ(writevn(fd, v, 3), 5);  // a short count, not -1
    EXPECT_EQ(errno, ENOSPC);
    close(fd);
}

TEST(Vectored, EntryCounts)
{
    Channel p(false);
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
