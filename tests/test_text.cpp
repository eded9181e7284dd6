#include <anvil/text.h>
#include <gtest/gtest.h>

#include <cctype>
#include <clocale>
#include <string>

namespace {

std::string trimmed(std::string s)
{
    trim(s.data());
    return s.c_str();
}

// Every parseNameValue call over text until it fails, as "name=value" or
// "name|value" for a failure, then "@null" or "@" and the text left at the
// cursor; "-" marks what a call left alone.
std::string walk(std::string text)
{
    char *cursor = text.data(), *name, *value, untouched[] = "-";
    std::string out;
    for (int r = 0; r == 0;) {
        name = value = untouched;
        r = parseNameValue(&cursor, &name, &value);
        out += std::string(name) + (r == 0 ? "=" + std::string(value) : "|" + std::string(value));
        out += cursor ? "@" + std::string(cursor) + " " : "@null ";
    }
    return out;
}

}  // namespace

TEST(Trim, EndsGoInteriorStays)
{
    EXPECT_EQ(trimmed(""), "");
    EXPECT_EQ(trimmed("   "), "");
    EXPECT_EQ(trimmed("  a  "), "a");
    EXPECT_EQ(trimmed("a b"), "a b");
    EXPECT_EQ(trimmed("\t\r\n abc\r\n\v\f"), "abc");
    EXPECT_EQ(trimmed("x\t\t"), "x");
    EXPECT_EQ(trimmed("\t\tx"), "x");
    char buf[] = "  in  side ";
    trim(buf);
    EXPECT_STREQ(buf, "in  side");  // moved to the start of the buffer
}

TEST(Trim, WhiteSpaceIsTheLocalesClassForEveryByte)
{
    for (const char *name : {"C", "C.UTF-8"}) {
        locale_t loc = newlocale(LC_ALL_MASK, name, nullptr);
        ASSERT_NE(loc, nullptr) << name;
        locale_t old = uselocale(loc);
        for (int b = 1; b < 256; ++b) {
            std::string s{char(b), 'x', char(b)};
            EXPECT_EQ(trimmed(s), std::isspace(b) ? "x" : s) << name << " byte " << b;
        }
        uselocale(old);
        freelocale(loc);
    }
}

TEST(ParseNameValue, SplitsPairsInPlace)
{
    EXPECT_EQ(walk("a=1&b=2"), "a=1@b=2 b=2@null -|-@null ");  // null cursor: nothing written
    EXPECT_EQ(walk("a=b=c"), "a=b=c@null -|-@null ");
    EXPECT_EQ(walk("x&y=1"), "x&y=1@null -|-@null ");
    EXPECT_EQ(walk("=v"), "=v@null -|-@null ");
    EXPECT_EQ(walk("n=&m=1&"), "n=@m=1& m=1@ |-@null ");
    EXPECT_EQ(walk("flag"), "flag|-@null ");
    EXPECT_EQ(walk(""), "|-@null ");
    EXPECT_EQ(walk(" a = %20+b "), " a = %20+b @null -|-@null ");
}
