#include <anvil/path.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "support/scratch_dir.hpp"

namespace fs = std::filesystem;
using namespace anvil_test;

namespace {

class Path : public ScratchTest {
protected:
    bool exists(const std::string &name) { return mode_of(path(name)) != ~0u; }
};

// The walks of mkdirp and rm are the fuzz target's, over files and links that
// lead nowhere; here, a link to a directory that exists, and empty paths.
TEST_F(Path, LinksAreNeverFollowedAndEmptyPathsRefused)
{
    fs::create_directories(path("target/sub"));
    fs::create_directory_symlink(path("target"), path("link"));
    EXPECT_EQ(fails(mkdirp(path("link").c_str())), EEXIST);
    EXPECT_EQ(mkdirp((path("link") + "/").c_str()), 0);
    EXPECT_EQ(rm(path("link").c_str()), 0);
    EXPECT_FALSE(exists("link"));
    EXPECT_TRUE(exists("target/sub"));
    EXPECT_EQ(fails(mkdirp("")), ENOENT);
    EXPECT_EQ(fails(rm("")), EINVAL);
}

// A full device is in test_stress.cpp, failing calls in the reliability
// matrix; here, contents that end on and off a block boundary.
TEST_F(Path, CopyKeepsPermissionBitsAndNeverWritesThroughALink)
{
    const std::string src = path("src"), dst = path("dst"), link = path("link");
    for (size_t size : {0u, 65536u, 200000u}) {
        std::string content(size, 'c');
        for (size_t i = 0; i < size; ++i)
            content[i] = static_cast<char>(i * 31 + i / 65536);
        write_file(src, content);
        ASSERT_EQ(chmod(src.c_str(), 06751), 0);
        unlink(dst.c_str());
        EXPECT_EQ(__copyFile(src.c_str(), dst.c_str(), 0), 0);
        EXPECT_EQ(read_file(dst), content) << size;
        EXPECT_EQ(mode_of(dst), 0751u);  // no set-id bits
    }
    // An existing file is refused without overwrite, else replaced keeping
    // its own mode; a link is replaced, its target left alone.
    chmod(dst.c_str(), 0600);
    write_file(src, "new");
    EXPECT_EQ(fails(__copyFile(src.c_str(), dst.c_str(), 0)), EEXIST);
    EXPECT_EQ(read_file(dst).size(), 200000u);
    EXPECT_EQ(__copyFile(src.c_str(), dst.c_str(), 1), 0);
    EXPECT_EQ(read_file(dst), "new");
    EXPECT_EQ(mode_of(dst), 0600u);
    fs::create_symlink(dst, link);
    write_file(src, "fresh");
    EXPECT_EQ(__copyFile(src.c_str(), link.c_str(), 0), 0);
    EXPECT_EQ(read_file(link) + (fs::is_symlink(link) ? " link" : ""), "fresh");
    EXPECT_EQ(read_file(dst), "new");

    EXPECT_EQ(fails(__copyFile(src.c_str(), path("").c_str(), 1)), EEXIST) << "onto a directory";
}

TEST_F(Path, MvRenamesOrCopiesAcrossFileSystems)
{
    write_file(path("a"), "content");
    fs::create_hard_link(path("a"), path("twin"));
    EXPECT_EQ(mv(path("a").c_str(), path("b").c_str()), 0);
    EXPECT_TRUE(fs::equivalent(path("b"), path("twin"))) << "renamed, not copied";
    EXPECT_FALSE(exists("a"));

    // The copy underneath is __copyFile's, tested above.
    std::string other = mount_scratch("other", 1 << 20);
    ANVIL_NEED_MOUNT(other);
    chmod(path("b").c_str(), 04750);
    EXPECT_EQ(mv(path("b").c_str(), (other + "/b").c_str()), 0);
    EXPECT_FALSE(exists("b"));
    EXPECT_EQ(read_file(other + "/b"), "content");
    EXPECT_EQ(mode_of(other + "/b"), 0750u);
    fs::create_directory(path("d"));
    EXPECT_EQ(fails(mv(path("d").c_str(), (other + "/d").c_str())), EISDIR);
    EXPECT_TRUE(exists("d"));
}

}  // namespace
