#include <anvil/pidfile.h>
#include <gtest/gtest.h>

#include <sys/wait.h>

#include "support/children.hpp"
#include "support/scratch_dir.hpp"

namespace {

using anvil_test::Children;
using anvil_test::mode_of;

// Each test gets an empty tmpfs of its own on /var/run, seen only inside this
// process's private mount namespace and its children.
class PidFile : public ::testing::Test {
protected:
    void SetUp() override
    {
        static const bool isolated = anvil_test::enter_private_mountns();
        if (!isolated || !anvil_test::mount_tmpfs("/var/run", 64 * 1024))
            GTEST_SKIP() << "no private mount namespace with a tmpfs on /var/run (needs root)";
        mask_ = umask(0);
        fds_ = anvil_test::open_fd_count();
    }
    void TearDown() override
    {
        if (IsSkipped())
            return;
        umask(mask_);
        EXPECT_EQ(anvil_test::open_fd_count(), fds_) << "descriptor leaked";
        EXPECT_EQ(umount("/var/run"), 0);
    }

private:
    mode_t mask_ = 0;
    int fds_ = 0;
};

// The errno a guard fails with (errno cleared first), or 0 when it succeeds.
int fails(int (*guard)(const char *), const std::string &name)
{
    errno = 0;
    return anvil_test::failure(guard(name.c_str()));
}

// guard(name), for children to race on.
std::function<int()> on(int (*guard)(const char *), const std::string &name)
{
    return [guard, name] { return guard(name.c_str()); };
}

}  // namespace

TEST_F(PidFile, OneWinnerPerRaceAndTheFileHoldsItsPid)
{
    for (int round = 0; round < 200; ++round) {
        Children race(2, on(ensureOnlyoneProcessEntity, "race"));
        ASSERT_EQ(race.outcomes.size(), 2u);
        const auto &a = race.outcomes[0], &b = race.outcomes[1];
        ASSERT_TRUE((a.error == 0) != (b.error == 0)) << "round " << round << ": " << a.error << ", " << b.error;
        const auto &winner = a.error == 0 ? a : b, &loser = a.error == 0 ? b : a;
        EXPECT_EQ(loser.error, EWOULDBLOCK);
        ASSERT_EQ(anvil_test::read_file("/var/run/race.pid"), std::to_string(winner.pid) + "\n") << "round " << round;
    }
    EXPECT_EQ(mode_of("/var/run/race.pid"), 0644u);
}

TEST_F(PidFile, LockIsPerOpenFileAndStaleFilesDoNotBlock)
{
    std::ofstream("/var/run/stale.pid") << "123456789012345\nleftover";
    {
        // Two calls in one process: the second open conflicts with the first.
        Children twice(1, [] { return ensureOnlyoneProcessEntity("stale") ?: ensureOnlyoneProcessEntity("stale"); });
        ASSERT_EQ(twice.outcomes.size(), 1u);
        EXPECT_EQ(twice.outcomes[0].error, EWOULDBLOCK);
        EXPECT_EQ(anvil_test::read_file("/var/run/stale.pid"), std::to_string(twice.outcomes[0].pid) + "\n");
    }
    Children later(1, on(ensureOnlyoneProcessEntity, "stale"));
    EXPECT_EQ(later.outcomes[0].error, 0);
    EXPECT_EQ(anvil_test::read_file("/var/run/stale.pid"), std::to_string(later.outcomes[0].pid) + "\n");
}

TEST_F(PidFile, RunOnceWinsOnceAcrossProcesses)
{
    Children race(2, on(ensureProcessOnlyRunOnce, "once"));
    ASSERT_EQ(race.outcomes.size(), 2u);
    const auto &a = race.outcomes[0], &b = race.outcomes[1];
    EXPECT_EQ(a.error + b.error, EEXIST) << "one winner, one EEXIST";
    EXPECT_EQ(anvil_test::read_file("/var/run/once.pid"), std::to_string(a.error ? b.pid : a.pid) + "\n");
    EXPECT_EQ(fails(ensureProcessOnlyRunOnce, "once"), EEXIST);
    EXPECT_EQ(mode_of("/var/run/once.pid"), 0644u);
}

TEST_F(PidFile, LongNamesAreCutToThePathBuffer)
{
    std::string name(115, 'n'), longest(242, 'm');
    EXPECT_EQ(Children(1, on(ensureOnlyoneProcessEntity, name)).outcomes[0].error, 0);
    EXPECT_EQ(ensureProcessOnlyRunOnce(name.c_str()), 0);
    EXPECT_EQ(ensureProcessOnlyRunOnce((longest + "x").c_str()), 0);
    for (const std::string &path : {name + ".pi", name + ".pid", longest + "x.pi"})  // 127, 128, 255
        EXPECT_EQ(access(("/var/run/" + path).c_str(), F_OK), 0) << path;
}

TEST_F(PidFile, FailuresToOpenKeepTheirErrno)
{
    // A full device is in test_stress.cpp.
    for (auto guard : {ensureOnlyoneProcessEntity, ensureProcessOnlyRunOnce})
        EXPECT_EQ(fails(guard, "no-such-dir/x"), ENOENT);
    ASSERT_EQ(mount(nullptr, "/var/run", nullptr, MS_REMOUNT | MS_RDONLY, nullptr), 0);
    for (auto guard : {ensureOnlyoneProcessEntity, ensureProcessOnlyRunOnce})
        EXPECT_EQ(fails(guard, "ro"), EROFS);
}
