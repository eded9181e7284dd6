#include <anvil/array_stream.h>
#include <anvil/c_queue.h>
#include <anvil/dlist.h>
#include <anvil/ring_buffer.h>
#include <anvil/string_builder.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "support/test_support.hpp"

// Values, lengths and errno of every operation are checked against models
// (tests/model), failed allocations by the reliability matrix; here is what
// neither reaches.

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

// Which slot a value went to shows only in the record, whose first two
// fields are the capacity and the slots.
uintptr_t slot0(const c_queue *q)
{
    struct View { uint32_t capacity; const uintptr_t *data; };
    return reinterpret_cast<const View *>(q)->data[0];
}

// Appends n spaces while every allocation fails: true when the buffer had room.
bool fits(string_builder *b, int n)
{
    anvil_test::fail_alloc_after(0);
    int r = string_builder_append(b, "%*s", n, "");
    anvil_test::disarm_alloc_failure();
    return r == 0;
}

// The text, checked to end where its length says.
std::string text(const string_builder *b)
{
    EXPECT_EQ(strlen(string_builder_to_string(b)), string_builder_length(b));
    return string_builder_to_string(b);
}

}  // namespace

// Shapes that cannot be stored fail with EINVAL before any allocation.
TEST(Containers, BadShapesAreRefusedBeforeAllocating)
{
    // One slot more than a 32-bit byte count holds.
    static const uint32_t words = UINT32_MAX / sizeof(uintptr_t) + 1;
    const struct { const char *what; void *(*make)(); } cases[] = {
        {"ring buffer, capacity 1", [] { return (void *)ring_buffer_create(1, 4); }},
        {"ring buffer, element size 0", [] { return (void *)ring_buffer_create(8, 0); }},
        {"ring buffer, 2^31 + 1 bytes", [] { return (void *)ring_buffer_create(0x80000001u, 1); }},
        {"ring buffer, 2^32 bytes", [] { return (void *)ring_buffer_create(0x80000000u, 2); }},
        {"array stream, element size 0", [] { return (void *)array_stream_create(0, 8); }},
        {"array stream, chunk 0", [] { return (void *)array_stream_create(4, 0); }},
        {"array stream, chunk 2^31 + 1", [] { return (void *)array_stream_create(1, 0x80000001u); }},
        {"array stream, 2^32-byte chunk", [] { return (void *)array_stream_create(2, 0x80000000u); }},
        {"queue", [] { return (void *)c_queue_create(words); }},
        {"stack", [] { return (void *)c_stack_create(words); }},
    };
    for (const auto &c : cases) {
        anvil_test::fail_alloc_after(0);
        errno = 0;
        void *made = c.make();
        int err = errno, calls = anvil_test::alloc_calls();
        anvil_test::disarm_alloc_failure();
        EXPECT_TRUE(made == nullptr && err == EINVAL && calls == 0) << c.what;
    }
    // The largest chunk is allowed; a write needs a count.
    array_stream *largest = array_stream_create(1, 0x80000000u);
    ASSERT_NE(largest, nullptr);
    errno = 0;
    EXPECT_TRUE(array_stream_write(largest, nullptr) == nullptr && errno == EINVAL);
    array_stream_destroy(largest);
}

// Nodes of another list are refused, searches and comparisons follow their
// callback, and a removal needs none.
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
    EXPECT_FALSE(dlist_find(l, v(1), nullptr) || dlist_find_last(l, v(1), nullptr) || dlist_contains(l, v(1), nullptr));
    auto logged = [](const void *a, const void *b) { compared.insert(compared.end(), {u(a), u(b)}); return 0; };
    EXPECT_EQ(dlist_equal(m, l, logged), 0);  // lengths differ: no call
    dlist_add_last(m, v(6));
    EXPECT_EQ(dlist_equal(l, m, logged), 1);  // the second list's value first
    EXPECT_EQ(compared, (Values{4, 1, 5, 2, 6, 1}));
    EXPECT_EQ(dlist_equal(e, e, nullptr), 0);
    EXPECT_EQ(dlist_equal(e, e, same), 1);
    dlist_remove_first(l, nullptr);  // the value is only dropped
    EXPECT_EQ(values(l), (Values{2, 1}));
    for (dlist *x : {l, m, e})
        dlist_destroy(x, nullptr);
}

TEST(CQueue, WrapsAtCapacityAndRestartsAtSlotZeroWhenEmptied)
{
    c_queue *q = c_queue_create(3);
    for (uintptr_t x : {1, 2, 3})
        c_queue_push(q, x);
    c_queue_pop(q);
    c_queue_push(q, 4);  // the tail wraps
    EXPECT_EQ(slot0(q), 4u);
    for (int i = 0; i < 3; ++i)
        c_queue_pop(q);  // emptied with head and tail at slot 1
    c_queue_push(q, 7);
    EXPECT_EQ(slot0(q), 7u);
    c_queue_destroy(q);
}

// The buffer's size shows in how much text fits before an append needs memory.
TEST(StringBuilder, GrowsToTwiceTheNeededLengthAndFailsWithTheTextIntact)
{
    struct Case { int first, then, capacity; };
    for (Case c : {Case{0, 511, 512}, Case{0, 512, 1024}, Case{500, 20, 1040}}) {
        string_builder *b = string_builder_create();
        string_builder_append(b, "%*s", c.first, "");
        const bool grows = c.capacity > 512;
        errno = 0;
        EXPECT_EQ(fits(b, c.then), !grows);  // the partly formatted piece is cut off again
        if (grows)
            EXPECT_TRUE(errno == ENOMEM && text(b) == std::string(c.first, ' '));
        anvil_test::fail_alloc_after(100);
        EXPECT_EQ(string_builder_append(b, "%*s", grows ? c.then : 0, ""), 0);
        EXPECT_EQ(anvil_test::alloc_calls(), grows);
        EXPECT_TRUE(fits(b, c.capacity - 1 - c.first - c.then));  // fills the buffer exactly
        EXPECT_FALSE(fits(b, 1));
        EXPECT_EQ(text(b), std::string(c.capacity - 1, ' '));
        string_builder_destroy(b);
    }
}
