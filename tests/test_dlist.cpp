#include <anvil/dlist.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <vector>

#include "support/test_support.hpp"

namespace {

using Values = std::vector<uintptr_t>;
void *v(uintptr_t x) { return reinterpret_cast<void *>(x); }
uintptr_t u(const void *p) { return reinterpret_cast<uintptr_t>(p); }
int same(const void *a, const void *b) { return a != b; }
Values freed, compared;
void record_free(void *value) { freed.push_back(u(value)); }

// Walks the list both ways, checking every link, owner and the length.
void expect_list(const dlist *l, const Values &want)
{
    Values fwd, back;
    const dlist_node *prev = nullptr;
    for (const dlist_node *n = dlist_first(l); n; prev = n, n = n->next) {
        EXPECT_TRUE(n->prev == prev && n->list == l);
        fwd.push_back(u(n->data));
    }
    EXPECT_EQ(dlist_last(l), prev);
    for (const dlist_node *n = dlist_last(l); n; n = n->prev)
        back.insert(back.begin(), u(n->data));
    EXPECT_TRUE(fwd == want && back == want && dlist_length(l) == want.size());
}

}  // namespace

TEST(Dlist, EveryInsertionAndRemovalKeepsTheLinks)
{
    dlist *l = dlist_create();
    int r = dlist_add_first(l, v(2));
    r |= dlist_add_last(l, v(4));
    r |= dlist_add_first(l, v(1));
    r |= dlist_add_before(l, dlist_first(l), v(0));
    r |= dlist_add_after(l, dlist_last(l), v(5));
    r |= dlist_add_after(l, dlist_first(l)->next->next, v(3));
    r |= dlist_add_before(l, dlist_last(l)->prev, v(9));
    expect_list(l, {0, 1, 2, 3, 9, 4, 5});
    r |= dlist_remove_node(l, dlist_last(l)->prev->prev, record_free);
    r |= dlist_remove_node(l, dlist_first(l), record_free);
    r |= dlist_remove_node(l, dlist_last(l), nullptr);
    expect_list(l, {1, 2, 3, 4});
    dlist_remove_first(l, record_free);
    dlist_remove_last(l, record_free);
    expect_list(l, {2, 3});
    dlist_clear(l, record_free);
    dlist_remove_first(l, record_free);  // empty: nothing happens
    dlist_remove_last(l, record_free);
    r |= dlist_add_last(l, v(6));
    r |= dlist_remove_node(l, dlist_first(l), record_free);  // the only one
    expect_list(l, {});
    EXPECT_EQ(r, 0);
    dlist_add_last(l, v(7));
    dlist_destroy(l, record_free);
    EXPECT_EQ(freed, (Values{9, 0, 1, 4, 2, 3, 6, 7}));  // once each, in order
}

// Refused nodes and failed allocations change nothing; searches and
// comparisons follow their callback.
TEST(Dlist, RefusalsAndQueries)
{
    dlist *l = dlist_create(), *m = dlist_create(), *e = dlist_create();
    for (uintptr_t x : {1, 2, 1, 4, 5})
        dlist_add_last(x < 4 ? l : m, v(x));
    anvil_test::fail_alloc_after(0);
    for (dlist_node *n : {dlist_first(m), static_cast<dlist_node *>(nullptr)}) {
        errno = 0;
        EXPECT_EQ(dlist_add_before(l, n, v(3)) + dlist_add_after(l, n, v(3)) + dlist_remove_node(l, n, nullptr), -3);
        EXPECT_EQ(errno, EINVAL);
    }
    EXPECT_EQ(anvil_test::alloc_calls(), 0);  // refused before allocating
    EXPECT_EQ(dlist_add_first(l, v(3)) + dlist_add_last(l, v(3)) + dlist_add_after(l, dlist_first(l), v(3)), -3);
    EXPECT_EQ(errno, ENOMEM);
    EXPECT_EQ(dlist_create(), nullptr);
    anvil_test::disarm_alloc_failure();
    expect_list(l, {1, 2, 1});
    expect_list(m, {4, 5});
    EXPECT_TRUE(dlist_find(l, v(1), same) == dlist_first(l) && dlist_find_last(l, v(1), same) == dlist_last(l));
    EXPECT_TRUE(dlist_contains(l, v(2), same) && !dlist_find(l, v(5), same) && !dlist_find_last(l, v(5), same));
    EXPECT_FALSE(dlist_find(l, v(1), nullptr) || dlist_find_last(l, v(1), nullptr) || dlist_contains(l, v(1), nullptr));
    auto logged = [](const void *a, const void *b) { compared.insert(compared.end(), {u(a), u(b)}); return 0; };
    EXPECT_EQ(dlist_equal(m, l, logged), 0);  // lengths differ: no call
    dlist_add_last(m, v(6));
    EXPECT_EQ(dlist_equal(l, m, logged), 1);  // the second list's value first
    EXPECT_EQ(compared, (Values{4, 1, 5, 2, 6, 1}));
    EXPECT_EQ(dlist_equal(l, m, same) + dlist_equal(e, e, nullptr), 0);
    EXPECT_EQ(dlist_equal(e, e, same), 1);
    for (dlist *x : {l, m, e})
        dlist_destroy(x, nullptr);
}
