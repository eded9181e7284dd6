// lsystem("true") end to end through anvil-execd, beside running the same
// command in the caller (system, posix_spawn + waitpid), with the caller
// small and holding 1 GiB; then 1,000 commands from 8 concurrent clients.
#include <anvil/lsystem.h>
#include <anvil/unsock.h>
#include <benchmark/benchmark.h>

#include "caller_memory.hpp"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sched.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

extern char **environ;

namespace {

constexpr int kClients = 8;
constexpr int kCommands = 1000;

// The daemon's own work, done in the caller: /bin/sh -c true.
int spawn_sh_true()
{
    char sh[] = "sh", c[] = "-c", t[] = "true";
    char *argv[] = {sh, c, t, nullptr};
    pid_t pid;
    int status = -1;
    if (posix_spawn(&pid, "/bin/sh", nullptr, nullptr, argv, environ) == 0)
        waitpid(pid, &status, 0);
    return status;
}

void BM_lsystem_execd(benchmark::State &state)
{
    with_memory(state);
    for (auto _ : state)
        if (lsystem("true") != 0)
            state.SkipWithError("lsystem failed");
}

void BM_system(benchmark::State &state)
{
    with_memory(state);
    for (auto _ : state)
        benchmark::DoNotOptimize(std::system("true"));
}

void BM_posix_spawn_sh(benchmark::State &state)
{
    with_memory(state);
    for (auto _ : state)
        benchmark::DoNotOptimize(spawn_sh_true());
}

// 1,000 commands per iteration, spread over 8 client threads.
template <int (*run)()>
void throughput(benchmark::State &state)
{
    hold_memory(0);
    for (auto _ : state) {
        std::vector<std::thread> clients;
        for (int i = 0; i < kClients; ++i)
            clients.emplace_back([] {
                for (int j = 0; j < kCommands / kClients; ++j)
                    benchmark::DoNotOptimize(run());
            });
        for (auto &t : clients)
            t.join();
    }
    state.SetItemsProcessed(state.iterations() * kCommands);
}

int lsystem_true() { return lsystem("true"); }

BENCHMARK(BM_lsystem_execd)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(BM_posix_spawn_sh)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(BM_system)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(throughput<lsystem_true>)->Name("BM_1000_commands_8_clients/execd")
    ->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(throughput<spawn_sh_true>)->Name("BM_1000_commands_8_clients/posix_spawn")
    ->Unit(benchmark::kMillisecond)->UseRealTime();

// A private anvil-execd: its own network namespace (for "execd") and mount
// namespace (for /var/run), logging to a scratch file.
pid_t start_daemon(char *log_path)
{
    if (unshare(CLONE_NEWNET | CLONE_NEWNS) != 0 ||
        mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        mount("tmpfs", "/var/run", "tmpfs", 0, "size=64k") != 0) {
        std::perror("private namespaces (run as root)");
        std::exit(1);
    }
    char path[] = ANVIL_EXECD_PATH, log_opt[] = "--log";
    char *argv[] = {path, log_opt, log_path, nullptr};
    pid_t pid;
    if (posix_spawn(&pid, path, nullptr, nullptr, argv, environ) != 0)
        std::exit(1);
    for (int i = 0; i < 500; ++i) {
        int fd = connectUnSock("execd", SOCK_STREAM);
        if (fd >= 0) {
            close(fd);
            return pid;
        }
        usleep(10000);
    }
    std::fprintf(stderr, "anvil-execd did not start\n");
    std::exit(1);
}

}  // namespace

int main(int argc, char **argv)
{
    char log_path[] = "/tmp/bench-execd-XXXXXX";
    int log_fd = mkstemp(log_path);
    if (log_fd < 0)
        return 1;
    close(log_fd);
    pid_t daemon = start_daemon(log_path);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    kill(daemon, SIGTERM);
    int status;
    waitpid(daemon, &status, 0);
    unlink(log_path);
    return status == 0 ? 0 : 1;
}
