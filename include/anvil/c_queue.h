/* Fixed-capacity queue (first in, first out) and stack (last in, first out)
 * of words.
 *
 * A word is an unsigned integer as wide as a pointer (uintptr_t): 32 bits on
 * the 32-bit ARM target, 64 bits on a 64-bit host, so a pointer fits through
 * a cast. Values are stored as given; what they point to stays the caller's.
 * The capacity is fixed at creation and never grows. Pop and peek on an empty
 * container return 0 with errno ENODATA; a stored 0 comes back without errno
 * being set, so callers that store zeros check the length instead. Only
 * create, push, pop and peek report failures; the lengths cannot fail.
 * No operation checks the handle for NULL, and none locks.
 */
#ifndef ANVIL_C_QUEUE_H
#define ANVIL_C_QUEUE_H

#include <stdint.h>

#include "anvil/defs.h"

ANVIL_BEGIN_DECLS

typedef struct c_queue c_queue;
typedef struct c_stack c_stack;

/* Returns a new empty queue of capacity slots (0 is allowed), or NULL: EINVAL
 * when the slot array would not fit in 32 bits, ENOMEM when either allocation
 * fails (nothing is left allocated). */
ANVIL_API c_queue *c_queue_create(uint32_t capacity);

/* Frees the slots, then the queue. */
ANVIL_API void c_queue_destroy(c_queue *queue);

/* Appends value. Returns 0, or -1 with ENOBUFS when full (nothing changed). */
ANVIL_API int c_queue_push(c_queue *queue, uintptr_t value);

/* Removes and returns the oldest value; 0 with ENODATA when empty. */
ANVIL_API uintptr_t c_queue_pop(c_queue *queue);

/* Returns the oldest value and leaves it; 0 with ENODATA when empty. */
ANVIL_API uintptr_t c_queue_peek(const c_queue *queue);

/* Number of values held. */
ANVIL_API uint32_t c_queue_length(const c_queue *queue);

/* Returns a new empty stack of capacity slots (0 is allowed), or NULL: EINVAL
 * when the slot array would not fit in 32 bits, ENOMEM when either
 * allocation fails (nothing is left allocated). */
ANVIL_API c_stack *c_stack_create(uint32_t capacity);

/* Frees the slots, then the stack. */
ANVIL_API void c_stack_destroy(c_stack *stack);

/* Pushes value. Returns 0, or -1 with ENOBUFS when full (nothing changed). */
ANVIL_API int c_stack_push(c_stack *stack, uintptr_t value);

/* Removes and returns the newest value; 0 with ENODATA when empty. */
ANVIL_API uintptr_t c_stack_pop(c_stack *stack);

/* Returns the newest value and leaves it; 0 with ENODATA when empty. */
ANVIL_API uintptr_t c_stack_peek(const c_stack *stack);

/* Number of values held. */
ANVIL_API uint32_t c_stack_length(const c_stack *stack);

ANVIL_END_DECLS

#endif
