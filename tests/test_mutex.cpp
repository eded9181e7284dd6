#include <anvil/mutex.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <dlfcn.h>
#include <linux/futex.h>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>

namespace {

// Calls seen, futex wake-ups seen, and an errno for every futex call to fail with.
std::atomic<int> calls{0}, wakes{0}, fail_futex_with{0};

}  // namespace

// The library enters the kernel through syscall(); this definition takes its
// place, counts the calls and passes each on, reading all six word-sized
// arguments as such wrappers do whatever the number the call takes.
extern "C" long syscall(long number, ...) noexcept
{
    static auto real = reinterpret_cast<long (*)(long, ...)>(dlsym(RTLD_NEXT, "syscall"));
    va_list ap;
    va_start(ap, number);
    long a[6];
    for (long &x : a)
        x = va_arg(ap, long);
    va_end(ap);
    ++calls;
    wakes += number == SYS_futex && a[1] == FUTEX_WAKE_PRIVATE;
    if (number == SYS_futex && fail_futex_with != 0) {
        errno = fail_futex_with;
        return -1;
    }
    return real(number, a[0], a[1], a[2], a[3], a[4], a[5]);
}

TEST(Mutex, UncontendedPairsMakeNoSystemCall)
{
    alignas(4) int32_t w = 0;
    calls = 0;
    close(-1);  // marks the start for the strace check
    // A call that left the word at anything but 1 or 0 would send the next
    // one into the kernel.
    for (int i = 0; i < 1000; ++i) {
        ASSERT_EQ(mutex_lock(&w), 0);
        ASSERT_EQ(mutex_unlock(&w), 0);
    }
    close(-1);  // and its end
    EXPECT_EQ(calls, 0);
}

TEST(Mutex, WokenWaiterKeepsTheLockMarkedContended)
{
    alignas(4) int32_t w = 0;
    ASSERT_EQ(mutex_lock(&w), 0);
    std::atomic<int> result{1};
    std::thread waiter([&] { result = mutex_lock(&w); });
    while (std::atomic_ref<int32_t>(w).load() != 2)
        std::this_thread::yield();
    usleep(100000);  // time to fall asleep in the kernel
    wakes = 0;
    EXPECT_EQ(mutex_unlock(&w), 0);
    waiter.join();
    EXPECT_EQ(result, 0);
    EXPECT_EQ(w, 2);  // others might still wait, so its unlock wakes too
    EXPECT_EQ(mutex_unlock(&w), 0);
    EXPECT_EQ(w, 0);
    EXPECT_EQ(wakes, 2);
}

// The errors of a wait refused because the word changed and of one cut short
// by a signal.
TEST(Mutex, FailedFutexCallsReturnNegatedErrno)
{
    for (int err : {EAGAIN, EINTR}) {
        alignas(4) int32_t w = 1;  // held elsewhere
        fail_futex_with = err;
        EXPECT_EQ(mutex_lock(&w), -err);
        EXPECT_EQ(w, 2);  // not taken, the waiter still announced
        EXPECT_EQ(mutex_unlock(&w), -err);  // a failed wake-up still releases
        EXPECT_EQ(w, 0);
        fail_futex_with = 0;
    }
}

// Also run under ThreadSanitizer, which reports the plain counter unless the
// lock orders the increments.
TEST(Mutex, ContendedCounterIsExact)
{
    constexpr int kThreads = 4, kTotal = 1000000;
    alignas(4) int32_t w = 0;
    long counter = 0;
    std::thread threads[kThreads];
    for (auto &t : threads)
        t = std::thread([&] {
            for (int i = 0; i < kTotal / kThreads; ++i) {
                for (int r; (r = mutex_lock(&w)) != 0;)
                    ASSERT_EQ(r, -EAGAIN);  // retried, as callers are told to
                ++counter;
                ASSERT_EQ(mutex_unlock(&w), 0);
            }
        });
    for (auto &t : threads)
        t.join();
    EXPECT_EQ(counter, kTotal);
}
