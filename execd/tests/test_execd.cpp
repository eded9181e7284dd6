// anvil-execd as its clients and its administrator see it: started as a
// program in a private network namespace (and a private /var/run), driven
// through lsystem and plain sockets, stopped with signals.
#include <anvil/lsystem.h>
#include <anvil/unsock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/scratch_dir.hpp"

extern char **environ;

namespace {

using namespace std::chrono_literals;

using anvil_test::read_file;

// True when /proc no longer shows the process, or only as a zombie that
// is somebody else's (reparented) to reap.
bool gone(pid_t pid)
{
    std::string stat = read_file("/proc/" + std::to_string(pid) + "/stat");
    auto paren = stat.rfind(')');
    return stat.empty() || (paren != std::string::npos && stat[paren + 2] == 'Z');
}

// One daemon, started from the build tree (through qemu for armhf) with a
// log in a scratch directory, and killed if a test leaves it running.
class Daemon {
public:
    explicit Daemon(const std::string &dir, std::vector<std::string> args = {})
        : log_path_(dir + "/execd.log")
    {
        std::vector<std::string> words;
        std::istringstream cmd(ANVIL_EXECD_COMMAND);
        for (std::string w; cmd >> w;)
            words.push_back(w);
        words.insert(words.end(), {"--log", log_path_});
        words.insert(words.end(), args.begin(), args.end());
        std::vector<char *> argv;
        for (auto &w : words)
            argv.push_back(w.data());
        argv.push_back(nullptr);
        if (posix_spawnp(&pid_, argv[0], nullptr, nullptr, argv.data(), environ) != 0)
            pid_ = -1;
    }
    ~Daemon()
    {
        if (pid_ > 0) {
            kill(pid_, SIGKILL);
            waitpid(pid_, nullptr, 0);
        }
    }

    // Waits until "execd" takes connections; false if the daemon ended.
    bool ready()
    {
        for (int i = 0; pid_ > 0 && i < 1000; ++i) {
            int fd = connectUnSock("execd", SOCK_STREAM);
            if (fd >= 0) {
                close(fd);
                return true;
            }
            if (waitpid(pid_, &status_, WNOHANG) == pid_) {
                pid_ = -1;
                return false;
            }
            std::this_thread::sleep_for(20ms);
        }
        return false;
    }

    // Sends sig (none for 0) and returns the wait status.
    int stop(int sig = SIGTERM)
    {
        if (pid_ > 0) {
            if (sig)
                kill(pid_, sig);
            waitpid(pid_, &status_, 0);
            pid_ = -1;
        }
        return status_;
    }

    pid_t pid() const { return pid_; }
    std::string log() const { return read_file(log_path_); }
    const std::string &log_path() const { return log_path_; }

private:
    std::string log_path_;
    pid_t pid_ = -1;
    int status_ = -1;
};

// A scratch directory per test in a private network namespace (abstract
// socket names) with a private /var/run (the pid-file lock).
class Execd : public anvil_test::ScratchTest {
protected:
    void SetUp() override
    {
        static const bool isolated = anvil_test::enter_private_netns() &&
                                     anvil_test::enter_private_mountns() &&
                                     anvil_test::mount_tmpfs("/var/run", 1 << 20);
        if (!isolated)
            GTEST_SKIP() << "no private namespaces (needs CAP_SYS_ADMIN)";
        ScratchTest::SetUp();
        dir_ = std::filesystem::path(path("x")).parent_path();
    }
    void TearDown() override
    {
        if (!IsSkipped())
            ScratchTest::TearDown();
    }

    std::string dir_;
};

TEST_F(Execd, AnswersAsSystemDoes)
{
    Daemon d(dir_);
    ASSERT_TRUE(d.ready());
    for (const char *command : {"true", "exit 3", "kill -9 $$", "no-such-program-here 2>/dev/null"}) {
        SCOPED_TRACE(command);
        EXPECT_EQ(lsystem(command), std::system(command));
    }
    EXPECT_EQ(d.stop(), 0);
}

TEST_F(Execd, ManyClientsEachGetTheirOwnResult)
{
    constexpr int kClients = 200;
    Daemon d(dir_, {"--jobs", "16"});
    ASSERT_TRUE(d.ready());
    std::vector<int> fds;
    for (int i = 0; i < kClients; ++i) {
        fds.push_back(lsystema(("exit " + std::to_string(i)).c_str()));
        ASSERT_GE(fds.back(), 0) << strerror(errno);
    }
    for (int i = kClients - 1; i >= 0; --i) {
        int status = waitlsystema(fds[i]);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == i) << i << ": " << status;
        close(fds[i]);
    }
    EXPECT_EQ(d.stop(), 0);
}

TEST_F(Execd, ServesOnlyAllowedUsers)
{
    struct Case {
        std::vector<std::string> args;
        bool served;
    };
    for (const Case &c : {Case{{}, false}, Case{{"--allow-uid", "65534"}, true},
                          Case{{"--allow-gid", "65534"}, true}}) {
        std::string marker = dir_ + "/ran";
        chmod(dir_.c_str(), 0777);
        Daemon d(dir_, c.args);
        ASSERT_TRUE(d.ready());
        pid_t child = fork();
        if (child == 0) {
            if (setgid(65534) != 0 || setuid(65534) != 0)
                _exit(2);
            int r = lsystem(("touch " + marker + "; exit 7").c_str());
            if (c.served)
                _exit(WIFEXITED(r) && WEXITSTATUS(r) == 7 ? 0 : 1);
            _exit(r == -1 && (errno == ECONNRESET || errno == EPIPE) ? 0 : 1);
        }
        int status;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0);
        EXPECT_EQ(access(marker.c_str(), F_OK) == 0, c.served);
        EXPECT_EQ(d.stop(), 0);
        EXPECT_EQ(d.log().find("refused uid 65534") != std::string::npos, !c.served);
        unlink(marker.c_str());
        unlink(d.log_path().c_str());
    }
}

