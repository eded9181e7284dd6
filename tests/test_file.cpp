#include <anvil/file.h>
#include <gtest/gtest.h>

#include <string>
#include <sys/file.h>
#include <sys/time.h>
#include <sys/wait.h>

#include "support/scratch_dir.hpp"

using namespace anvil_test;

namespace {

class File : public ScratchTest {};

// What cat handed over: every call's data, terminator included.
struct Seen {
    int calls = 0;
    std::string data;
};

void record(void *arg, const char *data, uint32_t length)
{
    auto *seen = static_cast<Seen *>(arg);
    ++seen->calls;
    seen->data.assign(data, length);
}

// Two processes replace, then append, in one file: a reader under a shared
// lock only ever sees one whole line, and appended lines stay whole.
TEST_F(File, ConcurrentEchoesNeverTearALine)
{
    const std::string p = path("shared"), line[2] = {std::string(3000, 'a'), "b"};
    for (int append = 0; append < 2; ++append) {
        ASSERT_EQ(echo(p.c_str(), line[0].c_str(), 0), 0);
        pid_t child[2];
        for (int w = 0; w < 2; ++w)
            if ((child[w] = fork()) == 0) {
                for (int i = 0; i < 200; ++i)
                    echo(p.c_str(), line[w].c_str(), append);
                _exit(0);
            }
        for (int i = 0; !append && i < 200; ++i) {
            int fd = open(p.c_str(), O_RDONLY);
            ASSERT_EQ(flock(fd, LOCK_SH), 0);
            std::string seen = read_file(p);
            close(fd);
            ASSERT_TRUE(seen == line[0] + "\n" || seen == line[1] + "\n") << seen.size();
        }
        for (pid_t c : child)
            waitpid(c, nullptr, 0);
    }
    std::string all = read_file(p);
    int count[2] = {0, 0};
    for (size_t at = 0, end; (end = all.find('\n', at)) != std::string::npos; at = end + 1) {
        std::string l = all.substr(at, end - at);
        ASSERT_TRUE(l == line[0] || l == line[1]) << "torn at " << at;
        ++count[l == line[1]];
    }
    EXPECT_EQ(count[0], 201);
    EXPECT_EQ(count[1], 200);
}

// Content of every size, and the refusals of echo and cat, are the fuzz
// target's; it cannot write a NUL.
TEST_F(File, CatAddsNoSecondTerminatorAndNeedsAConsumer)
{
    write_file(path("f"), std::string("ab\0", 3));
    Seen seen;
    ASSERT_EQ(cat(path("f").c_str(), record, &seen), 0);
    EXPECT_EQ(seen.data, std::string("ab\0", 3));
    EXPECT_EQ(failure(cat(path("f").c_str(), nullptr, nullptr)), EINVAL);
    EXPECT_EQ(seen.calls, 1);
}

TEST_F(File, ConsumersConvertAndCopy)
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
    for (const Case &c : cases) {
        write_file(path("f"), c.content);
        int i = -1;
        long l = -1;
        char buf[2][16] = {"xyz", "xyz"};
        catstring_dest dest[2] = {{buf[0], c.size}, {buf[1], c.size}};
        const std::string f = path("f");
        ASSERT_EQ(cat(f.c_str(), catint, &i) | cat(f.c_str(), catlong, &l) |
                      cat(f.c_str(), catstring, &dest[0]) | cat(f.c_str(), catstringdln, &dest[1]),
                  0);
        EXPECT_EQ(i, c.number) << c.content;
        EXPECT_EQ(l, c.number) << c.content;
        EXPECT_STREQ(buf[0], c.copied);
        EXPECT_STREQ(buf[1], c.without_newline);
    }
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
    umask(0);
    EXPECT_EQ(touch(path("new").c_str()), 0);
    umask(022);
    EXPECT_EQ(read_file(path("new")), "");
    EXPECT_EQ(mode_of(path("new")), 0666u);
    EXPECT_EQ(failure(touch(path("none/t").c_str())), ENOENT);
}

}  // namespace
