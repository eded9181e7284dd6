#include <anvil/file.h>
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <sys/file.h>
#include <sys/time.h>
#include <sys/wait.h>

#include "support/scratch_dir.hpp"

using namespace anvil_test;

namespace {

class File : public ScratchTest {};

// A writer and a reader of one file: under a shared lock the reader only
// ever sees one whole line. Then both append: every line stays whole.
TEST_F(File, ConcurrentEchoesNeverTearALine)
{
    const std::string p = path("shared"), line[2] = {std::string(3000, 'a'), "b"};
    ASSERT_EQ(echo(p.c_str(), line[0].c_str(), 0), 0);
    for (int append = 0; append < 2; ++append) {
        pid_t child = fork();
        if (child == 0) {
            for (int i = 0; i < 200; ++i)
                echo(p.c_str(), line[i % 2].c_str(), append);
            _exit(0);
        }
        for (int i = 0; i < 200; ++i) {
            if (append) {
                ASSERT_EQ(echo(p.c_str(), line[0].c_str(), 1), 0);
                continue;
            }
            int fd = open(p.c_str(), O_RDONLY);
            ASSERT_EQ(flock(fd, LOCK_SH), 0);
            std::string seen = read_file(p);
            close(fd);
            ASSERT_TRUE(seen == line[0] + "\n" || seen == line[1] + "\n") << seen.size();
        }
        waitpid(child, nullptr, 0);
    }
    std::istringstream all(read_file(p));
    int lines = 0;
    for (std::string l; std::getline(all, l); ++lines)
        ASSERT_TRUE(l == line[0] || l == line[1]) << "torn after " << lines << " lines";
    EXPECT_EQ(lines, 401);
}

// Content of every size, and the refusals of echo and cat, are the fuzz
// target's; it cannot write a NUL.
TEST_F(File, ConsumersConvertAndCopyWhatCatHandsOver)
{
    struct Case {
        const char *content;
        long number;
        uint32_t size;
        const char *copied, *without_newline;
    } cases[] = {
        {"42\n", 42, 16, "42\n", "42"},    {"  -17 apples", -17, 16, "  -17 apples", "  -17 apples"},
        {"letters", 0, 4, "let", "let"},   {"2147483647", 2147483647, 11, "2147483647", "2147483647"},
        {"two\n\n", 0, 16, "two\n\n", "two\n"}, {"crlf\r\n", 0, 16, "crlf\r\n", "crlf\r"},
        {"ab\n", 0, 3, "ab", "ab"},        {"\n", 0, 16, "\n", ""},
        {"", 0, 16, "", ""},               {"abc", 0, 0, "xyz", "xyz"},
    };
    const std::string f = path("f");
    for (const Case &c : cases) {
        write_file(f, c.content);
        int i = -1;
        long l = -1;
        char buf[2][16] = {"xyz", "xyz"};
        catstring_dest dest[2] = {{buf[0], c.size}, {buf[1], c.size}};
        ASSERT_EQ(cat(f.c_str(), catint, &i) | cat(f.c_str(), catlong, &l) |
                      cat(f.c_str(), catstring, &dest[0]) | cat(f.c_str(), catstringdln, &dest[1]),
                  0);
        EXPECT_EQ(i, c.number) << c.content;
        EXPECT_EQ(l, c.number) << c.content;
        EXPECT_STREQ(buf[0], c.copied);
        EXPECT_STREQ(buf[1], c.without_newline);
    }
    EXPECT_EQ(fails(cat(f.c_str(), nullptr, nullptr)), EINVAL);
    write_file(f, std::string("ab\0", 3));
    uint32_t length = 0;
    auto measure = [](void *arg, const char *, uint32_t n) { *static_cast<uint32_t *>(arg) = n; };
    ASSERT_EQ(cat(f.c_str(), measure, &length), 0);
    EXPECT_EQ(length, 3u) << "a second terminator";
}

TEST_F(File, TouchUpdatesTimesOrCreatesEmpty)
{
    write_file(path("t"), "keep");
    struct timeval old[2] = {{1000, 0}, {1000, 0}};
    ASSERT_EQ(utimes(path("t").c_str(), old), 0);
    time_t before = time(nullptr);
    EXPECT_EQ(touch(path("t").c_str()), 0);
    struct stat st {};
    ASSERT_EQ(stat(path("t").c_str(), &st), 0);
    EXPECT_GE(st.st_mtime, before);
    EXPECT_GE(st.st_atime, before);
    EXPECT_EQ(read_file(path("t")), "keep");
    EXPECT_EQ(touch(path("new").c_str()), 0);
    EXPECT_EQ(read_file(path("new")), "");
    EXPECT_EQ(mode_of(path("new")), 0666u);
    EXPECT_EQ(fails(touch(path("none/t").c_str())), ENOENT);
}

}  // namespace
