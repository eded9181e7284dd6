#include <anvil/pidfile.h>
#include <gtest/gtest.h>

#include "support/children.hpp"
#include "support/scratch_dir.hpp"

namespace {

using namespace anvil_test;

// Each test gets an empty tmpfs of its own on /var/run, seen only inside this
// process's private mount namespace and its children. A full device is in
// test_stress.cpp.
class PidFile : public ScratchTest {
protected:
    void SetUp() override
    {
        ScratchTest::SetUp();
        ANVIL_NEED_MOUNT(mount_scratch("/var/run", 64 << 10));
    }
};

// guard(name), for children to race on.
std::function<int()> on(int (*guard)(const char *), const std::string &name)
{
    return [guard, name] { return guard(name.c_str()); };
}

// The lock decides while its holder runs, whatever a stale file holds; the
// exclusive creation decides for good.
TEST_F(PidFile, OneWinnerPerRaceAndTheFileHoldsItsPid)
{
    const struct {
        int (*guard)(const char *);
        const char *name, *stale;
        int lost;
    } guards[] = {{ensureOnlyoneProcessEntity, "lock", "123456789012345\nleftover", EWOULDBLOCK},
                  {ensureProcessOnlyRunOnce, "once", nullptr, EEXIST}};
    for (const auto &g : guards) {
        const std::string file = "/var/run/" + std::string(g.name) + ".pid";
        for (int round = 0; round < 100; ++round) {
            unlink(file.c_str());
            if (g.stale && round % 2 == 0)  // the last round creates the file
                write_file(file, g.stale);
            Children race(2, on(g.guard, g.name));
            ASSERT_EQ(race.outcomes.size(), 2u);
            const auto &a = race.outcomes[0], &b = race.outcomes[1];
            const auto &winner = a.error == 0 ? a : b, &loser = a.error == 0 ? b : a;
            ASSERT_EQ(winner.error, 0) << g.name << " round " << round;
            ASSERT_EQ(loser.error, g.lost) << g.name << " round " << round;
            ASSERT_EQ(read_file(file), std::to_string(winner.pid) + "\n") << g.name << " round " << round;
        }
        EXPECT_EQ(mode_of(file), 0644u) << g.name;
    }
    EXPECT_EQ(fails(ensureProcessOnlyRunOnce("once")), EEXIST) << "once, for good";
}

TEST_F(PidFile, TwiceInOneProcessLongNamesAndOpenFailures)
{
    std::string name(115, 'n'), longest(242, 'm');
    // The second open conflicts with the first, in one process as in two.
    auto twice = [&] { return ensureOnlyoneProcessEntity(name.c_str()) ?: ensureOnlyoneProcessEntity(name.c_str()); };
    EXPECT_EQ(Children(1, twice).outcomes[0].error, EWOULDBLOCK);
    EXPECT_EQ(ensureProcessOnlyRunOnce(name.c_str()), 0);
    EXPECT_EQ(ensureProcessOnlyRunOnce((longest + "x").c_str()), 0);
    for (const std::string &file : {name + ".pi", name + ".pid", longest + "x.pi"})  // 127, 128, 255
        EXPECT_EQ(access(("/var/run/" + file).c_str(), F_OK), 0) << file;
    for (auto guard : {ensureOnlyoneProcessEntity, ensureProcessOnlyRunOnce})
        EXPECT_EQ(fails(guard("no-such-dir/x")), ENOENT);
}

}  // namespace
