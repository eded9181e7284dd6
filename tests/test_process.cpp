#include <anvil/process.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <csignal>
#include <string>
#include <sys/prctl.h>

#include "support/children.hpp"
#include "support/scratch_dir.hpp"

namespace {

using anvil_test::Children;
using anvil_test::fails;

// Children that take a name that no process of anyone else has, of at most
// 15 characters, the kernel's limit, so that killall reaches them alone.
struct Named : Children {
    const std::string name;
    Named(int n, const char *prefix) : Named(n, prefix + std::to_string(getpid())) {}
    Named(int n, const std::string &unique)
        : Children(n, [unique] { return prctl(PR_SET_NAME, unique.c_str()); }), name(unique)
    {
    }
};

// Which processes a scan visits, and with what pid and name, shows in what
// killall reaches below; the parsing of the stat text is the fuzz target's,
// and failures of the calls underneath are the reliability matrix's.
TEST(ProcessTable, NamesOneProcessAndRefusesWhatItCannot)
{
    Named child(1, "anvsc");
    char out[16];
    for (size_t size : {16, 4}) {
        EXPECT_EQ(getProcessNameByPid(child.outcomes[0].pid, out, size), 0);
        EXPECT_EQ(out, child.name.substr(0, size - 1));
    }
    EXPECT_EQ(fails(getProcessNameByPid(INT_MAX, out, sizeof out)), ENOENT);
    EXPECT_EQ(fails(foreachProcess(nullptr, nullptr)), EINVAL);
}

TEST(Killall, SignalsEveryProcessOfTheNameAndReportsTheFirstFailure)
{
    // Names that one extends: only the whole name matches.
    Named children(3, "anvkl"), bystander(1, children.name + "x");
    const char *name = children.name.c_str();
    EXPECT_EQ(killall(name, 0), 0);
    EXPECT_EQ(killall(children.name.substr(0, children.name.size() - 1).c_str(), SIGTERM), 0);
    EXPECT_EQ(fails(killall(name, 1000)), EINVAL);
    for (auto &child : children.outcomes)
        EXPECT_EQ(waitpid(child.pid, nullptr, WNOHANG), 0) << "nothing was sent yet";
    if (geteuid() == 0) {
        // Another user's processes give EPERM.
        pid_t child = fork();
        if (child == 0)
            _exit(setuid(65534) == 0 && fails(killall(name, 0)) == EPERM ? 0 : 1);
        int status = -1;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0) << "as another user";
    }

    EXPECT_EQ(killall(name, SIGTERM), 0);
    for (auto &child : children.outcomes) {
        int status = 0;
        ASSERT_EQ(waitpid(child.pid, &status, 0), child.pid);
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM);
    }
    EXPECT_EQ(waitpid(bystander.outcomes[0].pid, nullptr, WNOHANG), 0);
}

}  // namespace
