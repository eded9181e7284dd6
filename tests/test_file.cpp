#include <anvil/file.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "support/scratch_dir.hpp"

using anvil_test::read_file;
using anvil_test::write_file;

namespace {

class File : public anvil_test::ScratchTest {};

mode_t mode_of(const std::string &path)
{
    struct stat st {};
    EXPECT_EQ(stat(path.c_str(), &st), 0);
    return st.st_mode & 07777;
}

// What one cat call handed to its consumer.
struct Seen {
    int calls = 0;
    std::string data;  // all `length` bytes, the terminator included
};

void record(void *arg, const char *data, uint32_t length)
{
    auto *seen = static_cast<Seen *>(arg);
    ++seen->calls;
    seen->data.assign(data, length);
}

TEST_F(File, EchoWritesTextAndOneLineFeed)
{
    struct Case {
        const char *before;  // nullptr: no file
        const char *text;
        int append;
        const char *after;
    } cases[] = {
        {nullptr, "", 0, "\n"},
        {nullptr, "x", 1, "x\n"},
        {"a much longer old content\n", "new", 0, "new\n"},
        {"old\n", "new", 1, "old\nnew\n"},
        {"no newline", "", 1, "no newline\n"},
    };
    umask(0);
    for (const Case &c : cases) {
        std::string p = path("echo");
        unlink(p.c_str());
        if (c.before)
            write_file(p, c.before);
        EXPECT_EQ(echo(p.c_str(), c.text, c.append), 0);
        EXPECT_EQ(read_file(p), c.after) << c.text;
        if (!c.before)
            EXPECT_EQ(mode_of(p), 0666u);
    }
    umask(022);
    std::string long_text(70000, 'L');  // beyond any small buffer
    EXPECT_EQ(echo(path("long").c_str(), long_text.c_str(), 0), 0);
    EXPECT_EQ(read_file(path("long")), long_text + "\n");
    EXPECT_EQ(mode_of(path("long")), 0644u);
    errno = 0;
    EXPECT_EQ(echo(path("none/file").c_str(), "x", 0), -1);
    EXPECT_EQ(errno, ENOENT);
}

// Two writers replace and append in one file while a locked reader watches:
// it must only ever see whole lines.
TEST_F(File, ConcurrentEchoesNeverTearALine)
{
    std::string p = path("shared");
    const std::string line[2] = {std::string(3000, 'a'), std::string(7, 'b')};
    ASSERT_EQ(echo(p.c_str(), line[0].c_str(), 0), 0);
    pid_t child[2];
    for (int w = 0; w < 2; ++w) {
        child[w] = fork();
        if (child[w] == 0) {
            for (int i = 0; i < 300; ++i)
                if (echo(p.c_str(), line[w].c_str(), 0) != 0)
                    _exit(1);
            _exit(0);
        }
    }
    for (int i = 0; i < 300; ++i) {
        int fd = open(p.c_str(), O_RDONLY);
        ASSERT_EQ(flock(fd, LOCK_SH), 0);
        std::string seen = read_file(p);
        close(fd);
        ASSERT_TRUE(seen == line[0] + "\n" || seen == line[1] + "\n") << seen.size();
    }
    for (pid_t c : child) {
        int status;
        ASSERT_EQ(waitpid(c, &status, 0), c);
        EXPECT_EQ(status, 0);
    }
    // Appending writers leave every line whole, one after another.
    unlink(p.c_str());
    for (int w = 0; w < 2; ++w) {
        child[w] = fork();
        if (child[w] == 0) {
            for (int i = 0; i < 200; ++i)
                echo(p.c_str(), line[w].c_str(), 1);
            _exit(0);
        }
    }
    for (pid_t c : child)
        waitpid(c, nullptr, 0);
    std::string all = read_file(p);
    size_t count[2] = {0, 0};
    for (size_t at = 0; at < all.size();) {
        size_t end = all.find('\n', at);
        ASSERT_NE(end, std::string::npos);
        std::string l = all.substr(at, end - at);
        ASSERT_TRUE(l == line[0] || l == line[1]) << "torn at " << at;
        ++count[l == line[1]];
        at = end + 1;
    }
    EXPECT_EQ(count[0], 200u);
    EXPECT_EQ(count[1], 200u);
}

TEST_F(File, CatHandsOverTheWholeContentTerminatedOnce)
{
    for (size_t size : {0u, 1u, 4095u, 4096u, 4097u, 20480u, 70000u}) {
        std::string content(size, '\0');
        for (size_t i = 0; i < size; ++i)
            content[i] = static_cast<char>('A' + i % 26);
        write_file(path("f"), content);
        Seen seen;
        ASSERT_EQ(cat(path("f").c_str(), record, &seen), 0);
        EXPECT_EQ(seen.calls, 1);
        EXPECT_EQ(seen.data, content + '\0') << size;
    }
    write_file(path("f"), std::string("ab\0", 3));
    Seen seen;
    ASSERT_EQ(cat(path("f").c_str(), record, &seen), 0);
    EXPECT_EQ(seen.data, std::string("ab\0", 3));
}

TEST_F(File, CatRefusesWithoutCallingTheConsumer)
{
    Seen seen;
    errno = 0;
    EXPECT_EQ(cat(path("missing").c_str(), record, &seen), -1);
    EXPECT_EQ(errno, ENOENT);
    errno = 0;
    EXPECT_EQ(cat(path("").c_str(), record, &seen), -1);  // a directory
    EXPECT_EQ(errno, EISDIR);
    errno = 0;
    EXPECT_EQ(cat(path("missing").c_str(), nullptr, nullptr), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(seen.calls, 0);
}

// 20480 bytes: the first buffer of 4096, grown to 20480, then to 36864.
TEST_F(File, CatReleasesEverythingWhenAnAllocationFails)
{
    write_file(path("f"), std::string(20480, 'z'));
    for (int n = 0;; ++n) {
        ASSERT_LT(n, 10);
        Seen seen;
        anvil_test::fail_alloc_after(n);
        errno = 0;
        int r = cat(path("f").c_str(), record, &seen);
        int err = errno, calls = anvil_test::alloc_calls();
        anvil_test::disarm_alloc_failure();
        if (r == 0) {
            EXPECT_EQ(n, 3);
            EXPECT_EQ(calls, 3);
            EXPECT_EQ(seen.data.size(), 20481u);
            break;
        }
        EXPECT_EQ(err, ENOMEM);
        EXPECT_EQ(seen.calls, 0);
    }
}

TEST_F(File, ConsumersConvertAndCopy)
{
    struct Case {
        const char *content;
        int as_int;
        long as_long;
        uint32_t size;
        const char *as_string;
        const char *without_newline;
    } cases[] = {
        {"42\n", 42, 42, 16, "42\n", "42"},
        {"  -17 apples", -17, -17, 16, "  -17 apples", "  -17 apples"},
        {"letters", 0, 0, 4, "let", "let"},
        {"2147483647", 2147483647, 2147483647L, 11, "2147483647", "2147483647"},
        {"two\n\n", 0, 0, 16, "two\n\n", "two\n"},
        {"crlf\r\n", 0, 0, 16, "crlf\r\n", "crlf\r"},
        {"ab\n", 0, 0, 3, "ab", "ab"},
        {"\n", 0, 0, 16, "\n", ""},
        {"", 0, 0, 16, "", ""},
    };
    for (const Case &c : cases) {
        write_file(path("f"), c.content);
        std::string f = path("f");
        int i = -1;
        long l = -1;
        char buf[2][16];
        catstring_dest dest[2] = {{buf[0], c.size}, {buf[1], c.size}};
        ASSERT_EQ(cat(f.c_str(), catint, &i), 0);
        ASSERT_EQ(cat(f.c_str(), catlong, &l), 0);
        ASSERT_EQ(cat(f.c_str(), catstring, &dest[0]), 0);
        ASSERT_EQ(cat(f.c_str(), catstringdln, &dest[1]), 0);
        EXPECT_EQ(i, c.as_int) << c.content;
        EXPECT_EQ(l, c.as_long) << c.content;
        EXPECT_STREQ(buf[0], c.as_string);
        EXPECT_STREQ(buf[1], c.without_newline);
    }
    char untouched[4] = "xyz";
    catstring_dest none{untouched, 0};
    catstring(&none, "abc", 4);
    catstringdln(&none, "abc", 4);
    EXPECT_STREQ(untouched, "xyz");
}

TEST_F(File, TouchUpdatesTimesOrCreatesEmpty)
{
    std::string p = path("t");
    write_file(p, "keep");
    struct timeval old[2] = {{1000, 0}, {1000, 0}};
    ASSERT_EQ(utimes(p.c_str(), old), 0);
    time_t before = time(nullptr);
    EXPECT_EQ(touch(p.c_str()), 0);
    struct stat st {};
    ASSERT_EQ(stat(p.c_str(), &st), 0);
    EXPECT_GE(st.st_mtime, before);
    EXPECT_GE(st.st_atime, before);
    EXPECT_EQ(read_file(p), "keep");

    umask(0);
    EXPECT_EQ(touch(path("new").c_str()), 0);
    umask(022);
    EXPECT_EQ(read_file(path("new")), "");
    EXPECT_EQ(mode_of(path("new")), 0666u);
    errno = 0;
    EXPECT_EQ(touch(path("none/t").c_str()), -1);
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(File, EchoReportsAFullDevice)
{
    std::string dir = mount_scratch("small", 64 << 10);
    ANVIL_NEED_MOUNT(dir);
    std::string big(100 << 10, 'x');
    errno = 0;
    EXPECT_EQ(echo((dir + "/f").c_str(), big.c_str(), 0), -1);
    EXPECT_EQ(errno, ENOSPC);
}

}  // namespace
