/* A producer and a consumer thread passing sensor readings through a ring
 * buffer, both working in place in its storage (reserve and commit, peek and
 * decommit). The buffer does no locking of its own: every call on it is made
 * under one futex mutex.
 *
 *   usage: ring_buffer_pipeline [readings]        (default: 10000)
 */
#include <anvil.h>

#include <errno.h>
#include <pthread.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

struct reading {
    uint32_t seq;
    int32_t millicelsius;
};

struct pipeline {
    ring_buffer *rb;
    int32_t lock; /* the mutex word: 0 is unlocked */
    uint32_t total;
    int stop; /* set under the lock when the producer cannot start */
    int bad_order;
    int32_t min, max;
    int64_t sum;
};

/* mutex_lock gives up when a signal or a concurrent change interrupts its
 * wait; it only has to be called again. */
static void lock(int32_t *word)
{
    while (mutex_lock(word) != 0)
        ;
}

static void unlock(int32_t *word)
{
    int rc = mutex_unlock(word);
    if (rc != 0)
        fprintf(stderr, "mutex_unlock: %s\n", strerror(-rc));
}

static void pause_briefly(void)
{
    struct timespec ms = {0, 1000000};
    nanosleep(&ms, NULL);
}

static int32_t sample(uint32_t seq)
{
    return 20000 + (int32_t)(seq * 37 % 5000);
}

static void *produce(void *arg)
{
    struct pipeline *p = arg;
    uint32_t next = 0;
    while (next < p->total) {
        uint32_t room, i;
        lock(&p->lock);
        struct reading *slot = ring_buffer_reserve(p->rb, &room);
        for (i = 0; i < room && next < p->total; i++, next++) {
            slot[i].seq = next;
            slot[i].millicelsius = sample(next);
        }
        ring_buffer_commit(p->rb, i);
        unlock(&p->lock);
        if (room == 0)
            pause_briefly(); /* full: let the consumer catch up */
    }
    return NULL;
}

static void *consume(void *arg)
{
    struct pipeline *p = arg;
    uint32_t expected = 0;
    while (expected < p->total) {
        uint32_t count, i;
        lock(&p->lock);
        if (p->stop) {
            unlock(&p->lock);
            break;
        }
        const struct reading *r = ring_buffer_peek(p->rb, &count);
        for (i = 0; i < count; i++, expected++) {
            if (r[i].seq != expected)
                p->bad_order = 1;
            if (r[i].millicelsius < p->min)
                p->min = r[i].millicelsius;
            if (r[i].millicelsius > p->max)
                p->max = r[i].millicelsius;
            p->sum += r[i].millicelsius;
        }
        ring_buffer_decommit(p->rb, count);
        unlock(&p->lock);
        if (count == 0)
            pause_briefly(); /* empty: let the producer fill it */
    }
    return NULL;
}

int main(int argc, char **argv)
{
    struct pipeline p = {NULL, 0, 10000, 0, 0, INT32_MAX, INT32_MIN, 0};
    pthread_t producer, consumer;
    int rc;

    if (argc > 1)
        p.total = (uint32_t)strtoul(argv[1], NULL, 10);
    /* Capacity first, then the element size; the capacity is rounded up to
     * a power of two. */
    p.rb = ring_buffer_create(64, sizeof(struct reading));
    if (p.rb == NULL) {
        perror("ring_buffer_create");
        return 1;
    }
    rc = pthread_create(&consumer, NULL, consume, &p);
    if (rc != 0) {
        fprintf(stderr, "pthread_create: %s\n", strerror(rc));
        ring_buffer_destroy(p.rb);
        return 1;
    }
    rc = pthread_create(&producer, NULL, produce, &p);
    if (rc != 0) {
        fprintf(stderr, "pthread_create: %s\n", strerror(rc));
        lock(&p.lock);
        p.stop = 1;
        unlock(&p.lock);
        pthread_join(consumer, NULL);
        ring_buffer_destroy(p.rb);
        return 1;
    }
    pthread_join(producer, NULL);
    pthread_join(consumer, NULL);
    ring_buffer_destroy(p.rb);

    if (p.total == 0) {
        printf("no readings\n");
        return 0;
    }
    printf("consumed %u readings %s\n", (unsigned)p.total, p.bad_order ? "OUT OF ORDER" : "in order");
    printf("min %.3f C, max %.3f C, mean %.3f C\n", p.min / 1000.0, p.max / 1000.0,
           (double)p.sum / p.total / 1000.0);
    return p.bad_order;
}
