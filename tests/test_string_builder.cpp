#include <anvil/string_builder.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "support/test_support.hpp"

namespace {

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
