// ini_parser_create and its lookups beside inih and iniparser, and the
// physical limit: one read of the file plus one memchr pass per line.
#include <anvil/ini.h>
#include <anvil/io.h>
#include <benchmark/benchmark.h>
#include <ini.h>
#include <iniparser.h>

#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <unistd.h>
#include <unordered_map>
#include <vector>

#include "ini_gen.hpp"

namespace {

struct Sample {
    const char *path;
    size_t bytes;
};
const Sample kBig{"/tmp/anvil_bench_10mb.ini", 10u << 20};
const Sample kSmall{"/tmp/anvil_bench_2kb.ini", 2u << 10};

void set_rate(benchmark::State &state, const Sample &s)
{
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(s.bytes));
}

void BM_anvil_create(benchmark::State &state, Sample s)
{
    for (auto _ : state) {
        ini_parser *p = ini_parser_create(s.path);
        if (!p)
            state.SkipWithError("load failed");
        benchmark::DoNotOptimize(p);
        ini_parser_destroy(p);
    }
    set_rate(state, s);
}

void BM_inih_null(benchmark::State &state, Sample s)
{
    auto nothing = [](void *, const char *, const char *, const char *) { return 1; };
    for (auto _ : state)
        if (ini_parse(s.path, nothing, nullptr) != 0)
            state.SkipWithError("parse failed");
    set_rate(state, s);
}

using Map = std::unordered_map<std::string, std::string>;

void BM_inih_map(benchmark::State &state, Sample s)
{
    auto store = [](void *user, const char *section, const char *key, const char *value) {
        (*static_cast<Map *>(user))[std::string(section) + ':' + key] = value;
        return 1;
    };
    for (auto _ : state) {
        Map map;
        if (ini_parse(s.path, store, &map) != 0)
            state.SkipWithError("parse failed");
    }
    set_rate(state, s);
}

void BM_iniparser_load(benchmark::State &state, Sample s)
{
    for (auto _ : state) {
        dictionary *d = iniparser_load(s.path);
        benchmark::DoNotOptimize(d);
        iniparser_freedict(d);
    }
    set_rate(state, s);
}

// The floor: read the whole file, then find every line end with memchr.
void BM_read_memchr(benchmark::State &state, Sample s)
{
    for (auto _ : state) {
        int fd = open(s.path, O_RDONLY);
        char *buf = static_cast<char *>(malloc(s.bytes + 1));
        ssize_t n = readn(fd, buf, s.bytes + 1);
        close(fd);
        size_t lines = 0;
        for (const char *p = buf, *end = buf + n; (p = static_cast<const char *>(memchr(p, '\n', end - p))); ++p)
            ++lines;
        benchmark::DoNotOptimize(lines);
        free(buf);
    }
    set_rate(state, s);
}

// Every (section, key) of the small file, as found by a first parse.
struct Keys {
    std::vector<std::string> section, key, joined;
};

Keys keys_of_small()
{
    Keys k;
    ini_parse(kSmall.path, [](void *user, const char *s, const char *key, const char *) {
        auto *k = static_cast<Keys *>(user);
        k->section.push_back(s);
        k->key.push_back(key);
        k->joined.push_back(std::string(s) + ':' + key);
        return 1;
    }, &k);
    return k;
}

void BM_anvil_lookup(benchmark::State &state)
{
    Keys k = keys_of_small();
    ini_parser *p = ini_parser_create(kSmall.path);
    size_t i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(ini_parser_int(p, k.section[i].c_str(), k.key[i].c_str(), 0));
        i = i + 1 == k.key.size() ? 0 : i + 1;
    }
    ini_parser_destroy(p);
}

void BM_iniparser_getint(benchmark::State &state)
{
    Keys k = keys_of_small();
    dictionary *d = iniparser_load(kSmall.path);
    size_t i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(iniparser_getint(d, k.joined[i].c_str(), 0));
        i = i + 1 == k.key.size() ? 0 : i + 1;
    }
    iniparser_freedict(d);
}

void BM_unordered_map_find_strtol(benchmark::State &state)
{
    Keys k = keys_of_small();
    Map map;
    ini_parse(kSmall.path, [](void *user, const char *s, const char *key, const char *v) {
        (*static_cast<Map *>(user))[std::string(s) + ':' + key] = v;
        return 1;
    }, &map);
    size_t i = 0;
    for (auto _ : state) {
        auto it = map.find(k.joined[i]);
        benchmark::DoNotOptimize(strtol(it->second.c_str(), nullptr, 10));
        i = i + 1 == k.key.size() ? 0 : i + 1;
    }
}

}  // namespace

BENCHMARK_CAPTURE(BM_anvil_create, 10MB, kBig)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_inih_null, 10MB, kBig)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_inih_map, 10MB, kBig)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_iniparser_load, 10MB, kBig)->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK_CAPTURE(BM_read_memchr, 10MB, kBig)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_anvil_create, 2KB, kSmall);
BENCHMARK_CAPTURE(BM_inih_null, 2KB, kSmall);
BENCHMARK_CAPTURE(BM_inih_map, 2KB, kSmall);
BENCHMARK_CAPTURE(BM_iniparser_load, 2KB, kSmall);
BENCHMARK_CAPTURE(BM_read_memchr, 2KB, kSmall);
BENCHMARK(BM_anvil_lookup);
BENCHMARK(BM_iniparser_getint);
BENCHMARK(BM_unordered_map_find_strtol);

int main(int argc, char **argv)
{
    // The files are generated afresh, so every run measures the same input.
    for (const Sample &s : {kBig, kSmall}) {
        std::string text = anvil_bench::make_ini(s.bytes);
        text.resize(text.rfind('\n', s.bytes - 4) + 1);  // whole lines, then a comment
        text += ";" + std::string(s.bytes - text.size() - 2, '-') + "\n";  // to the exact size
        if (!anvil_bench::write_file(s.path, text))
            return 1;
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
