#include <anvil/file_log.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

#include "support/scratch_dir.hpp"

namespace fs = std::filesystem;
using namespace anvil_test;

namespace {

class FileLog : public ScratchTest {
protected:
    void SetUp() override
    {
        ScratchTest::SetUp();
        // A zone east of UTC by a fraction of an hour: a stamp in UTC, or in
        // any whole-hour zone, cannot pass for local time.
        setenv("TZ", "XST-5:30", 1);
        tzset();
        path_ = path("app.log");
    }
    std::string rotated(int i) const { return path_ + "." + std::to_string(i); }

    std::string path_;
};

std::string local_stamp(time_t t)
{
    struct tm tm;
    localtime_r(&t, &tm);
    char text[32];
    strftime(text, sizeof text, "%b %e %H:%M:%S", &tm);
    return text;
}

}  // namespace

TEST_F(FileLog, LineFormat)
{
    struct Case {
        std::string message, expected;
    } cases[] = {
        {"hello", "hello\n"},
        {"ends in a line feed\n", "ends in a line feed\n"},
        {"", "\n"},
        {std::string(1000, 'x'), std::string(239, 'x') + "\n"},
    };
    for (const Case &c : cases) {
        fs::remove(path_);
        file_log *log = file_log_create(path_.c_str(), 1, 0);
        ASSERT_NE(log, nullptr);
        const time_t before = time(nullptr);
        file_log_append(log, "%s", c.message.c_str());
        const time_t after = time(nullptr);
        file_log_destroy(log);
        const std::string line = read_file(path_);
        EXPECT_TRUE(line == local_stamp(before) + " " + c.expected || line == local_stamp(after) + " " + c.expected)
            << line;
    }
    EXPECT_EQ((fs::status(path_).permissions() & fs::perms::all), fs::perms(0640));
}

TEST_F(FileLog, RotationKeepsBackupCountFilesNewestFirst)
{
    struct Case {
        int backup_count, kept;
    } cases[] = {{3, 3}, {0, 1}, {-5, 1}, {500, 100}};
    for (const Case &c : cases) {
        fs::remove_all(path(""));
        fs::create_directory(path(""));
        file_log *log = file_log_create(path_.c_str(), c.backup_count, 1);  // every line rotates
        ASSERT_NE(log, nullptr);
        const int lines = c.kept + 5;
        for (int i = 0; i < lines; ++i)
            file_log_append(log, "line %d", i);
        file_log_destroy(log);
        EXPECT_FALSE(fs::exists(path_)) << "the next append creates the live file";
        for (int i = 0; i < c.kept; ++i)
            EXPECT_EQ(read_file(rotated(i)).substr(16), "line " + std::to_string(lines - 1 - i) + "\n")
                << c.backup_count;
        EXPECT_FALSE(fs::exists(rotated(c.kept))) << c.backup_count;
    }
}

// Sizes in whole lines of 22 bytes: "hello" stamped.
TEST_F(FileLog, RotatesOnceTheLimitIsReachedKeepingTheLastLineWhole)
{
    struct Case {
        std::string existing;  // the live file before creation, if any
        uint32_t max_size;
        int appends;
        intmax_t live, newest;  // their sizes afterwards, -1: no such file
    } cases[] = {
        {"", 110, 4, 88, -1},
        {"", 110, 5, -1, 110},
        {"", 0, 50, 50 * 22, -1},                  // 0: never rotates
        {"old line\n", 110, 1, 9 + 22, -1},        // continued
        {std::string(300, 'b'), 110, 1, 22, 300},  // already over: rotated at once
    };
    for (const Case &c : cases) {
        fs::remove_all(path(""));
        fs::create_directory(path(""));
        if (!c.existing.empty())
            write_file(path_, c.existing);
        file_log *log = file_log_create(path_.c_str(), 2, c.max_size);
        ASSERT_NE(log, nullptr);
        for (int i = 0; i < c.appends; ++i)
            file_log_append(log, "%s", "hello");
        file_log_destroy(log);
        auto size = [](const std::string &file) { return fs::exists(file) ? intmax_t(fs::file_size(file)) : -1; };
        EXPECT_EQ(size(path_), c.live) << c.existing.size() << " " << c.appends;
        EXPECT_EQ(size(rotated(0)), c.newest) << c.existing.size() << " " << c.appends;
    }
}

TEST_F(FileLog, RemovesALinkAndRefusesADirectory)
{
    const std::string target = path("target");
    write_file(target, "keep");
    fs::create_symlink(target, path_);
    file_log *log = file_log_create(path_.c_str(), 1, 1);
    ASSERT_NE(log, nullptr);
    EXPECT_FALSE(fs::exists(fs::symlink_status(path_))) << "the link is removed";
    file_log_append(log, "%s", "hello");  // rotated at once: no live file now
    EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(rotated(0))));
    fs::create_directory(path_);  // the live file cannot be created: the line is dropped
    file_log_append(log, "%s", "dropped");
    fs::remove(path_);
    file_log_append(log, "%s", "retried");  // the next append tries again
    EXPECT_EQ(fs::file_size(rotated(0)), 24u);
    file_log_destroy(log);
    EXPECT_EQ(read_file(target), "keep");
    // Failed allocations and calls are the reliability matrix's.
    errno = 0;
    EXPECT_EQ(file_log_create(path("").c_str(), 1, 0), nullptr);
    EXPECT_EQ(errno, EISDIR);
}
