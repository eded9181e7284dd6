/* Concurrency Kit's single-producer rings behind plain functions: its header
 * does not compile as C++. */
#include <ck_ring.h>
#include <stdlib.h>

#include "ck_ring_peer.h"

struct rec64 {
    unsigned char b[64];
};
CK_RING_PROTOTYPE(rec64, rec64)

struct ck_peer {
    struct ck_ring ring;
    void *buffer;
};

struct ck_peer *ck_peer_create(unsigned capacity, size_t slot_size)
{
    struct ck_peer *p = malloc(sizeof *p);
    p->buffer = calloc(capacity, slot_size);
    ck_ring_init(&p->ring, capacity);
    return p;
}

void ck_peer_destroy(struct ck_peer *p)
{
    free(p->buffer);
    free(p);
}

bool ck_peer_push_pointer(struct ck_peer *p, void *v)
{
    return ck_ring_enqueue_spsc(&p->ring, p->buffer, v);
}

bool ck_peer_pop_pointer(struct ck_peer *p, void **v)
{
    return ck_ring_dequeue_spsc(&p->ring, p->buffer, v);
}

bool ck_peer_push_rec64(struct ck_peer *p, const void *rec)
{
    return ck_ring_enqueue_spsc_rec64(&p->ring, p->buffer, (struct rec64 *)rec);
}

bool ck_peer_pop_rec64(struct ck_peer *p, void *rec)
{
    return ck_ring_dequeue_spsc_rec64(&p->ring, p->buffer, rec);
}
