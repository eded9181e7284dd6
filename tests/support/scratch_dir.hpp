// A fresh directory per test under /tmp, removed afterwards, and small tmpfs
// mounts in this process's private mount namespace. Tests run under a umask
// of 0, so that every mode seen is the one the library asked for.
#pragma once

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "support/test_support.hpp"

namespace anvil_test {

inline void write_file(const std::string &path, const std::string &content)
{
    std::ofstream(path, std::ios::binary) << content;
}

inline std::string read_file(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

// Permission and set-id bits of path itself (a link is not followed).
inline unsigned mode_of(const std::string &path)
{
    struct stat st {};
    return lstat(path.c_str(), &st) == 0 ? st.st_mode & 07777 : ~0u;
}

class ScratchTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        dir_ = std::filesystem::temp_directory_path() /
               ("anvil_" + std::to_string(getpid()) + "_" +
                ::testing::UnitTest::GetInstance()->current_test_info()->name());
        std::filesystem::remove_all(dir_);
        std::filesystem::create_directory(dir_);
        fds_ = open_fd_count();
        mask_ = umask(0);
    }
    void TearDown() override
    {
        umask(mask_);
        EXPECT_EQ(open_fd_count(), fds_) << "descriptor leaked";
        for (const std::string &m : mounts_)
            EXPECT_EQ(umount(m.c_str()), 0) << m;
        std::error_code ec;
        std::filesystem::remove_all(dir_, ec);
    }
    // name in the scratch directory; an absolute name is taken as it is.
    std::string path(const std::string &name) const { return (dir_ / name).string(); }

    // A new tmpfs of `bytes` at path(name), seen only by this process and its
    // children; empty where mount namespaces are not permitted.
    std::string mount_scratch(const std::string &name, size_t bytes)
    {
        static const bool isolated = enter_private_mountns();
        std::string where = path(name);
        std::filesystem::create_directory(where);
        if (!isolated || !mount_tmpfs(where.c_str(), bytes))
            return {};
        mounts_.push_back(where);
        return where;
    }

private:
    std::filesystem::path dir_;
    std::vector<std::string> mounts_;
    int fds_ = 0;
    mode_t mask_ = 0;
};

// Skips the calling test when mount_scratch gave nothing.
#define ANVIL_NEED_MOUNT(dir) \
    if ((dir).empty()) GTEST_SKIP() << "no private mount namespace (needs CAP_SYS_ADMIN)"

}  // namespace anvil_test
