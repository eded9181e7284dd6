// The futex mutex against a default pthread mutex: an uncontended lock and
// unlock pair, and a counter incremented by two threads under the lock.
#include <anvil/mutex.h>
#include <benchmark/benchmark.h>

#include <cstdint>
#include <pthread.h>
#include <thread>

namespace {

alignas(64) std::int32_t word;
pthread_mutex_t pmutex = PTHREAD_MUTEX_INITIALIZER;
alignas(64) long counter;

// glibc drops the bus lock from its own mutex while a process has never had
// a second thread. A program that needs a mutex has one, so start one first.
const bool multithreaded = [] {
    std::thread([] {}).join();
    return true;
}();

void anvil_lock() { while (mutex_lock(&word) != 0) {} }
void anvil_unlock() { mutex_unlock(&word); }
void pthread_lock() { pthread_mutex_lock(&pmutex); }
void pthread_unlock() { pthread_mutex_unlock(&pmutex); }

template <void (*Lock)(), void (*Unlock)()>
void pair(benchmark::State &state)
{
    for (auto _ : state) {
        Lock();
        Unlock();
    }
}

template <void (*Lock)(), void (*Unlock)()>
void counted(benchmark::State &state)
{
    for (auto _ : state) {
        Lock();
        benchmark::DoNotOptimize(++counter);
        Unlock();
    }
    state.SetItemsProcessed(state.iterations());
}

BENCHMARK(pair<anvil_lock, anvil_unlock>)->Name("uncontended/anvil");
BENCHMARK(pair<pthread_lock, pthread_unlock>)->Name("uncontended/pthread");
BENCHMARK(counted<anvil_lock, anvil_unlock>)->Name("contended/anvil")->Threads(2)->UseRealTime();
BENCHMARK(counted<pthread_lock, pthread_unlock>)->Name("contended/pthread")->Threads(2)->UseRealTime();

}  // namespace
