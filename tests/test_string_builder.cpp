#include <anvil/string_builder.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <string>

#include "support/test_support.hpp"

namespace {

// The builder's record as the library lays it out, to see its capacity.
struct BuilderView {
    char *data;
    uint32_t capacity, length;
};
uint32_t capacity(const string_builder *b) { return reinterpret_cast<const BuilderView *>(b)->capacity; }

// A fresh builder given n characters in one append.
string_builder *holding(int n)
{
    string_builder *b = string_builder_create();
    EXPECT_EQ(string_builder_append(b, "%*s", n, ""), 0);
    return b;
}

}  // namespace

TEST(StringBuilder, GrowsToTwiceTheNeededLength)
{
    string_builder *b = string_builder_create();
    EXPECT_EQ(string_builder_length(b), 0u);
    EXPECT_STREQ(string_builder_to_string(b), "");
    string_builder_destroy(b);
    struct Case { int first; const char *then; uint32_t capacity, length; };
    for (Case c : {Case{511, "", 512, 511}, Case{512, "", 1024, 512}, Case{500, "abcdefghijklmnopqrst", 1040, 520}}) {
        b = holding(c.first);
        string_builder_append(b, "%s", c.then);
        EXPECT_EQ(capacity(b), c.capacity);
        EXPECT_EQ(string_builder_length(b), c.length);
        EXPECT_EQ(string_builder_to_string(b), std::string(c.first, ' ') + c.then);
        string_builder_destroy(b);
    }
}

TEST(StringBuilder, FailedAppendLeavesTheTextAsItWas)
{
    string_builder *b = holding(500);
    const std::string before(500, ' ');
    anvil_test::fail_alloc_after(0);
    errno = 0;
    EXPECT_EQ(string_builder_append(b, "%s", "abcdefghijklmnopqrst"), -1);
    EXPECT_EQ(errno, ENOMEM);
    anvil_test::disarm_alloc_failure();
    EXPECT_EQ(string_builder_to_string(b), before);
    EXPECT_EQ(capacity(b), 512u);
    // The C locale cannot encode this character: the formatter gives up midway.
    errno = 0;
    EXPECT_EQ(string_builder_append(b, "ab%lsc", L"\u00e9"), -1);
    EXPECT_EQ(errno, EILSEQ);
    EXPECT_EQ(string_builder_to_string(b), before);
    EXPECT_EQ(string_builder_length(b), 500u);
    EXPECT_EQ(string_builder_append(b, "%d", 42), 0);  // still usable
    EXPECT_EQ(string_builder_to_string(b), before + "42");
    string_builder_destroy(b);
}

TEST(StringBuilder, ManyPiecesMatchSnprintfAndTruncate)
{
    string_builder *b = string_builder_create();
    std::string want;
    char piece[64];
    for (int i = 0; i < 5000; ++i) {
        want.append(piece, snprintf(piece, sizeof piece, "[%d:%x:%s]", i, i * 7919, i % 3 ? "ab" : ""));
        string_builder_append(b, "[%d:%x:%s]", i, i * 7919, i % 3 ? "ab" : "");
    }
    EXPECT_TRUE(string_builder_to_string(b) == want && string_builder_length(b) == want.size());
    string_builder_truncate(b, 10);
    string_builder_truncate(b, 20);  // never lengthens
    EXPECT_TRUE(string_builder_to_string(b) == want.substr(0, 10) && string_builder_length(b) == 10);
    string_builder_destroy(b);
}
