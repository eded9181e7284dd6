// One element in and out per iteration: the ring buffer's copying calls and
// its zero-copy pairs, a bare memcpy of the same bytes (the floor), and the
// single-producer rings of Concurrency Kit. Then runs of 16 elements, the
// zero-copy pairs' use: the same bytes move either way, through the caller's
// buffers or in place.
#include <anvil/ring_buffer.h>
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "ck_ring_peer.h"

namespace {

constexpr uint32_t kCapacity = 1024;

template <size_t N>
struct Rec {
    unsigned char b[N];
};

template <size_t N, uint32_t kCount = 1>
void BM_RingWriteRead(benchmark::State &state)
{
    ring_buffer *rb = ring_buffer_create(kCapacity, N);
    Rec<N> in[kCount]{}, out[kCount]{};
    for (auto _ : state) {
        benchmark::DoNotOptimize(ring_buffer_write(rb, in, kCount));
        benchmark::DoNotOptimize(ring_buffer_read(rb, out, kCount));
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * kCount);
    ring_buffer_destroy(rb);
}

template <size_t N, uint32_t kCount = 1>
void BM_RingReserveCommit(benchmark::State &state)
{
    ring_buffer *rb = ring_buffer_create(kCapacity, N);
    Rec<N> in[kCount]{}, out[kCount]{};
    uint32_t n;
    for (auto _ : state) {
        std::memcpy(ring_buffer_reserve(rb, &n), in, sizeof in);
        ring_buffer_commit(rb, kCount);
        std::memcpy(out, ring_buffer_peek(rb, &n), sizeof out);
        ring_buffer_decommit(rb, kCount);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * kCount);
    ring_buffer_destroy(rb);
}

template <size_t N>
void BM_Memcpy(benchmark::State &state)
{
    static Rec<N> slot[kCapacity];
    Rec<N> in{}, out{};
    uint32_t i = 0;
    for (auto _ : state) {
        Rec<N> *p = &slot[i++ & (kCapacity - 1)];
        benchmark::DoNotOptimize(p);
        std::memcpy(p, &in, N);
        std::memcpy(&out, p, N);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations());
}

// Like the ring buffer's, the peer's enqueue and dequeue are one call each.
void BM_CkRingPointer(benchmark::State &state)
{
    ck_peer *p = ck_peer_create(kCapacity, sizeof(void *));
    void *in = p, *out = nullptr;
    for (auto _ : state) {
        benchmark::DoNotOptimize(ck_peer_push_pointer(p, in));
        benchmark::DoNotOptimize(ck_peer_pop_pointer(p, &out));
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations());
    ck_peer_destroy(p);
}

void BM_CkRingTyped64(benchmark::State &state)
{
    ck_peer *p = ck_peer_create(kCapacity, 64);
    Rec<64> in{}, out{};
    for (auto _ : state) {
        benchmark::DoNotOptimize(ck_peer_push_rec64(p, &in));
        benchmark::DoNotOptimize(ck_peer_pop_rec64(p, &out));
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations());
    ck_peer_destroy(p);
}

}  // namespace

BENCHMARK(BM_RingWriteRead<4>);
BENCHMARK(BM_RingReserveCommit<4>);
BENCHMARK(BM_Memcpy<4>);
BENCHMARK(BM_CkRingPointer);
BENCHMARK(BM_RingWriteRead<64>);
BENCHMARK(BM_RingReserveCommit<64>);
BENCHMARK(BM_Memcpy<64>);
BENCHMARK(BM_CkRingTyped64);
BENCHMARK_TEMPLATE2(BM_RingWriteRead, 4, 16);
BENCHMARK_TEMPLATE2(BM_RingReserveCommit, 4, 16);
BENCHMARK_TEMPLATE2(BM_RingWriteRead, 64, 16);
BENCHMARK_TEMPLATE2(BM_RingReserveCommit, 64, 16);
