// Doubly linked list: every insertion is one link between two neighbours,
// every removal one unlink.
#include "anvil/dlist.h"

#include <cerrno>
#include <cstdlib>

#include "base/errno_guard.hpp"

struct dlist {
    dlist_node *first;
    dlist_node *last;
    uint32_t length;
};

namespace {

// Puts node between before and after, either of which may be NULL (an end).
void dlist_link(dlist *list, dlist_node *node, dlist_node *before, dlist_node *after)
{
    if (after)
        after->prev = node;
    else
        list->last = node;
    node->next = after;
    node->prev = before;
    if (before)
        before->next = node;
    else
        list->first = node;
    ++list->length;
}

int dlist_add_between(dlist *list, void *value, dlist_node *before, dlist_node *after)
{
    auto *node = static_cast<dlist_node *>(std::malloc(sizeof(dlist_node)));
    if (!node)
        return -1;
    node->list = list;
    node->data = value;
    dlist_link(list, node, before, after);
    return 0;
}

// The list is consistent again before the callback sees the value.
void dlist_unlink(dlist *list, dlist_node *node, dlist_free_fn free_value)
{
    if (node->prev)
        node->prev->next = node->next;
    else
        list->first = node->next;
    if (node->next)
        node->next->prev = node->prev;
    else
        list->last = node->prev;
    --list->length;
    if (free_value)
        free_value(node->data);
    std::free(node);
}

bool holds(const dlist *list, const dlist_node *node)
{
    return node && node->list == list;
}

template <bool backwards>
dlist_node *search(const dlist *list, const void *key, dlist_compare_fn compare)
{
    if (!compare)
        return nullptr;
    for (dlist_node *n = backwards ? list->last : list->first; n; n = backwards ? n->prev : n->next)
        if (compare(key, n->data) == 0)
            return n;
    return nullptr;
}

}  // namespace

dlist *dlist_create(void)
{
    auto *list = static_cast<dlist *>(std::malloc(sizeof(dlist)));
    if (list)
        *list = dlist{nullptr, nullptr, 0};
    return list;
}

void dlist_destroy(dlist *list, dlist_free_fn free_value)
{
    dlist_clear(list, free_value);
    std::free(list);
}

int dlist_add_first(dlist *list, void *value)
{
    return dlist_add_between(list, value, nullptr, list->first);
}

int dlist_add_last(dlist *list, void *value)
{
    return dlist_add_between(list, value, list->last, nullptr);
}

int dlist_add_before(dlist *list, dlist_node *node, void *value)
{
    if (!holds(list, node))
        return anvil::fail(EINVAL);
    return dlist_add_between(list, value, node->prev, node);
}

int dlist_add_after(dlist *list, dlist_node *node, void *value)
{
    if (!holds(list, node))
        return anvil::fail(EINVAL);
    return dlist_add_between(list, value, node, node->next);
}

void dlist_remove_first(dlist *list, dlist_free_fn free_value)
{
    if (list->first)
        dlist_unlink(list, list->first, free_value);
}

void dlist_remove_last(dlist *list, dlist_free_fn free_value)
{
    if (list->last)
        dlist_unlink(list, list->last, free_value);
}

int dlist_remove_node(dlist *list, dlist_node *node, dlist_free_fn free_value)
{
    if (!holds(list, node))
        return anvil::fail(EINVAL);
    dlist_unlink(list, node, free_value);
    return 0;
}

void dlist_clear(dlist *list, dlist_free_fn free_value)
{
    for (dlist_node *n = list->first; n;) {
        dlist_node *next = n->next;
        if (free_value)
            free_value(n->data);
        std::free(n);
        n = next;
    }
    *list = dlist{nullptr, nullptr, 0};
}

dlist_node *dlist_first(const dlist *list)
{
    return list->first;
}

dlist_node *dlist_last(const dlist *list)
{
    return list->last;
}

uint32_t dlist_length(const dlist *list)
{
    return list->length;
}

dlist_node *dlist_find(const dlist *list, const void *key, dlist_compare_fn compare)
{
    return search<false>(list, key, compare);
}

dlist_node *dlist_find_last(const dlist *list, const void *key, dlist_compare_fn compare)
{
    return search<true>(list, key, compare);
}

int dlist_contains(const dlist *list, const void *key, dlist_compare_fn compare)
{
    return dlist_find(list, key, compare) != nullptr;
}

int dlist_equal(const dlist *a, const dlist *b, dlist_compare_fn compare)
{
    if (a->length != b->length || !compare)
        return 0;
    for (const dlist_node *x = a->first, *y = b->first; x; x = x->next, y = y->next)
        if (compare(y->data, x->data) != 0)
            return 0;
    return 1;
}
