// Fixed-capacity FIFO of words in a circular array.
#include "anvil/c_queue.h"

#include "containers/word_slots.hpp"

struct c_queue {
    uint32_t capacity;
    uintptr_t *data;
    uint32_t head;  // slot of the oldest value
    uint32_t tail;  // slot for the next push
    uint32_t length;
};

c_queue *c_queue_create(uint32_t capacity)
{
    return anvil::slots_create<c_queue>(capacity);
}

void c_queue_destroy(c_queue *queue)
{
    anvil::slots_destroy(queue);
}

int c_queue_push(c_queue *queue, uintptr_t value)
{
    if (anvil::slots_refuse_push(queue))
        return -1;
    queue->data[queue->tail] = value;
    if (++queue->tail == queue->capacity)
        queue->tail = 0;
    ++queue->length;
    return 0;
}

uintptr_t c_queue_pop(c_queue *queue)
{
    if (queue->length == 0)
        return anvil::slots_empty();
    uintptr_t value = queue->data[queue->head];
    if (--queue->length == 0) {
        // An empty queue starts again at slot 0.
        queue->head = queue->tail = 0;
    } else if (++queue->head == queue->capacity) {
        queue->head = 0;
    }
    return value;
}

uintptr_t c_queue_peek(const c_queue *queue)
{
    return queue->length ? queue->data[queue->head] : anvil::slots_empty();
}

uint32_t c_queue_length(const c_queue *queue)
{
    return queue->length;
}