TEST_F(Execd, MisbehavingClientsAreDroppedWithoutBlockingOthers)
{
    Daemon d(dir_, {"--read-timeout", "1"});
    ASSERT_TRUE(d.ready());
    int silent = connectUnSock("execd", SOCK_STREAM);
    int too_long = connectUnSock("execd", SOCK_STREAM);
    ASSERT_GE(silent, 0);
    ASSERT_GE(too_long, 0);
    std::string request(257, 'x');  // no NUL within 256 bytes
    send(too_long, request.data(), request.size(), MSG_NOSIGNAL);
    EXPECT_EQ(lsystem("true"), 0);  // served while the silent one waits
    char c;
    EXPECT_LE(recv(too_long, &c, 1, 0), 0);
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(recv(silent, &c, 1, 0), 0);  // closed once its time is up
    EXPECT_LT(std::chrono::steady_clock::now() - start, 10s);
    close(silent);
    close(too_long);
    EXPECT_EQ(d.stop(), 0);
    EXPECT_NE(d.log().find("no NUL within 256 bytes"), std::string::npos);
    EXPECT_NE(d.log().find("no command within 1000 ms"), std::string::npos);
}

TEST_F(Execd, TimeLimitKillsTheWholeGroup)
{
    Daemon d(dir_, {"--time-limit", "0.5"});
    ASSERT_TRUE(d.ready());
    std::string pidfile = dir_ + "/bg";
    auto start = std::chrono::steady_clock::now();
    int status = lsystem(("sleep 30 & echo $! > " + pidfile + "; wait").c_str());
    EXPECT_LT(std::chrono::steady_clock::now() - start, 20s);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) << status;
    pid_t background = std::atoi(read_file(pidfile).c_str());
    ASSERT_GT(background, 0);
    for (int i = 0; i < 100 && !gone(background); ++i)
        std::this_thread::sleep_for(20ms);
    EXPECT_TRUE(gone(background));
    EXPECT_EQ(d.stop(), 0);
}

TEST_F(Execd, SigtermLetsRunningCommandsFinishThenKillsAndReaps)
{
    Daemon d(dir_, {"--jobs", "3", "--grace", "1.5"});
    ASSERT_TRUE(d.ready());
    std::string pids = dir_ + "/pids";
    std::string forever = "echo $$ >> " + pids + "; exec sleep 30";
    std::string go = dir_ + "/go";
    std::string finishing = "while [ ! -e " + go + " ]; do sleep 0.05; done; exit 5";
    std::vector<int> fds = {lsystema(finishing.c_str()), lsystema(forever.c_str()),
                            lsystema(forever.c_str()), lsystema("exit 6")};  // the last one queued
    auto started = [&] {
        std::string text = read_file(pids);
        return std::count(text.begin(), text.end(), '\n');
    };
    for (int i = 0; i < 500 && started() < 2; ++i)
        std::this_thread::sleep_for(10ms);
    kill(d.pid(), SIGTERM);
    std::ofstream{go};  // lets the first command finish within the grace period
    EXPECT_EQ(d.stop(0), 0);

    EXPECT_EQ(waitlsystema(fds[0]), 5 << 8);
    for (int i : {1, 2}) {
        int status = waitlsystema(fds[i]);
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) << status;
    }
    EXPECT_EQ(waitlsystema(fds[3]), -1);  // never started: closed
    EXPECT_EQ(errno, ECONNRESET);
    for (int fd : fds)
        close(fd);
    std::istringstream pid_lines(read_file(pids));
    int n = 0;
    for (pid_t pid; pid_lines >> pid; ++n)
        EXPECT_NE(access(("/proc/" + std::to_string(pid)).c_str(), F_OK), 0) << "not reaped";
    EXPECT_EQ(n, 2);
}

TEST_F(Execd, OutputToTheLogAndReopenOnSighup)
{
    Daemon d(dir_, {"--output", "log"});
    ASSERT_TRUE(d.ready());
    EXPECT_EQ(lsystem("echo to-the-log; echo and-errors >&2"), 0);
    ASSERT_EQ(rename(d.log_path().c_str(), (d.log_path() + ".old").c_str()), 0);
    kill(d.pid(), SIGHUP);
    for (int i = 0; i < 500 && d.log().empty(); ++i)
        std::this_thread::sleep_for(10ms);
    EXPECT_NE(d.log().find("log reopened"), std::string::npos);
    EXPECT_EQ(d.stop(), 0);
    std::string old = read_file(d.log_path() + ".old");
    EXPECT_NE(old.find("output: to-the-log"), std::string::npos) << old;
    EXPECT_NE(old.find("output: and-errors"), std::string::npos) << old;
}

TEST_F(Execd, SecondInstanceExitsWithStatus3)
{
    Daemon first(dir_);
    ASSERT_TRUE(first.ready());
    Daemon second(dir_);
    EXPECT_EQ(second.stop(0), 3 << 8);
    EXPECT_EQ(first.stop(), 0);
}

}  // namespace
