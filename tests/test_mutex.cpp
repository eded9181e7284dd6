#include <anvil/mutex.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdarg>
#include <cstdint>
#include <dlfcn.h>
#include <linux/futex.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>
#include <vector>

// The library enters the kernel through syscall(); this definition takes its
// place, counts the futex calls on the watched word and passes every call on.
namespace {

using SyscallFn = long (*)(long, ...);

std::atomic<std::int32_t *> watched{nullptr};
std::atomic<int> all_calls{0}, waits{0}, wakes{0};
// Runs just before a watched wait enters the kernel.
void (*before_wait)(std::int32_t *) = nullptr;

void watch(std::int32_t *word)
{
    watched = word;
    all_calls = waits = wakes = 0;
}

}  // namespace

extern "C" long syscall(long number, ...) noexcept
{
    static SyscallFn real = reinterpret_cast<SyscallFn>(dlsym(RTLD_NEXT, "syscall"));
    // syscall() takes up to six word-sized arguments; reading all six is how
    // such wrappers forward calls with fewer.
    va_list ap;
    va_start(ap, number);
    long a[6];
    for (long &x : a)
        x = va_arg(ap, long);
    va_end(ap);
    ++all_calls;
    auto *word = reinterpret_cast<std::int32_t *>(a[0]);
    if (number == SYS_futex && word == watched.load()) {
        if (a[1] == FUTEX_WAIT_PRIVATE) {
            ++waits;
            if (before_wait)
                before_wait(word);
        } else if (a[1] == FUTEX_WAKE_PRIVATE) {
            ++wakes;
        }
    }
    return real(number, a[0], a[1], a[2], a[3], a[4], a[5]);
}

namespace {

std::int32_t load(std::int32_t *w) { return std::atomic_ref<std::int32_t>(*w).load(); }

// Retries failed waits, as callers are told to.
void lock(std::int32_t *w)
{
    int r;
    while ((r = mutex_lock(w)) != 0)
        ASSERT_TRUE(r == -EAGAIN || r == -EINTR) << r;
}

// Waits until a thread has entered the futex wait on the watched word, then
// leaves it time to fall asleep in the kernel.
void await_sleeper()
{
    while (waits.load() == 0)
        std::this_thread::yield();
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
}

}  // namespace

TEST(Mutex, UncontendedPairsMakeNoSystemCall)
{
    alignas(4) std::int32_t w = 0;
    watch(&w);
    close(-1);  // marks the start for the strace check
    for (int i = 0; i < 1000; ++i) {
        ASSERT_EQ(mutex_lock(&w), 0);
        ASSERT_EQ(w, 1);
        ASSERT_EQ(mutex_unlock(&w), 0);
        ASSERT_EQ(w, 0);
    }
    close(-1);  // and its end
    EXPECT_EQ(all_calls, 0);
    // Unlocking a free lock leaves it free and calls a wake-up for nobody.
    EXPECT_EQ(mutex_unlock(&w), 0);
    EXPECT_EQ(w, 0);
    EXPECT_EQ(wakes, 1);
}

TEST(Mutex, WaiterIsWokenAndTakesTheLockContended)
{
    alignas(4) std::int32_t w = 0;
    watch(&w);
    ASSERT_EQ(mutex_lock(&w), 0);
    int result = 1;
    std::thread waiter([&] { result = mutex_lock(&w); });
    await_sleeper();
    EXPECT_EQ(load(&w), 2);
    EXPECT_EQ(mutex_unlock(&w), 0);
    waiter.join();
    EXPECT_EQ(result, 0);
    EXPECT_EQ(w, 2);  // a lock taken after waiting stays marked contended
    EXPECT_EQ(wakes, 1);
    EXPECT_EQ(mutex_unlock(&w), 0);  // wakes nobody, but still calls
    EXPECT_EQ(w, 0);
    EXPECT_EQ(wakes, 2);
    EXPECT_EQ(waits, 1);
}

TEST(Mutex, RefusedWaitReturnsEagainWithoutTheLock)
{
    alignas(4) std::int32_t w = 1;  // held elsewhere
    watch(&w);
    // The holder releases just before the wait reaches the kernel.
    before_wait = [](std::int32_t *word) { std::atomic_ref<std::int32_t>(*word).store(0); };
    errno = 0;
    EXPECT_EQ(mutex_lock(&w), -EAGAIN);
    before_wait = nullptr;
    EXPECT_EQ(errno, EAGAIN);
    EXPECT_EQ(w, 0);
    EXPECT_EQ(mutex_lock(&w), 0);
    EXPECT_EQ(w, 1);
}

TEST(Mutex, SignalInterruptsTheWait)
{
    struct sigaction sa {}, old {};
    sa.sa_handler = [](int) {};  // no SA_RESTART
    sigaction(SIGUSR1, &sa, &old);
    alignas(4) std::int32_t w = 2;
    watch(&w);
    std::atomic<int> result{1};
    std::thread waiter([&] { result = mutex_lock(&w); });
    await_sleeper();
    // A signal that lands before the sleep is lost to the wait; repeat.
    while (result == 1) {
        pthread_kill(waiter.native_handle(), SIGUSR1);
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    waiter.join();
    sigaction(SIGUSR1, &old, nullptr);
    EXPECT_EQ(result, -EINTR);
    EXPECT_EQ(w, 2);
}

TEST(Mutex, ContendedCounterIsExact)
{
    constexpr int kThreads = 4, kTotal = 1000000;
    alignas(4) std::int32_t w = 0;
    long counter = 0;  // plain: only the lock orders the increments
    std::atomic<int> ready{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&] {
            ++ready;
            while (ready.load() < kThreads)
                std::this_thread::yield();
            for (int i = 0; i < kTotal / kThreads; ++i) {
                lock(&w);
                ++counter;
                mutex_unlock(&w);
            }
        });
    for (auto &t : threads)
        t.join();
    EXPECT_EQ(counter, kTotal);
    EXPECT_EQ(w, 0);
}
