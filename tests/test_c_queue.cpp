#include <anvil/c_queue.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>

#include "support/test_support.hpp"

namespace {

// The queue's record as the library lays it out, to see where values go.
struct QueueView {
    uint32_t capacity;
    uintptr_t *data;
    uint32_t head, tail, length;
};
const QueueView &view(const c_queue *q) { return *reinterpret_cast<const QueueView *>(q); }

// The result of call, and errno (cleared before the call).
template <class F>
auto with_errno(F call)
{
    errno = 0;
    auto r = call();
    return std::make_pair((intptr_t)r, errno);
}
using Result = std::pair<intptr_t, int>;

}  // namespace

TEST(CQueue, WrapsAtCapacityAndRestartsAtSlotZeroWhenEmptied)
{
    c_queue *q = c_queue_create(3);
    EXPECT_EQ(c_queue_push(q, 1) + c_queue_push(q, 2) + c_queue_push(q, 3), 0);
    EXPECT_EQ(with_errno([q] { return c_queue_push(q, 9); }), Result(-1, ENOBUFS));
    EXPECT_EQ(c_queue_pop(q), 1u);
    EXPECT_EQ(c_queue_push(q, 4), 0);
    EXPECT_EQ(view(q).data[0], 4u);  // the tail wrapped
    EXPECT_TRUE(c_queue_peek(q) == 2 && c_queue_length(q) == 3);
    for (uintptr_t x : {2, 3, 4})
        EXPECT_EQ(c_queue_pop(q), x);
    EXPECT_EQ(with_errno([q] { return c_queue_pop(q); }), Result(0, ENODATA));
    EXPECT_EQ(with_errno([q] { return c_queue_peek(q); }), Result(0, ENODATA));
    c_queue_push(q, 5);
    EXPECT_EQ(c_queue_pop(q), 5u);  // emptied away from slot 0
    c_queue_push(q, 7);
    EXPECT_EQ(view(q).data[0], 7u);
    c_queue_destroy(q);
}

TEST(CStack, PushesPopsAndPeeksAtTheTop)
{
    c_stack *s = c_stack_create(2);
    EXPECT_EQ(c_stack_push(s, 7) + c_stack_push(s, 8), 0);
    EXPECT_EQ(with_errno([s] { return c_stack_push(s, 9); }), Result(-1, ENOBUFS));
    EXPECT_TRUE(c_stack_peek(s) == 8 && c_stack_length(s) == 2);
    EXPECT_EQ(c_stack_pop(s), 8u);
    EXPECT_EQ(c_stack_pop(s), 7u);
    EXPECT_EQ(with_errno([s] { return c_stack_pop(s); }), Result(0, ENODATA));
    EXPECT_EQ(with_errno([s] { return c_stack_peek(s); }), Result(0, ENODATA));
    c_stack_destroy(s);
}

TEST(WordContainers, StoredZerosAndZeroCapacity)
{
    c_queue *q = c_queue_create(0), *q1 = c_queue_create(1);
    c_stack *s = c_stack_create(0), *s1 = c_stack_create(1);
    EXPECT_EQ(c_queue_push(q, 1) + c_stack_push(s, 1), -2);
    c_queue_push(q1, 0);
    c_stack_push(s1, 0);
    EXPECT_EQ(with_errno([=] { return c_queue_pop(q1) + c_stack_pop(s1); }), Result(0, 0));
    c_queue_destroy(q);
    c_queue_destroy(q1);
    c_stack_destroy(s);
    c_stack_destroy(s1);
}

TEST(WordContainers, CreationFailsCleanly)
{
    // One slot more than a 32-bit byte count holds: refused before allocating.
    const uint32_t too_many = UINT32_MAX / sizeof(uintptr_t) + 1;
    anvil_test::fail_alloc_after(100);
    EXPECT_EQ(with_errno([=] { return c_queue_create(too_many); }), Result(0, EINVAL));
    EXPECT_EQ(with_errno([=] { return c_stack_create(too_many); }), Result(0, EINVAL));
    EXPECT_EQ(anvil_test::alloc_calls(), 0);
    for (int ok = 0; ok < 2; ++ok) {  // either allocation; the leak checker sees the rest
        anvil_test::fail_alloc_after(ok);
        EXPECT_EQ(with_errno([] { return c_queue_create(4); }), Result(0, ENOMEM));
        anvil_test::fail_alloc_after(ok);
        EXPECT_EQ(with_errno([] { return c_stack_create(4); }), Result(0, ENOMEM));
    }
    anvil_test::disarm_alloc_failure();
}
