#include <anvil/text.h>
#include <gtest/gtest.h>

#include <cctype>
#include <clocale>
#include <cstring>
#include <string>

namespace {

std::string trimmed(std::string s)
{
    trim(s.data());
    return s.c_str();
}

struct Pair {
    int result;
    std::string name, value;
};

// One parseNameValue call; value reads "-" when the call left it alone.
Pair next_pair(char **cursor)
{
    static char untouched[] = "-";
    char *name = nullptr, *value = untouched;
    int r = parseNameValue(cursor, &name, &value);
    return {r, name ? name : "(null)", value};
}

}  // namespace

TEST(Trim, EndsAndInterior)
{
    EXPECT_EQ(trimmed(""), "");
    EXPECT_EQ(trimmed("   "), "");
    EXPECT_EQ(trimmed("  a  "), "a");
    EXPECT_EQ(trimmed("a"), "a");
    EXPECT_EQ(trimmed("a b"), "a b");
    EXPECT_EQ(trimmed("\t\r\n abc\r\n\v\f"), "abc");
    EXPECT_EQ(trimmed("x\t\t"), "x");
    EXPECT_EQ(trimmed("\t\tx"), "x");
    EXPECT_EQ(trimmed(" in  side "), "in  side");
}

TEST(Trim, MovesTheTextToTheStartOfTheBuffer)
{
    char buf[] = "  ab  ";
    trim(buf);
    EXPECT_STREQ(buf, "ab");
    EXPECT_EQ(buf[2], '\0');
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

TEST(ParseNameValue, WalksAList)
{
    char text[] = "a=1&b=2";
    char *cursor = text;
    Pair p = next_pair(&cursor);
    EXPECT_EQ(p.result, 0);
    EXPECT_EQ(p.name, "a");
    EXPECT_EQ(p.value, "1");
    EXPECT_EQ(cursor, text + 4);
    p = next_pair(&cursor);
    EXPECT_EQ(p.result, 0);
    EXPECT_EQ(p.name, "b");
    EXPECT_EQ(p.value, "2");
    EXPECT_EQ(cursor, nullptr);
    p = next_pair(&cursor);
    EXPECT_EQ(p.result, -1);
    EXPECT_EQ(p.name, "(null)");  // nothing written
    EXPECT_EQ(p.value, "-");
}

TEST(ParseNameValue, SeparatorRules)
{
    struct Case {
        const char *text, *name, *value;
        int result;
    } cases[] = {
        {"a=b=c", "a", "b=c", 0},   // only the first '=' splits
        {"x&y=1", "x&y", "1", 0},   // an '&' before the '=' belongs to the name
        {"=v", "", "v", 0},
        {"n=", "n", "", 0},
        {"flag", "flag", "-", -1},  // value untouched
        {"", "", "-", -1},
        {" a = b ", " a ", " b ", 0},  // nothing trimmed or decoded
        {"p=%20+x", "p", "%20+x", 0},
    };
    for (const Case &c : cases) {
        std::string buf = c.text;
        char *cursor = buf.data();
        Pair p = next_pair(&cursor);
        EXPECT_EQ(p.result, c.result) << c.text;
        EXPECT_EQ(p.name, c.name) << c.text;
        EXPECT_EQ(p.value, c.value) << c.text;
        EXPECT_EQ(cursor, nullptr) << c.text;
    }
}

TEST(ParseNameValue, EmptyPairsAndTrailingSeparator)
{
    char text[] = "n=&m=1&";
    char *cursor = text;
    Pair p = next_pair(&cursor);
    EXPECT_EQ(p.result, 0);
    EXPECT_EQ(p.value, "");
    p = next_pair(&cursor);
    EXPECT_EQ(p.name, "m");
    EXPECT_EQ(p.value, "1");
    ASSERT_NE(cursor, nullptr);  // points at the empty rest, not null
    EXPECT_STREQ(cursor, "");
    p = next_pair(&cursor);
    EXPECT_EQ(p.result, -1);
    EXPECT_EQ(p.name, "");
    EXPECT_EQ(cursor, nullptr);
}
