// Fixed-capacity LIFO of words; length is also the next free slot.
#include "anvil/c_queue.h"

#include "containers/word_slots.hpp"

struct c_stack {
    uint32_t capacity;
    uintptr_t *data;
    uint32_t length;
};

c_stack *c_stack_create(uint32_t capacity)
{
    return anvil::slots_create<c_stack>(capacity);
}

void c_stack_destroy(c_stack *stack)
{
    anvil::slots_destroy(stack);
}

int c_stack_push(c_stack *stack, uintptr_t value)
{
    if (anvil::slots_refuse_push(stack))
        return -1;
    stack->data[stack->length++] = value;
    return 0;
}

uintptr_t c_stack_pop(c_stack *stack)
{
    return stack->length ? stack->data[--stack->length] : anvil::slots_empty();
}

uintptr_t c_stack_peek(const c_stack *stack)
{
    return stack->length ? stack->data[stack->length - 1] : anvil::slots_empty();
}

uint32_t c_stack_length(const c_stack *stack)
{
    return stack->length;
}
