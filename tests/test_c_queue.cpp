#include <anvil/c_queue.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <utility>

#include "support/test_support.hpp"

namespace {

// Which slot a value went to shows only in the record, whose first two
// fields are the capacity and the slots.
uintptr_t slot0(const c_queue *q)
{
    struct View { uint32_t capacity; const uintptr_t *data; };
    return reinterpret_cast<const View *>(q)->data[0];
}

// The result of call, and errno (cleared before the call).
using Result = std::pair<intptr_t, int>;
template <class F>
Result with_errno(F call)
{
    errno = 0;
    auto r = call();
    return {(intptr_t)r, errno};
}

}  // namespace

// Values, errno and lengths are checked against a model (tests/model).
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

// One slot more than a 32-bit byte count holds: refused before allocating.
TEST(WordContainers, OversizedCapacityIsRefusedBeforeAllocating)
{
    const uint32_t too_many = UINT32_MAX / sizeof(uintptr_t) + 1;
    anvil_test::fail_alloc_after(0);
    EXPECT_EQ(with_errno([=] { return (intptr_t)c_queue_create(too_many) | (intptr_t)c_stack_create(too_many); }),
              Result(0, EINVAL));
    EXPECT_EQ(anvil_test::alloc_calls(), 0);
    anvil_test::disarm_alloc_failure();
}
