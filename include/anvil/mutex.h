/* A futex-based mutual-exclusion lock on a 32-bit word of the caller.
 *
 * The word must be 4-byte aligned and set to 0 (free) before first use; it
 * needs no other set-up or clean-up. It serves the threads of one process
 * only (private futex operations), not memory shared between processes.
 * Locking a free lock and unlocking one that nobody waits for are one atomic
 * operation each and make no system call; contended lockers sleep in the
 * kernel. Not recursive, not fair, and the holder is not recorded: any
 * thread may unlock. Each call is a full memory barrier.
 *
 * Unlike the rest of the library, both functions return a negated errno value
 * on failure; errno itself is left as the failed futex call set it.
 */
#ifndef ANVIL_MUTEX_H
#define ANVIL_MUTEX_H

#include <stdint.h>

#include "anvil/defs.h"

ANVIL_BEGIN_DECLS

/* Takes the lock. Returns 0 when the caller holds it, or, without the lock,
 * the negated errno of a failed futex wait: -EAGAIN when the lock changed
 * just as the wait began, -EINTR when a signal interrupted it. The word stays
 * consistent either way: test the result and call again. */
ANVIL_API int mutex_lock(int32_t *lock);

/* Releases the lock, always. Returns 0, or the negated errno of a failed
 * futex wake-up of a waiter. */
ANVIL_API int mutex_unlock(int32_t *lock);

ANVIL_END_DECLS

#endif
