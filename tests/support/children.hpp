// Child processes that start a function at one moment, report how it went,
// then stay alive with whatever it took (a lock, a name) until the object is
// destroyed.
#pragma once

#include <gtest/gtest.h>

#include <cerrno>
#include <functional>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace anvil_test {

class Children {
public:
    struct Outcome {
        pid_t pid;
        int error;  // 0 when the function returned 0, else its errno
    };
    Children(int n, const std::function<int()> &run)
    {
        int go[2], report[2];
        EXPECT_TRUE(pipe(go) == 0 && pipe(report) == 0 && pipe(hold_) == 0);
        for (int i = 0; i < n; ++i) {
            pids_.push_back(fork());
            if (pids_.back() == 0) {
                char c;
                close(go[1]);
                close(hold_[1]);
                (void)!read(go[0], &c, 1);
                Outcome o{getpid(), run() == 0 ? 0 : errno};
                (void)!write(report[1], &o, sizeof o);
                (void)!read(hold_[0], &c, 1);
                _exit(0);
            }
        }
        close(go[0]);
        close(go[1]);  // all start
        close(report[1]);
        Outcome o;
        while (outcomes.size() < size_t(n) && read(report[0], &o, sizeof o) == sizeof o)
            outcomes.push_back(o);
        close(report[0]);
        close(hold_[0]);
    }
    ~Children()
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

}  // namespace anvil_test
