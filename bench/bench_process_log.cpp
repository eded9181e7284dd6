// The rotating log beside a line-buffered stdio stream and a bare write of a
// preformatted line (the floor: one system call a line), and the /proc scan
// and killall beside the usual opendir + fopen/fscanf loop.
#include <anvil/file_log.h>
#include <anvil/process.h>
#include <benchmark/benchmark.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <string>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr int kLines = 100000;
constexpr char kChildName[] = "anvbench-kid";

// A file in a directory of its own, both removed afterwards.
struct TempFile {
    TempFile()
    {
        char tmpl[] = "/tmp/anvil-benchXXXXXX";
        dir = mkdtemp(tmpl);
        path = dir + "/bench.log";
    }
    ~TempFile()
    {
        unlink(path.c_str());
        rmdir(dir.c_str());
    }
    std::string dir, path;
};

void BM_file_log_append(benchmark::State &state)
{
    TempFile file;
    const std::string &path = file.path;
    file_log *log = file_log_create(path.c_str(), 3, 0);
    int i = 0;
    for (auto _ : state)
        file_log_append(log, "request %d from %s", ++i, "10.0.0.1");
    file_log_destroy(log);
}

void BM_fprintf_line_buffered(benchmark::State &state)
{
    TempFile file;
    const std::string &path = file.path;
    FILE *f = std::fopen(path.c_str(), "we");
    setvbuf(f, nullptr, _IOLBF, BUFSIZ);
    int i = 0;
    for (auto _ : state) {
        time_t now = time(nullptr);
        struct tm tm;
        char stamp[32];
        strftime(stamp, sizeof stamp, "%b %e %H:%M:%S", localtime_r(&now, &tm));
        std::fprintf(f, "%s request %d from %s\n", stamp, ++i, "10.0.0.1");
    }
    std::fclose(f);
}

void BM_write_preformatted(benchmark::State &state)
{
    TempFile file;
    const std::string &path = file.path;
    int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0640);
    const char line[] = "Nov 23 09:14:07 request 12345 from 10.0.0.1\n";
    for (auto _ : state)
        benchmark::DoNotOptimize(write(fd, line, sizeof line - 1));
    close(fd);
}

void count_process(void *arg, int, const char *)
{
    ++*static_cast<int *>(arg);
}

void BM_foreachProcess(benchmark::State &state)
{
    int n = 0;
    for (auto _ : state)
        foreachProcess(count_process, &n);
    state.counters["processes"] = benchmark::Counter(n, benchmark::Counter::kAvgIterations);
}

// The usual hand-written scan: stdio on every stat file.
template <class Visit>
void stdio_scan(Visit visit)
{
    DIR *dir = opendir("/proc");
    while (const dirent *e = readdir(dir)) {
        if (e->d_type != DT_DIR || e->d_name[0] < '0' || e->d_name[0] > '9')
            continue;
        char path[64], name[128];
        std::snprintf(path, sizeof path, "/proc/%s/stat", e->d_name);
        FILE *f = std::fopen(path, "re");
        if (!f)
            continue;
        int pid;
        if (std::fscanf(f, "%d (%127[^)])", &pid, name) == 2)
            visit(pid, name);
        std::fclose(f);
    }
    closedir(dir);
}

void BM_stdio_scan(benchmark::State &state)
{
    int n = 0;
    for (auto _ : state)
        stdio_scan([&](int, const char *) { ++n; });
    state.counters["processes"] = benchmark::Counter(n, benchmark::Counter::kAvgIterations);
}

// 200 children that sleep under a name of their own until killed.
class Children {
public:
    Children()
    {
        for (int i = 0; i < 200; ++i) {
            pid_t pid = fork();
            if (pid == 0) {
                prctl(PR_SET_NAME, kChildName);
                pause();
                _exit(0);
            }
            pids_.push_back(pid);
        }
        char name[16] = "";
        while (getProcessNameByPid(pids_.back(), name, sizeof name) == 0 && std::strcmp(name, kChildName) != 0)
            usleep(1000);
    }
    ~Children()
    {
        for (pid_t pid : pids_) {
            kill(pid, SIGKILL);
            waitpid(pid, nullptr, 0);
        }
    }

private:
    std::vector<pid_t> pids_;
};

void BM_killall_200(benchmark::State &state)
{
    Children children;
    for (auto _ : state)
        benchmark::DoNotOptimize(killall(kChildName, 0));
}

void BM_stdio_killall_200(benchmark::State &state)
{
    Children children;
    for (auto _ : state)
        stdio_scan([](int pid, const char *name) {
            if (std::strcmp(name, kChildName) == 0)
                kill(pid, 0);
        });
}

}  // namespace

BENCHMARK(BM_write_preformatted)->Iterations(kLines);
BENCHMARK(BM_file_log_append)->Iterations(kLines);
BENCHMARK(BM_fprintf_line_buffered)->Iterations(kLines);
BENCHMARK(BM_foreachProcess);
BENCHMARK(BM_stdio_scan);
BENCHMARK(BM_killall_200);
BENCHMARK(BM_stdio_killall_200);

BENCHMARK_MAIN();
