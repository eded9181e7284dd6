#include <anvil/text.h>
#include <gtest/gtest.h>

#include <cctype>
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
    const char *cases[][2] = {{"", ""}, {"   ", ""}, {"  a  ", "a"}, {" a  b ", "a  b"},
                              {"\t\r\n abc\r\n\v\f", "abc"}, {"x\t\t", "x"}, {"\t\tx", "x"}};
    for (auto &c : cases)
        EXPECT_EQ(trimmed(c[0]), c[1]) << c[0];  // moved to the buffer's start
}

TEST(Trim, WhiteSpaceIsTheLocalesClassForEveryByte)
{
    for (int b = 1; b < 256; ++b) {
        std::string s{char(b), 'x', char(b)};
        EXPECT_EQ(trimmed(s), std::isspace(b) ? "x" : s) << "byte " << b;
    }
}

TEST(ParseNameValue, SplitsPairsInPlace)
{
    const char *cases[][2] = {
        {"a=1&b=2", "a=1@b=2 b=2@null -|-@null "},  // a null cursor: nothing written
        {"a=b=c", "a=b=c@null -|-@null "},
        {"x&y=1", "x&y=1@null -|-@null "},
        {"=v", "=v@null -|-@null "},
        {"n=&m=1&", "n=@m=1& m=1@ |-@null "},
        {"flag", "flag|-@null "},
        {"", "|-@null "},
        {" a = %20+b ", " a = %20+b @null -|-@null "},
    };
    for (auto &c : cases)
        EXPECT_EQ(walk(c[0]), c[1]) << c[0];
}
