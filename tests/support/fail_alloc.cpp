// Interposes the allocator so that tests can make the library's n-th
// allocation fail. Calls go on to the next definition (the C library's, or
// the sanitizer's) through dlsym(RTLD_NEXT).
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <dlfcn.h>
#include <pthread.h>

#include "support/test_support.hpp"

namespace {

void *(*real_malloc)(size_t);
void *(*real_calloc)(size_t, size_t);
void *(*real_realloc)(void *, size_t);

std::atomic<bool> armed{false};
std::atomic<pthread_t> owner;  // only the arming thread's calls count
std::atomic<int> budget{0};
std::atomic<int> calls{0};

// dlsym may allocate before the real functions are known; serve that from
// here (static storage, so zeroed for calloc).
alignas(16) unsigned char bootstrap[4096];
size_t bootstrap_used;
bool resolving;

void *bootstrap_alloc(size_t n)
{
    n = (n + 15) & ~size_t(15);
    if (bootstrap_used + n > sizeof bootstrap)
        return nullptr;
    bootstrap_used += n;
    return bootstrap + bootstrap_used - n;
}

void resolve()
{
    if (real_malloc || resolving)
        return;
    resolving = true;
    real_calloc = reinterpret_cast<decltype(real_calloc)>(dlsym(RTLD_NEXT, "calloc"));
    real_realloc = reinterpret_cast<decltype(real_realloc)>(dlsym(RTLD_NEXT, "realloc"));
    real_malloc = reinterpret_cast<decltype(real_malloc)>(dlsym(RTLD_NEXT, "malloc"));
    resolving = false;
}

// True, errno set, when this call is to fail.
bool take()
{
    if (!armed.load() || !pthread_equal(pthread_self(), owner.load()))
        return false;
    calls.fetch_add(1);
    if (budget.fetch_sub(1) > 0)
        return false;
    errno = ENOMEM;
    return true;
}

}  // namespace

extern "C" void *malloc(size_t n)
{
    resolve();
    return !real_malloc ? bootstrap_alloc(n) : take() ? nullptr : real_malloc(n);
}

extern "C" void *calloc(size_t n, size_t size)
{
    resolve();
    return !real_calloc ? bootstrap_alloc(n * size) : take() ? nullptr : real_calloc(n, size);
}

extern "C" void *realloc(void *p, size_t n)
{
    resolve();
    return take() ? nullptr : real_realloc(p, n);
}

namespace anvil_test {

void fail_alloc_after(int successes)
{
    calls = 0;
    budget = successes;
    owner = pthread_self();
    armed = true;
}

void disarm_alloc_failure()
{
    armed = false;
}

int alloc_calls()
{
    return calls;
}

}  // namespace anvil_test
