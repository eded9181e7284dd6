// Three-state futex lock: 0 free, 1 held, 2 held with possible waiters.
#include "anvil/mutex.h"

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

enum : std::int32_t { kFree = 0, kHeld = 1, kContended = 2 };

using Word = std::atomic_ref<std::int32_t>;
static_assert(Word::is_always_lock_free, "the lock word must not need a library lock");

// Strong compare-and-swap that returns the value it found in the word.
std::int32_t cas(Word word, std::int32_t expected, std::int32_t desired)
{
    word.compare_exchange_strong(expected, desired, std::memory_order_seq_cst);
    return expected;
}

// Returns 0 or the negated errno of the call.
int futex(std::int32_t *word, int op, std::int32_t value)
{
    if (::syscall(SYS_futex, word, op, value, nullptr, nullptr, 0) == -1)
        return -errno;
    return 0;
}

}  // namespace

int mutex_lock(std::int32_t *lock)
{
    Word word(*lock);
    std::int32_t c = cas(word, kFree, kHeld);
    if (c == kFree)
        return 0;
    for (;;) {
        // Announce a waiter unless one is announced already; a lock released
        // meanwhile is taken without sleeping.
        if (c == kContended || cas(word, kHeld, kContended) != kFree) {
            if (int err = futex(lock, FUTEX_WAIT_PRIVATE, kContended))
                return err;
        }
        // Others may still sleep, so a lock taken here stays marked contended.
        c = cas(word, kFree, kContended);
        if (c == kFree)
            return 0;
    }
}

int mutex_unlock(std::int32_t *lock)
{
    Word word(*lock);
    if (word.fetch_sub(1, std::memory_order_seq_cst) == kHeld)
        return 0;
    // Release order costs nothing on x86 and one barrier on ARM on a path
    // that enters the kernel anyway; it publishes the critical section to
    // the next holder, which a relaxed store after the decrement would not
    // guarantee in the language's memory model.
    word.store(kFree, std::memory_order_release);
    return futex(lock, FUTEX_WAKE_PRIVATE, 1);
}
