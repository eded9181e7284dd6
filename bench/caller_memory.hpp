// Makes the benchmarking process large: process-start costs that copy the
// caller's page tables (fork) grow with it, those that do not stay flat.
#pragma once

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstring>
#include <sys/mman.h>

// Holds `bytes` of touched memory in the calling process (0 releases it).
inline void hold_memory(size_t bytes)
{
    static void *ballast;
    static size_t held;
    if (held == bytes)
        return;
    if (ballast)
        munmap(ballast, held);
    ballast = nullptr;
    held = 0;
    if (bytes == 0)
        return;
    ballast = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (ballast == MAP_FAILED) {
        ballast = nullptr;
        return;
    }
    std::memset(ballast, 1, bytes);
    held = bytes;
}

// Argument 0: a small caller; 1: a caller holding 1 GiB.
inline void with_memory(benchmark::State &state)
{
    hold_memory(size_t(state.range(0)) << 30);
    state.SetLabel(state.range(0) ? "1 GiB held" : "small");
}
