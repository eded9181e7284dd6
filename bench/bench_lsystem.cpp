// The lsystem round trip against a daemon that answers at once, beside the
// hand-written exchange it wraps (the floor) and the local ways of starting a
// process, each with the caller small and with 1 GiB of touched memory.
#include <anvil/lsystem.h>
#include <anvil/unsock.h>
#include <benchmark/benchmark.h>

#include "caller_memory.hpp"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sched.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

extern char **environ;

namespace {

constexpr char kCommand[] = "/usr/bin/true --quiet";  // 21 characters, 22 bytes sent

// A daemon process that reads each request up to its NUL and answers 0.
pid_t start_daemon()
{
    int l = listenUnTcpSock("execd");
    if (l < 0) {
        perror("listenUnTcpSock(execd)");
        std::exit(1);
    }
    pid_t pid = fork();
    if (pid == 0) {
        for (;;) {
            int c = accept(l, nullptr, nullptr);
            if (c < 0)
                continue;
            char buf[256];
            size_t got = 0;
            ssize_t r;
            while ((r = recv(c, buf + got, sizeof buf - got, 0)) > 0) {
                got += size_t(r);
                if (std::memchr(buf, 0, got))
                    break;
            }
            std::int32_t reply = 0;
            send(c, &reply, sizeof reply, MSG_NOSIGNAL);
            close(c);
        }
    }
    close(l);
    return pid;
}

void BM_lsystem(benchmark::State &state)
{
    with_memory(state);
    for (auto _ : state)
        benchmark::DoNotOptimize(lsystem(kCommand));
}

// The floor: the same exchange written by hand.
void BM_hand_written_exchange(benchmark::State &state)
{
    with_memory(state);
    sockaddr_un addr{};
    addr.sun_family = AF_UNIX;
    std::memcpy(addr.sun_path + 1, "execd", 5);
    for (auto _ : state) {
        int fd = socket(AF_UNIX, SOCK_STREAM, 0);
        connect(fd, reinterpret_cast<sockaddr *>(&addr), 8);
        send(fd, kCommand, sizeof kCommand, MSG_NOSIGNAL);
        std::int32_t reply;
        recv(fd, &reply, sizeof reply, MSG_WAITALL);
        close(fd);
        benchmark::DoNotOptimize(reply);
    }
}

void BM_system(benchmark::State &state)
{
    with_memory(state);
    for (auto _ : state)
        benchmark::DoNotOptimize(std::system("true"));
}

void BM_posix_spawn(benchmark::State &state)
{
    with_memory(state);
    char *argv[] = {const_cast<char *>("/bin/true"), nullptr};
    for (auto _ : state) {
        pid_t pid;
        posix_spawn(&pid, "/bin/true", nullptr, nullptr, argv, environ);
        int status;
        waitpid(pid, &status, 0);
    }
}

void BM_fork_exec(benchmark::State &state)
{
    with_memory(state);
    for (auto _ : state) {
        pid_t pid = fork();
        if (pid == 0) {
            execl("/bin/true", "true", static_cast<char *>(nullptr));
            _exit(127);
        }
        int status;
        waitpid(pid, &status, 0);
    }
}

BENCHMARK(BM_hand_written_exchange)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_lsystem)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_system)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_posix_spawn)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_fork_exec)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);

}  // namespace

int main(int argc, char **argv)
{
    // A private network namespace keeps the stand-in daemon away from a real one.
    if (unshare(CLONE_NEWNET) != 0)
        std::fprintf(stderr, "note: no private network namespace; using the shared one\n");
    pid_t daemon = start_daemon();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    kill(daemon, SIGKILL);
    waitpid(daemon, nullptr, 0);
    return 0;
}
