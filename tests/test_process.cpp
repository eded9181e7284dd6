#include <anvil/process.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <csignal>
#include <fstream>
#include <map>
#include <string>
#include <sys/prctl.h>

#include "support/children.hpp"
#include "support/test_support.hpp"

namespace {

using anvil_test::Children;

std::string comm_of(pid_t pid)
{
    std::string name;
    std::getline(std::ifstream("/proc/" + std::to_string(pid) + "/comm"), name);
    return name;
}

// A name of at most 15 characters, the kernel's limit, that no process of
// anyone else has; children take it so that killall reaches them alone.
std::string unique_name(const char *prefix)
{
    return prefix + std::to_string(getpid());
}

std::function<int()> named(const std::string &name)
{
    return [name] { return prctl(PR_SET_NAME, name.c_str()); };
}

}  // namespace

// The parsing of the stat text itself is the fuzz target's.
TEST(ProcessTable, VisitsEveryProcessOnceWithItsName)
{
    std::string name = unique_name("anvsc");
    Children children(3, named(name));
    std::multimap<int, std::string> seen;
    auto visit = [](void *arg, int pid, const char *n) { static_cast<decltype(seen) *>(arg)->emplace(pid, n); };
    int fds = anvil_test::open_fd_count();
    ASSERT_EQ(foreachProcess(visit, &seen), 0);
    EXPECT_EQ(anvil_test::open_fd_count(), fds);
    for (auto &[pid, n] : seen)
        ASSERT_EQ(seen.count(pid), 1u) << "pid " << pid << " visited twice";
    EXPECT_EQ(seen.find(getpid())->second, comm_of(getpid()));
    for (auto &child : children.outcomes)
        EXPECT_EQ(seen.find(child.pid)->second, name);
    errno = 0;
    EXPECT_EQ(foreachProcess(nullptr, nullptr), -1);
    EXPECT_EQ(errno, EINVAL);

    for (size_t size : {16, 4}) {
        char out[16];
        EXPECT_EQ(getProcessNameByPid(children.outcomes[0].pid, out, size), 0);
        EXPECT_EQ(out, name.substr(0, size - 1));
    }
    for (int gone : {INT_MAX, -1}) {
        char out[4];
        errno = 0;
        EXPECT_EQ(getProcessNameByPid(gone, out, sizeof out), -1);
        EXPECT_EQ(errno, ENOENT);
    }
}

TEST(Killall, SignalsEveryProcessOfTheName)
{
    std::string name = unique_name("anvkl");
    Children children(3, named(name)), bystander(1, named(unique_name("anvby")));

    EXPECT_EQ(killall(name.c_str(), 0), 0);
    for (auto &child : children.outcomes)
        EXPECT_EQ(waitpid(child.pid, nullptr, WNOHANG), 0) << "signal 0 changed nothing";
    EXPECT_EQ(killall((name + "x").c_str(), SIGTERM), 0);  // no such name

    EXPECT_EQ(killall(name.c_str(), SIGTERM), 0);
    for (auto &child : children.outcomes) {
        int status = 0;
        ASSERT_EQ(waitpid(child.pid, &status, 0), child.pid);
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM);
    }
    EXPECT_EQ(waitpid(bystander.outcomes[0].pid, nullptr, WNOHANG), 0);
}

TEST(Killall, ReportsTheFirstFailure)
{
    std::string name = unique_name("anvpm");
    Children children(2, named(name));
    errno = 0;
    EXPECT_EQ(killall(name.c_str(), 1000), -1);
    EXPECT_EQ(errno, EINVAL);

    if (geteuid() != 0)
        GTEST_SKIP() << "needs root to signal as another user";
    pid_t child = fork();
    if (child == 0)
        _exit(setuid(65534) == 0 && killall(name.c_str(), 0) == -1 && errno == EPERM ? 0 : 1);
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0) << "another user's processes give EPERM";
}
