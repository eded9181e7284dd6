// Appending n ints: the array stream one element per write and one granted
// run per write, against std::vector::push_back and std::deque::push_back.
// The steady-state pair refills one container that keeps its memory
// (array_stream_clear, vector::clear), so that page faults of fresh memory
// do not decide the ratio.
#include <anvil/array_stream.h>
#include <benchmark/benchmark.h>

#include <cstdint>
#include <deque>
#include <vector>

namespace {

constexpr uint32_t kChunk = 1024;

void BM_ArrayStreamWriteEach(benchmark::State &state)
{
    const auto n = static_cast<uint32_t>(state.range(0));
    for (auto _ : state) {
        array_stream *s = array_stream_create(sizeof(int), kChunk);
        for (uint32_t i = 0; i < n; ++i) {
            uint32_t k = 1;
            *static_cast<int *>(array_stream_write(s, &k)) = static_cast<int>(i);
        }
        benchmark::DoNotOptimize(array_stream_index(s, n - 1));
        array_stream_destroy(s);
    }
    state.SetItemsProcessed(state.iterations() * n);
}

// Writes 0 .. n-1 straight into the stream's chunks, a run at a time.
void write_runs(array_stream *s, uint32_t n)
{
    for (uint32_t i = 0; i < n;) {
        uint32_t k = n - i;
        auto *p = static_cast<int *>(array_stream_write(s, &k));
        for (uint32_t j = 0; j < k; ++j)
            p[j] = static_cast<int>(i + j);
        i += k;
    }
    benchmark::DoNotOptimize(array_stream_index(s, n - 1));
}

void BM_ArrayStreamWriteRuns(benchmark::State &state)
{
    const auto n = static_cast<uint32_t>(state.range(0));
    for (auto _ : state) {
        array_stream *s = array_stream_create(sizeof(int), kChunk);
        write_runs(s, n);
        array_stream_destroy(s);
    }
    state.SetItemsProcessed(state.iterations() * n);
}

template <class Container>
void BM_PushBack(benchmark::State &state)
{
    const auto n = static_cast<uint32_t>(state.range(0));
    for (auto _ : state) {
        Container c;
        for (uint32_t i = 0; i < n; ++i)
            c.push_back(static_cast<int>(i));
        benchmark::DoNotOptimize(c.back());
    }
    state.SetItemsProcessed(state.iterations() * n);
}

void BM_ArrayStreamRefillRuns(benchmark::State &state)
{
    const auto n = static_cast<uint32_t>(state.range(0));
    array_stream *s = array_stream_create(sizeof(int), kChunk);
    for (auto _ : state) {
        array_stream_clear(s);
        write_runs(s, n);
    }
    array_stream_destroy(s);
    state.SetItemsProcessed(state.iterations() * n);
}

void BM_VectorRefill(benchmark::State &state)
{
    const auto n = static_cast<uint32_t>(state.range(0));
    std::vector<int> c;
    for (auto _ : state) {
        c.clear();
        for (uint32_t i = 0; i < n; ++i)
            c.push_back(static_cast<int>(i));
        benchmark::DoNotOptimize(c.back());
    }
    state.SetItemsProcessed(state.iterations() * n);
}

}  // namespace

BENCHMARK(BM_ArrayStreamRefillRuns)->Arg(1 << 16);
BENCHMARK(BM_VectorRefill)->Arg(1 << 16);
BENCHMARK(BM_ArrayStreamWriteEach)->Arg(1 << 16);
BENCHMARK(BM_ArrayStreamWriteRuns)->Arg(1 << 16);
BENCHMARK(BM_PushBack<std::vector<int>>)->Arg(1 << 16);
BENCHMARK(BM_PushBack<std::deque<int>>)->Arg(1 << 16);
