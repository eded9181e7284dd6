/* The Concurrency Kit ring loops of the ring buffer benchmark. */
#ifndef CK_RING_PEER_H
#define CK_RING_PEER_H

#include <stdbool.h>
#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

struct ck_peer;
struct ck_peer *ck_peer_create(unsigned capacity, size_t slot_size);
void ck_peer_destroy(struct ck_peer *p);
/* One element in or out; false when full or empty. */
bool ck_peer_push_pointer(struct ck_peer *p, void *v);
bool ck_peer_pop_pointer(struct ck_peer *p, void **v);
bool ck_peer_push_rec64(struct ck_peer *p, const void *rec);
bool ck_peer_pop_rec64(struct ck_peer *p, void *rec);

#ifdef __cplusplus
}
#endif

#endif
