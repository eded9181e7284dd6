// cat, rm, __copyFile and ls beside the loops a user would write by hand
// (fread into a growing buffer, nftw + remove, read/write with 64 KiB,
// scandir + alphasort) and beside cp run as a process. Files live on /dev/shm
// (tmpfs), so the figures are the library's work, not the disk's.
#include <anvil/dir.h>
#include <anvil/file.h>
#include <anvil/path.h>
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <ftw.h>
#include <spawn.h>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

extern char **environ;

namespace {

const std::string kRoot = "/dev/shm/anvil_bench_files_" + std::to_string(getpid());

std::string make_file(const char *name, size_t bytes)
{
    mkdir(kRoot.c_str(), 0755);
    std::string p = kRoot + "/" + name;
    std::string content(bytes, 'x');
    FILE *f = fopen(p.c_str(), "wb");
    fwrite(content.data(), 1, bytes, f);
    fclose(f);
    return p;
}

void consume(void *arg, const char *data, uint32_t length)
{
    *static_cast<uint32_t *>(arg) += static_cast<uint8_t>(data[length / 2]) + length;
}

// The hand-written peer: stdio reads into a buffer that doubles when full.
int fread_all(const char *path, void *arg)
{
    FILE *f = fopen(path, "rb");
    if (!f)
        return -1;
    size_t cap = 4096, total = 0;
    char *buf = static_cast<char *>(malloc(cap));
    for (;;) {
        total += fread(buf + total, 1, cap - total - 1, f);
        if (total < cap - 1)
            break;
        cap *= 2;
        buf = static_cast<char *>(realloc(buf, cap));
    }
    buf[total] = '\0';
    consume(arg, buf, static_cast<uint32_t>(total + 1));
    free(buf);
    fclose(f);
    return 0;
}

void BM_cat(benchmark::State &state, bool anvil)
{
    std::string p = make_file("cat", static_cast<size_t>(state.range(0)));
    uint32_t sum = 0;
    for (auto _ : state)
        if ((anvil ? cat(p.c_str(), consume, &sum) : fread_all(p.c_str(), &sum)) != 0)
            state.SkipWithError("read failed");
    benchmark::DoNotOptimize(sum);
    state.SetBytesProcessed(int64_t(state.iterations()) * state.range(0));
    unlink(p.c_str());
}
BENCHMARK_CAPTURE(BM_cat, anvil_cat, true)->Arg(4 << 10)->Arg(1 << 20);
BENCHMARK_CAPTURE(BM_cat, fopen_fread, false)->Arg(4 << 10)->Arg(1 << 20);

// 100 directories of 100 empty files each.
std::string make_tree()
{
    std::string top = kRoot + "/tree";
    mkdir(kRoot.c_str(), 0755);
    mkdir(top.c_str(), 0755);
    for (int d = 0; d < 100; ++d) {
        std::string dir = top + "/directory_" + std::to_string(d);
        mkdir(dir.c_str(), 0755);
        for (int f = 0; f < 100; ++f)
            close(creat((dir + "/file_number_" + std::to_string(f)).c_str(), 0644));
    }
    return top;
}

int remove_entry(const char *path, const struct stat *, int, FTW *)
{
    return remove(path);
}

void BM_rm(benchmark::State &state, bool anvil)
{
    for (auto _ : state) {
        state.PauseTiming();
        std::string top = make_tree();
        state.ResumeTiming();
        int r = anvil ? rm(top.c_str()) : nftw(top.c_str(), remove_entry, 64, FTW_DEPTH | FTW_PHYS);
        if (r != 0)
            state.SkipWithError("removal failed");
    }
    state.SetItemsProcessed(int64_t(state.iterations()) * 10100);
}
BENCHMARK_CAPTURE(BM_rm, anvil_rm, true)->Iterations(5)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_rm, nftw_remove, false)->Iterations(5)->Unit(benchmark::kMillisecond);

int copy_loop(const char *from, const char *to)
{
    int in = open(from, O_RDONLY);
    int out = creat(to, 0644);
    static char buf[65536];
    ssize_t r;
    while ((r = read(in, buf, sizeof buf)) > 0)
        if (write(out, buf, static_cast<size_t>(r)) != r)
            break;
    close(out);
    close(in);
    return r == 0 ? 0 : -1;
}

int copy_cp(const char *from, const char *to)
{
    const char *argv[] = {"cp", from, to, nullptr};
    pid_t pid;
    if (posix_spawnp(&pid, "cp", nullptr, nullptr, const_cast<char **>(argv), environ) != 0)
        return -1;
    int status;
    waitpid(pid, &status, 0);
    return status == 0 ? 0 : -1;
}

enum class Copier { Anvil, Loop, Cp };

void BM_copy(benchmark::State &state, Copier how)
{
    std::string from = make_file("copy_src", 64u << 20), to = kRoot + "/copy_dst";
    for (auto _ : state) {
        int r = how == Copier::Anvil ? __copyFile(from.c_str(), to.c_str(), 1)
                : how == Copier::Loop ? copy_loop(from.c_str(), to.c_str())
                                      : copy_cp(from.c_str(), to.c_str());
        if (r != 0)
            state.SkipWithError("copy failed");
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * (64 << 20));
    unlink(from.c_str());
    unlink(to.c_str());
}
BENCHMARK_CAPTURE(BM_copy, anvil_copyFile, Copier::Anvil)->Iterations(8)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_copy, read_write_64k, Copier::Loop)->Iterations(8)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_copy, cp_process, Copier::Cp)->Iterations(8)->Unit(benchmark::kMillisecond);

void count_names(void *arg, char **names, uint32_t count)
{
    *static_cast<size_t *>(arg) += count + static_cast<uint8_t>(names[count / 2][0]);
}

int no_dots(const dirent *e)
{
    return strcmp(e->d_name, ".") != 0 && strcmp(e->d_name, "..") != 0;
}

void BM_ls(benchmark::State &state, bool anvil)
{
    std::string dir = kRoot + "/names";
    mkdir(kRoot.c_str(), 0755);
    mkdir(dir.c_str(), 0755);
    for (int i = 0; i < 10000; ++i)
        close(creat((dir + "/name_" + std::to_string(i * 7919 % 10000)).c_str(), 0644));
    size_t sum = 0;
    for (auto _ : state) {
        if (anvil) {
            if (ls(dir.c_str(), nullptr, 1, count_names, &sum) != 0)
                state.SkipWithError("ls failed");
            continue;
        }
        dirent **list;
        int n = scandir(dir.c_str(), &list, no_dots, alphasort);
        if (n < 0)
            state.SkipWithError("scandir failed");
        char *names[1];  // the same work for the consumer: one name looked at
        names[0] = list[n / 2]->d_name;
        sum += static_cast<size_t>(n) + static_cast<uint8_t>(names[0][0]);
        for (int i = 0; i < n; ++i)
            free(list[i]);
        free(list);
    }
    benchmark::DoNotOptimize(sum);
    state.SetItemsProcessed(int64_t(state.iterations()) * 10000);
    rm(dir.c_str());
}
BENCHMARK_CAPTURE(BM_ls, anvil_ls_sorted, true)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_ls, scandir_alphasort, false)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char **argv)
{
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return rm(kRoot.c_str());
}
