#include <anvil/file_log.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

#include "support/scratch_dir.hpp"

namespace fs = std::filesystem;
using anvil_test::read_file;

namespace {

// A fixed zone east of UTC by a fraction of an hour: a stamp in UTC, or in
// any whole-hour zone, cannot pass for it.
constexpr char kZone[] = "XST-5:30";
constexpr time_t kZoneOffset = 5 * 3600 + 30 * 60;

class FileLog : public anvil_test::ScratchTest {
protected:
    void SetUp() override
    {
        ScratchTest::SetUp();
        setenv("TZ", kZone, 1);
        tzset();
        path_ = path("app.log");
        dir_ = fs::path(path_).parent_path();
        mask_ = umask(0);
    }
    void TearDown() override
    {
        umask(mask_);
        ScratchTest::TearDown();
    }
    std::string rotated(int i) const { return path_ + "." + std::to_string(i); }

    std::string dir_, path_;
    mode_t mask_ = 0;
};

std::string stamp_in_zone(time_t t)
{
    t += kZoneOffset;
    struct tm tm;
    gmtime_r(&t, &tm);
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
        {"two\nlines", "two\nlines\n"},
        {"", "\n"},
        {std::string(1000, 'x'), std::string(239, 'x') + "\n"},
    };
    for (const Case &c : cases) {
        time_t before, after;
        std::string line;
        do {  // the clock must not tick between the line's stamp and the expected one
            fs::remove(path_);
            file_log *log = file_log_create(path_.c_str(), 1, 0);
            ASSERT_NE(log, nullptr);
            before = time(nullptr);
            file_log_append(log, "%s", c.message.c_str());
            after = time(nullptr);
            file_log_destroy(log);
            line = read_file(path_);
        } while (before != after);
        EXPECT_EQ(line, stamp_in_zone(before) + " " + c.expected);
    }
    EXPECT_EQ((fs::status(path_).permissions() & fs::perms::all), fs::perms(0640));
}

TEST_F(FileLog, RotationKeepsBackupCountFilesNewestFirst)
{
    struct Case {
        int backup_count, kept;
    } cases[] = {{3, 3}, {0, 1}, {-5, 1}, {500, 100}};
    for (const Case &c : cases) {
        fs::remove_all(dir_);
        fs::create_directory(dir_);
        file_log *log = file_log_create(path_.c_str(), c.backup_count, 1);  // every line rotates
        ASSERT_NE(log, nullptr);
        const int lines = c.kept + 5;
        for (int i = 0; i < lines; ++i)
            file_log_append(log, "line %d", i);
        file_log_destroy(log);
        EXPECT_FALSE(fs::exists(path_)) << "the next append creates the live file";
        for (int i = 0; i < c.kept; ++i)
            EXPECT_EQ(read_file(rotated(i)).substr(16), "line " + std::to_string(lines - 1 - i) + "\n") << c.backup_count;
        EXPECT_FALSE(fs::exists(rotated(c.kept))) << c.backup_count;
    }
}

TEST_F(FileLog, RotatesOnceTheLimitIsReachedKeepingTheLastLineWhole)
{
    file_log *log = file_log_create(path_.c_str(), 2, 100);
    for (int i = 0; i < 4; ++i)
        file_log_append(log, "%s", "hello");  // 22 bytes a line
    EXPECT_EQ(fs::file_size(path_), 88u);
    file_log_append(log, "%s", "hello");
    EXPECT_EQ(fs::file_size(rotated(0)), 110u);
    EXPECT_FALSE(fs::exists(path_));
    file_log_destroy(log);

    log = file_log_create(path_.c_str(), 2, 0);  // 0: never rotates
    for (int i = 0; i < 50; ++i)
        file_log_append(log, "%s", "hello");
    file_log_destroy(log);
    EXPECT_EQ(fs::file_size(path_), 50 * 22u);
    EXPECT_EQ(fs::file_size(rotated(0)), 110u);
}

TEST_F(FileLog, ExistingFileIsContinuedOrRotatedAtCreation)
{
    std::ofstream(path_) << "old line\n";
    file_log *log = file_log_create(path_.c_str(), 1, 100);
    file_log_append(log, "%s", "hello");
    file_log_destroy(log);
    EXPECT_EQ(read_file(path_).substr(0, 9), "old line\n");
    EXPECT_EQ(read_file(path_).substr(9 + 16), "hello\n");

    std::string big(300, 'b');
    std::ofstream(path_) << big;
    log = file_log_create(path_.c_str(), 1, 100);
    EXPECT_FALSE(fs::exists(path_));
    EXPECT_EQ(read_file(rotated(0)), big);
    file_log_append(log, "%s", "hello");
    file_log_destroy(log);
    EXPECT_EQ(fs::file_size(path_), 22u);
}

TEST_F(FileLog, NeverWritesThroughASymbolicLink)
{
    std::string target = dir_ + "/target";
    std::ofstream(target) << "keep";
    fs::create_symlink(target, path_);
    file_log *log = file_log_create(path_.c_str(), 1, 1);
    ASSERT_NE(log, nullptr);
    EXPECT_FALSE(fs::exists(fs::symlink_status(path_))) << "the link is removed";
    file_log_append(log, "%s", "hello");  // rotated at once: no live file now
    EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(rotated(0))));

    fs::create_symlink(target, path_);  // planted between a rotation and an append
    file_log_append(log, "%s", "dropped");
    EXPECT_EQ(read_file(target), "keep");
    fs::remove(path_);
    file_log_append(log, "%s", "hello");
    EXPECT_EQ(fs::file_size(rotated(0)), 22u);
    file_log_destroy(log);
    EXPECT_EQ(read_file(target), "keep");
}

TEST_F(FileLog, DropsLinesWhileTheDirectoryIsGoneThenRecovers)
{
    std::string sub = dir_ + "/sub", path = sub + "/app.log";
    file_log *log = file_log_create(path.c_str(), 1, 1);  // a missing directory is no error
    ASSERT_NE(log, nullptr);
    file_log_append(log, "%s", "lost");
    fs::create_directory(sub);
    file_log_append(log, "%s", "first");
    fs::remove_all(sub);
    file_log_append(log, "%s", "lost");
    file_log_append(log, "%s", "lost");
    fs::create_directory(sub);
    file_log_append(log, "%s", "back");
    file_log_destroy(log);
    EXPECT_EQ(read_file(path + ".0").substr(16), "back\n");
    EXPECT_FALSE(fs::exists(path + ".1"));
}

// Failed allocations are the reliability matrix's.
TEST_F(FileLog, CreateRefusesWhatIsNoFile)
{
    std::ofstream(dir_ + "/file") << "x";
    struct Case {
        std::string path;
        int error;
    } cases[] = {{dir_, EISDIR}, {dir_ + "/file/app.log", ENOTDIR}};
    for (const Case &c : cases) {
        errno = 0;
        EXPECT_EQ(file_log_create(c.path.c_str(), 1, 0), nullptr) << c.path;
        EXPECT_EQ(errno, c.error) << c.path;
    }
}
