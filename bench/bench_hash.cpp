// The string hashes beside their textbook loops, strlen (one pass over the
// memory) and XXH32, over a short and a long string.
#include <anvil/hash.h>
#include <benchmark/benchmark.h>
#include <xxhash.h>

#include <cstdint>
#include <cstring>
#include <random>
#include <string>

namespace {

using u32 = std::uint32_t;
using HashFn = u32 (*)(const char *);

// The classic loops, one byte per step, as usually published.
u32 rs(const char *s)
{
    u32 b = 378551, a = 63689, hash = 0;
    for (auto p = reinterpret_cast<const unsigned char *>(s); *p; ++p) {
        hash = hash * a + *p;
        a = a * b;
    }
    return hash;
}
u32 js(const char *s)
{
    u32 hash = 1315423911;
    for (auto p = reinterpret_cast<const unsigned char *>(s); *p; ++p)
        hash ^= ((hash << 5) + *p + (hash >> 2));
    return hash;
}
u32 pjw(const char *s)
{
    u32 hash = 0, test;
    for (auto p = reinterpret_cast<const unsigned char *>(s); *p; ++p) {
        hash = (hash << 4) + *p;
        if ((test = hash & 0xF0000000) != 0)
            hash = ((hash ^ (test >> 24)) & 0x0FFFFFFF);
    }
    return hash;
}
u32 elf(const char *s)
{
    u32 hash = 0, x;
    for (auto p = reinterpret_cast<const unsigned char *>(s); *p; ++p) {
        hash = (hash << 4) + *p;
        if ((x = hash & 0xF0000000) != 0)
            hash ^= (x >> 24);
        hash &= ~x;
    }
    return hash;
}
u32 bkdr(const char *s)
{
    u32 hash = 0;
    for (auto p = reinterpret_cast<const unsigned char *>(s); *p; ++p)
        hash = hash * 131 + *p;
    return hash;
}
u32 sdbm(const char *s)
{
    u32 hash = 0;
    for (auto p = reinterpret_cast<const unsigned char *>(s); *p; ++p)
        hash = *p + (hash << 6) + (hash << 16) - hash;
    return hash;
}
u32 djb(const char *s)
{
    u32 hash = 5381;
    for (auto p = reinterpret_cast<const unsigned char *>(s); *p; ++p)
        hash = ((hash << 5) + hash) + *p;
    return hash;
}
u32 dek(const char *s)
{
    u32 hash = static_cast<u32>(std::strlen(s));
    for (auto p = reinterpret_cast<const unsigned char *>(s); *p; ++p)
        hash = ((hash << 5) ^ (hash >> 27)) ^ *p;
    return hash;
}
u32 bp(const char *s)
{
    u32 hash = 0;
    for (auto p = reinterpret_cast<const unsigned char *>(s); *p; ++p)
        hash = hash << 7 ^ *p;
    return hash;
}
u32 fnv(const char *s)
{
    u32 hash = 0;
    for (auto p = reinterpret_cast<const unsigned char *>(s); *p; ++p) {
        hash *= 0x811C9DC5;
        hash ^= *p;
    }
    return hash;
}
u32 ap(const char *s)
{
    u32 hash = 0xAAAAAAAA;
    u32 i = 0;
    for (auto p = reinterpret_cast<const unsigned char *>(s); *p; ++p, ++i)
        hash ^= ((i & 1) == 0) ? ((hash << 7) ^ (*p * (hash >> 3)))
                               : (~((hash << 11) + (*p ^ (hash >> 5))));
    return hash;
}

u32 plain_strlen(const char *s) { return static_cast<u32>(std::strlen(s)); }
u32 xxh32(const char *s) { return XXH32(s, std::strlen(s), 0); }

const std::string &text(size_t n)
{
    static std::string small, large;
    std::string &s = n <= 16 ? small : large;
    if (s.size() != n) {
        std::mt19937 rng(1);
        s.resize(n);
        for (char &c : s)
            c = static_cast<char>(1 + rng() % 255);
    }
    return s;
}

void run(benchmark::State &state, HashFn fn)
{
    const std::string &s = text(static_cast<size_t>(state.range(0)));
    const char *p = s.c_str();
    for (auto _ : state) {
        benchmark::DoNotOptimize(p);
        benchmark::DoNotOptimize(fn(p));
    }
    double bytes = static_cast<double>(s.size()) * static_cast<double>(state.iterations());
    state.counters["B/ns"] = benchmark::Counter(bytes / 1e9, benchmark::Counter::kIsRate);
    state.counters["ns/B"] = benchmark::Counter(
        bytes * 1e-9, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

struct Pair {
    const char *name;
    HashFn library, textbook;
};

const Pair kPairs[] = {
    {"RS", RSHash, rs},       {"JS", JSHash, js},         {"PJW", PJWHash, pjw},
    {"ELF", ELFHash, elf},    {"BKDR", BKDRHash, bkdr},   {"SDBM", SDBMHash, sdbm},
    {"DJB", DJBHash, djb},    {"DEK", DEKHash, dek},      {"BP", BPHash, bp},
    {"FNV", FNVHash, fnv},    {"AP", APHash, ap},
};

int register_all()
{
    for (long n : {16L, 1L << 20}) {
        benchmark::RegisterBenchmark("strlen", run, plain_strlen)->Arg(n);
        benchmark::RegisterBenchmark("XXH32+strlen", run, xxh32)->Arg(n);
        for (const auto &p : kPairs) {
            benchmark::RegisterBenchmark((std::string(p.name) + "/anvil").c_str(), run, p.library)->Arg(n);
            benchmark::RegisterBenchmark((std::string(p.name) + "/textbook").c_str(), run, p.textbook)->Arg(n);
        }
    }
    return 0;
}
const int registered = register_all();

}  // namespace
