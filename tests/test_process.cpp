#include <anvil/process.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstring>
#include <fstream>
#include <map>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "support/test_support.hpp"

namespace {

std::string comm_of(pid_t pid)
{
    std::string name;
    std::getline(std::ifstream("/proc/" + std::to_string(pid) + "/comm"), name);
    return name;
}

// Host `sleep` processes run under a name of the test's choosing (the kernel
// names a process after the file it executed, here a symbolic link), so that
// killall reaches no process of anyone else.
class Sleepers {
public:
    Sleepers(const std::string &name, int count)
    {
        char dir[] = "/tmp/anvil-procXXXXXX";
        dir_ = mkdtemp(dir);
        link_ = dir_ + "/" + name;
        EXPECT_EQ(symlink("/bin/sleep", link_.c_str()), 0);
        for (int i = 0; i < count; ++i) {
            pid_t pid = fork();
            if (pid == 0) {
                execl(link_.c_str(), link_.c_str(), "60", static_cast<char *>(nullptr));
                _exit(127);
            }
            pids.push_back(pid);
        }
        // Until they have executed, the children still carry this program's name.
        for (pid_t pid : pids)
            for (int i = 0; i < 1000 && comm_of(pid) != name.substr(0, 15); ++i)
                usleep(2000);
    }
    ~Sleepers()
    {
        for (pid_t pid : pids)
            if (kill(pid, SIGKILL) == 0)
                waitpid(pid, nullptr, 0);
        unlink(link_.c_str());
        rmdir(dir_.c_str());
    }
    std::vector<pid_t> pids;

private:
    std::string dir_, link_;
};

std::string unique_name(const char *prefix)  // at most 15 characters
{
    return prefix + std::to_string(getpid());
}

}  // namespace

TEST(ProcessTable, VisitsEveryProcessOnceWithItsName)
{
    std::string name = unique_name("anvsc");
    Sleepers sleepers(name, 3);
    std::multimap<int, std::string> seen;
    auto visit = [](void *arg, int pid, const char *n) { static_cast<decltype(seen) *>(arg)->emplace(pid, n); };
    int fds = anvil_test::open_fd_count();
    ASSERT_EQ(foreachProcess(visit, &seen), 0);
    EXPECT_EQ(anvil_test::open_fd_count(), fds);
    for (auto &[pid, n] : seen)
        ASSERT_EQ(seen.count(pid), 1u) << "pid " << pid << " visited twice";
    EXPECT_EQ(seen.find(getpid())->second, comm_of(getpid()));
    for (pid_t pid : sleepers.pids)
        EXPECT_EQ(seen.find(pid)->second, name);

    errno = 0;
    EXPECT_EQ(foreachProcess(nullptr, nullptr), -1);
    EXPECT_EQ(errno, EINVAL);
}

TEST(ProcessTable, NameByPid)
{
    std::string name = unique_name("anvnm");
    Sleepers sleepers(name, 1);
    pid_t pid = sleepers.pids[0];
    struct Case {
        size_t size;
        std::string expected;
    } cases[] = {{16, name}, {128, name}, {4, name.substr(0, 3)}, {1, ""}};
    for (const Case &c : cases) {
        char out[128];
        std::memset(out, '#', sizeof out);
        EXPECT_EQ(getProcessNameByPid(pid, out, c.size), 0);
        EXPECT_EQ(out, c.expected) << "size " << c.size;
    }
    char untouched[4] = {'#', '#', '#', '#'};
    EXPECT_EQ(getProcessNameByPid(pid, untouched, 0), 0);
    EXPECT_EQ(std::string(untouched, 4), "####");

    for (int gone : {INT_MAX, -1}) {
        errno = 0;
        EXPECT_EQ(getProcessNameByPid(gone, untouched, sizeof untouched), -1);
        EXPECT_EQ(errno, ENOENT);
    }

    Sleepers parenthesis("an)v(" + std::to_string(getpid() % 100000), 1);
    char out[16];
    ASSERT_EQ(getProcessNameByPid(parenthesis.pids[0], out, sizeof out), 0);
    EXPECT_STREQ(out, "an") << "the first ')' ends the name";
}

TEST(Killall, SignalsEveryProcessOfTheName)
{
    std::string name = unique_name("anvkl");
    Sleepers sleepers(name, 3);
    Sleepers bystander(unique_name("anvby"), 1);

    EXPECT_EQ(killall(name.c_str(), 0), 0);
    for (pid_t pid : sleepers.pids)
        EXPECT_EQ(waitpid(pid, nullptr, WNOHANG), 0) << "signal 0 changed nothing";
    EXPECT_EQ(killall((name + "x").c_str(), SIGTERM), 0);  // no such name

    EXPECT_EQ(killall(name.c_str(), SIGTERM), 0);
    for (pid_t pid : sleepers.pids) {
        int status = 0;
        ASSERT_EQ(waitpid(pid, &status, 0), pid);
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM);
    }
    EXPECT_EQ(waitpid(bystander.pids[0], nullptr, WNOHANG), 0);
}

TEST(Killall, ReportsTheFirstFailure)
{
    std::string name = unique_name("anvpm");
    Sleepers sleepers(name, 2);
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
