/* Doubly linked list of word-sized values.
 *
 * The list owns its nodes; the values belong to the caller. A value is a
 * word: a pointer, or an integer of pointer width cast through uintptr_t
 * (32 bits on the 32-bit ARM target, 64 bits on a 64-bit host). Values are
 * stored as given and never interpreted. Removing operations take an optional
 * free callback (NULL leaves values alone), called once per removed value;
 * `free` itself fits. The single removals call it once the list is
 * consistent again; dlist_clear and dlist_destroy call it during their walk,
 * before the list is reset, so it must not use the list there.
 * No operation checks the list handle for NULL, and none locks. Only the
 * insertions and dlist_remove_node fail and set errno; the lookups and the
 * other removals cannot fail.
 */
#ifndef ANVIL_DLIST_H
#define ANVIL_DLIST_H

#include <stdint.h>

#include "anvil/defs.h"

ANVIL_BEGIN_DECLS

typedef struct dlist dlist;

/* One element. Walk the list and read values through these fields; nodes are
 * created and freed only by the list, and a node pointer is valid only while
 * its node is in the list. */
typedef struct dlist_node {
    dlist *list;             /* the list holding the node */
    void *data;              /* the caller's value */
    struct dlist_node *prev; /* NULL for the first node */
    struct dlist_node *next; /* NULL for the last node */
} dlist_node;

/* Releases one value. */
typedef void (*dlist_free_fn)(void *value);

/* Returns 0 when the two values match; only zero or non-zero is used. */
typedef int (*dlist_compare_fn)(const void *a, const void *b);

/* Returns a new empty list, or NULL with errno ENOMEM. */
ANVIL_API dlist *dlist_create(void);

/* Clears the list with free_value (or NULL), then frees it. */
ANVIL_API void dlist_destroy(dlist *list, dlist_free_fn free_value);

/* Insert value at the front or at the back. Return 0, or -1 with errno ENOMEM
 * and the list unchanged. */
ANVIL_API int dlist_add_first(dlist *list, void *value);
ANVIL_API int dlist_add_last(dlist *list, void *value);

/* Insert value just before or just after node. Return 0; -1 with EINVAL when
 * node is NULL or not in this list (nothing is allocated then); -1 with
 * ENOMEM. */
ANVIL_API int dlist_add_before(dlist *list, dlist_node *node, void *value);
ANVIL_API int dlist_add_after(dlist *list, dlist_node *node, void *value);

/* Remove the first or the last node, passing its value to free_value when
 * not NULL. Nothing happens on an empty list. Read the node's data first if
 * the value is still needed. */
ANVIL_API void dlist_remove_first(dlist *list, dlist_free_fn free_value);
ANVIL_API void dlist_remove_last(dlist *list, dlist_free_fn free_value);

/* Removes node as above. Returns 0, or -1 with EINVAL when node is NULL or
 * not in this list. */
ANVIL_API int dlist_remove_node(dlist *list, dlist_node *node, dlist_free_fn free_value);

/* Removes every node, calling free_value (when not NULL) from first to last
 * as each node is freed; the list is reset to empty only after the walk. */
ANVIL_API void dlist_clear(dlist *list, dlist_free_fn free_value);

/* The first node, the last node (NULL when empty), the number of nodes. */
ANVIL_API dlist_node *dlist_first(const dlist *list);
ANVIL_API dlist_node *dlist_last(const dlist *list);
ANVIL_API uint32_t dlist_length(const dlist *list);

/* The first node from the front (dlist_find) or from the back
 * (dlist_find_last) for which compare(key, data) returns 0; NULL when none
 * does or compare is NULL. */
ANVIL_API dlist_node *dlist_find(const dlist *list, const void *key, dlist_compare_fn compare);
ANVIL_API dlist_node *dlist_find_last(const dlist *list, const void *key, dlist_compare_fn compare);

/* 1 when dlist_find finds a node, else 0. */
ANVIL_API int dlist_contains(const dlist *list, const void *key, dlist_compare_fn compare);

/* 1 when both lists have the same length and compare(value of b, value of a)
 * returns 0 for every pair in order; else 0. Lengths are compared first, so
 * lists of different lengths never reach the callback. A NULL compare gives 0. */
ANVIL_API int dlist_equal(const dlist *a, const dlist *b, dlist_compare_fn compare);

ANVIL_END_DECLS

#endif
