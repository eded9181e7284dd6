#include <anvil/path.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include "support/scratch_dir.hpp"

namespace fs = std::filesystem;
using anvil_test::read_file;
using anvil_test::write_file;

namespace {

class Path : public anvil_test::ScratchTest {
protected:
    // A tree `depth` levels deep of 255-byte directory names, each level also
    // holding a file and a link to `outside` (which must survive rm).
    std::string build_tree(int depth)
    {
        write_file(path("outside"), "keep");
        std::string at = path("tree");
        fs::create_directory(at);
        for (int i = 0; i < depth; ++i) {
            write_file(at + "/file", "x");
            fs::create_symlink(path("outside"), at + "/link");
            at += "/" + std::string(255, char('a' + i));
            fs::create_directory(at);
        }
        return path("tree");
    }
};

bool exists(const std::string &p)
{
    struct stat st;
    return lstat(p.c_str(), &st) == 0;
}

mode_t mode_of(const std::string &p)
{
    struct stat st {};
    EXPECT_EQ(lstat(p.c_str(), &st), 0);
    return st.st_mode & 07777;
}

TEST(PathLastComponent, CutsOneTrailingSlash)
{
    struct Case {
        const char *in, *result, *after;
    } cases[] = {
        {"a/b/c", "c", "a/b/c"}, {"/abc", "abc", "/abc"}, {"abc", "abc", "abc"},
        {"a/b/", "b", "a/b"},    {"/", "/", "/"},         {"a//", "", "a/"},
        {"", "", ""},            {"a/", "a", "a"},
    };
    for (const Case &c : cases) {
        char buf[16];
        strcpy(buf, c.in);
        EXPECT_STREQ(getPathLastComponent(buf), c.result) << c.in;
        EXPECT_STREQ(buf, c.after) << c.in;
    }
}

TEST_F(Path, MkdirpCreatesEveryMissingLevel)
{
    // Each case runs relative (from inside "rel") and absolute (below "abs").
    for (const char *base : {"rel", "abs"}) {
        fs::create_directory(path(base));
        write_file(path(base) + "/file", "");
        fs::create_directory(path(base) + "/dir");
        fs::create_directory_symlink(path(base) + "/dir", path(base) + "/link");
    }
    ASSERT_EQ(chdir(path("rel").c_str()), 0);
    struct Case {
        const char *path;
        int result, error;
        const char *made;  // a directory that must exist afterwards
    } cases[] = {
        {"r1/r2/r3/", 0, 0, "r1/r2/r3"},
        {"d1//d2///d3", 0, 0, "d1/d2/d3"},
        {"dir", 0, 0, "dir"},
        {"dir/new/", 0, 0, "dir/new"},
        {"file", -1, EEXIST, nullptr},
        {"link", -1, EEXIST, nullptr},
        {"file/sub/x", -1, ENOTDIR, nullptr},
    };
    for (const Case &c : cases) {
        for (const std::string &base : {std::string(), path("abs") + "/"}) {
            std::string p = base + c.path;
            errno = 0;
            EXPECT_EQ(mkdirp(p.c_str()), c.result) << p;
            if (c.result)
                EXPECT_EQ(errno, c.error) << p;
            else
                EXPECT_TRUE(fs::is_directory(base + c.made)) << p;
        }
    }
    errno = 0;
    EXPECT_EQ(mkdirp(""), -1);
    EXPECT_EQ(errno, ENOENT);
    ASSERT_EQ(chdir("/"), 0);
}

TEST_F(Path, RmRemovesDeepTreesAndNeverFollowsLinks)
{
    EXPECT_EQ(rm(build_tree(12).c_str()), 0);
    EXPECT_FALSE(exists(path("tree")));
    EXPECT_EQ(read_file(path("outside")), "keep");

    fs::create_directory(path("target"));
    write_file(path("target/inside"), "keep");
    fs::create_directory_symlink(path("target"), path("dirlink"));
    EXPECT_EQ(rm(path("dirlink").c_str()), 0);
    EXPECT_FALSE(exists(path("dirlink")));
    EXPECT_EQ(read_file(path("target/inside")), "keep");

    EXPECT_EQ(rm((path("target") + "/").c_str()), 0);
    EXPECT_FALSE(exists(path("target")));
    EXPECT_EQ(rm(path("missing").c_str()), 0);
    errno = 0;
    EXPECT_EQ(rm(""), -1);
    EXPECT_EQ(errno, EINVAL);
}

TEST_F(Path, RmStopsAtTheFirstFailure)
{
    // A read-only mount refuses even root.
    std::string ro = mount_scratch("ro", 64 << 10);
    ANVIL_NEED_MOUNT(ro);
    write_file(ro + "/f", "");
    ASSERT_EQ(mount(nullptr, ro.c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr), 0);
    errno = 0;
    EXPECT_EQ(rm(ro.c_str()), -1);
    EXPECT_EQ(errno, EROFS);
    EXPECT_TRUE(exists(ro + "/f"));
}

TEST_F(Path, RmReleasesEverythingWhenAnAllocationFails)
{
    for (int n = 0;; ++n) {
        ASSERT_LT(n, 40);
        std::string tree = build_tree(3);
        anvil_test::fail_alloc_after(n);
        errno = 0;
        int r = rm(tree.c_str());
        int err = errno;
        anvil_test::disarm_alloc_failure();
        if (r == 0)
            break;
        EXPECT_EQ(err, ENOMEM) << "allocation " << n;
        fs::remove_all(tree);
        unlink(path("outside").c_str());
    }
    EXPECT_FALSE(exists(path("tree")));
}

TEST_F(Path, CopyKeepsPermissionBitsAndNeverWritesThroughALink)
{
    std::string src = path("src"), dst = path("dst");
    for (size_t size : {0u, 65535u, 65536u, 200000u}) {
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
    // its own mode.
    write_file(dst, "old");
    chmod(dst.c_str(), 0600);
    errno = 0;
    EXPECT_EQ(__copyFile(src.c_str(), dst.c_str(), 0), -1);
    EXPECT_EQ(errno, EEXIST);
    EXPECT_EQ(read_file(dst), "old");
    write_file(src, "new");
    EXPECT_EQ(__copyFile(src.c_str(), dst.c_str(), 1), 0);
    EXPECT_EQ(read_file(dst), "new");
    EXPECT_EQ(mode_of(dst), 0600u);

    fs::create_symlink(dst, path("link"));
    EXPECT_EQ(__copyFile(src.c_str(), path("link").c_str(), 0), 0);
    EXPECT_FALSE(fs::is_symlink(path("link")));
    EXPECT_EQ(read_file(path("link")), "new");
    write_file(src, "fresh");
    EXPECT_EQ(read_file(dst), "new");

    struct Refused {
        std::string from, to;
        int error;
    } refused[] = {
        {src, path(""), EEXIST},
        {path("missing"), path("x"), ENOENT},
        {path(""), path("y"), EISDIR},
    };
    for (const Refused &c : refused) {
        errno = 0;
        EXPECT_EQ(__copyFile(c.from.c_str(), c.to.c_str(), 1), -1) << c.from;
        EXPECT_EQ(errno, c.error) << c.from;
    }
}

TEST_F(Path, CopyReleasesEverythingWhenAnAllocationFails)
{
    write_file(path("src"), std::string(70000, 's'));
    anvil_test::fail_alloc_after(0);
    errno = 0;
    int r = __copyFile(path("src").c_str(), path("dst").c_str(), 0);
    int err = errno, calls = anvil_test::alloc_calls();
    anvil_test::disarm_alloc_failure();
    EXPECT_EQ(r, -1);
    EXPECT_EQ(err, ENOMEM);
    EXPECT_EQ(calls, 1);
}

TEST_F(Path, MvRenamesOrCopiesAcrossFileSystems)
{
    std::string other = mount_scratch("other", 1 << 20);
    write_file(path("a"), "content");
    struct stat before {}, after {};
    stat(path("a").c_str(), &before);
    EXPECT_EQ(mv(path("a").c_str(), path("b").c_str()), 0);
    stat(path("b").c_str(), &after);
    EXPECT_EQ(after.st_ino, before.st_ino);
    EXPECT_FALSE(exists(path("a")));
    ANVIL_NEED_MOUNT(other);

    chmod(path("b").c_str(), 04750);
    EXPECT_EQ(mv(path("b").c_str(), (other + "/b").c_str()), 0);
    EXPECT_FALSE(exists(path("b")));
    EXPECT_EQ(read_file(other + "/b"), "content");
    EXPECT_EQ(mode_of(other + "/b"), 0750u);

    // A link at the destination is replaced; its target stays as it was.
    write_file(path("target"), "target");
    fs::create_symlink(path("target"), other + "/link");
    write_file(path("c"), "moved");
    EXPECT_EQ(mv(path("c").c_str(), (other + "/link").c_str()), 0);
    EXPECT_FALSE(fs::is_symlink(other + "/link"));
    EXPECT_EQ(read_file(other + "/link"), "moved");
    EXPECT_EQ(read_file(path("target")), "target");

    fs::create_directory(path("d"));
    errno = 0;
    EXPECT_EQ(mv(path("d").c_str(), (other + "/d").c_str()), -1);
    EXPECT_EQ(errno, EISDIR);
    EXPECT_TRUE(exists(path("d")));
}

TEST_F(Path, CopyReportsAFullDevice)
{
    std::string small = mount_scratch("small", 64 << 10);
    ANVIL_NEED_MOUNT(small);
    write_file(path("big"), std::string(200 << 10, 'b'));
    errno = 0;
    EXPECT_EQ(__copyFile(path("big").c_str(), (small + "/big").c_str(), 0), -1);
    EXPECT_EQ(errno, ENOSPC);
    errno = 0;
    EXPECT_EQ(mv(path("big").c_str(), (small + "/big").c_str()), -1);
    EXPECT_EQ(errno, ENOSPC);
    EXPECT_TRUE(exists(path("big")));
}

}  // namespace
