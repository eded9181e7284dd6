#include <anvil/pidfile.h>
#include <gtest/gtest.h>

#include <sys/wait.h>

#include "support/scratch_dir.hpp"

namespace {

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

struct Outcome {
    pid_t pid;
    int error;  // 0 when the guard was won
};

// Children started at one moment on guard(name). They report, then stay alive
// (a lock they won still held) until the object is destroyed.
class Contenders {
public:
    Contenders(int n, int (*guard)(const char *), const std::string &name)
    {
        int go[2], report[2];
        EXPECT_EQ(pipe(go), 0);
        EXPECT_EQ(pipe(report), 0);
        EXPECT_EQ(pipe(hold_), 0);
        for (int i = 0; i < n; ++i) {
            pid_t pid = fork();
            if (pid == 0) {
                close(go[1]);
                close(hold_[1]);
                char c;
                (void)!read(go[0], &c, 1);
                Outcome o{getpid(), guard(name.c_str()) == 0 ? 0 : errno};
                (void)!write(report[1], &o, sizeof o);
                (void)!read(hold_[0], &c, 1);
                _exit(0);
            }
            pids_.push_back(pid);
        }
        close(go[0]);
        close(go[1]);  // all start
        close(report[1]);
        Outcome o;
        for (int i = 0; i < n && read(report[0], &o, sizeof o) == sizeof o; ++i)
            outcomes.push_back(o);
        close(report[0]);
        close(hold_[0]);
    }
    ~Contenders()
    {
        close(hold_[1]);
        for (pid_t pid : pids_)
            waitpid(pid, nullptr, 0);
    }
    std::vector<Outcome> outcomes;

private:
    int hold_[2];
    std::vector<pid_t> pids_;
};

}  // namespace

TEST_F(PidFile, OneWinnerPerRaceAndTheFileHoldsItsPid)
{
    for (int round = 0; round < 200; ++round) {
        Contenders race(2, ensureOnlyoneProcessEntity, "race");
        ASSERT_EQ(race.outcomes.size(), 2u);
        const Outcome &a = race.outcomes[0], &b = race.outcomes[1];
        ASSERT_TRUE((a.error == 0) != (b.error == 0)) << "round " << round << ": " << a.error << ", " << b.error;
        const Outcome &winner = a.error == 0 ? a : b, &loser = a.error == 0 ? b : a;
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
        Contenders twice(1, [](const char *n) { return ensureOnlyoneProcessEntity(n) ?: ensureOnlyoneProcessEntity(n); },
                         "stale");
        ASSERT_EQ(twice.outcomes.size(), 1u);
        EXPECT_EQ(twice.outcomes[0].error, EWOULDBLOCK);
        EXPECT_EQ(anvil_test::read_file("/var/run/stale.pid"), std::to_string(twice.outcomes[0].pid) + "\n");
    }
    Contenders later(1, ensureOnlyoneProcessEntity, "stale");
    EXPECT_EQ(later.outcomes[0].error, 0);
    EXPECT_EQ(anvil_test::read_file("/var/run/stale.pid"), std::to_string(later.outcomes[0].pid) + "\n");
}

TEST_F(PidFile, RunOnceWinsOnceAcrossProcesses)
{
    Contenders race(2, ensureProcessOnlyRunOnce, "once");
    ASSERT_EQ(race.outcomes.size(), 2u);
    const Outcome &a = race.outcomes[0], &b = race.outcomes[1];
    EXPECT_EQ(a.error + b.error, EEXIST) << "one winner, one EEXIST";
    EXPECT_EQ(anvil_test::read_file("/var/run/once.pid"), std::to_string(a.error ? b.pid : a.pid) + "\n");
    EXPECT_EQ(fails(ensureProcessOnlyRunOnce, "once"), EEXIST);
    EXPECT_EQ(mode_of("/var/run/once.pid"), 0644u);
}

TEST_F(PidFile, LongNamesAreCutToThePathBuffer)
{
    std::string name(115, 'n'), longest(242, 'm');
    EXPECT_EQ(Contenders(1, ensureOnlyoneProcessEntity, name).outcomes[0].error, 0);
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
