#include <anvil/dlist.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <vector>

namespace {

using Values = std::vector<uintptr_t>;
void *v(uintptr_t x) { return reinterpret_cast<void *>(x); }
uintptr_t u(const void *p) { return reinterpret_cast<uintptr_t>(p); }
int same(const void *a, const void *b) { return a != b; }
Values compared;

Values values(const dlist *l)
{
    Values r;
    for (const dlist_node *n = dlist_first(l); n; n = n->next)
        r.push_back(u(n->data));
    return r;
}

}  // namespace

// Insertion, removal and search are checked against a model (tests/model),
// failed allocations by the reliability matrix. Here: nodes of another list
// are refused, searches and comparisons follow their callback, and a removal
// needs none.
TEST(Dlist, RefusalsAndQueries)
{
    dlist *l = dlist_create(), *m = dlist_create(), *e = dlist_create();
    for (uintptr_t x : {1, 2, 1, 4, 5})
        dlist_add_last(x < 4 ? l : m, v(x));
    for (dlist_node *n : {dlist_first(m), static_cast<dlist_node *>(nullptr)}) {
        errno = 0;
        EXPECT_EQ(dlist_add_before(l, n, v(3)) + dlist_add_after(l, n, v(3)) + dlist_remove_node(l, n, nullptr), -3);
        EXPECT_EQ(errno, EINVAL);
    }
    EXPECT_TRUE(values(l) == (Values{1, 2, 1}) && values(m) == (Values{4, 5}));
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
    dlist_remove_first(l, nullptr);  // the value is only dropped
    EXPECT_EQ(values(l), (Values{2, 1}));
    for (dlist *x : {l, m, e})
        dlist_destroy(x, nullptr);
}
