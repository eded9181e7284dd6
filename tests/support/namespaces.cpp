#include <cstdio>
#include <sched.h>
#include <sys/mount.h>

#include "support/test_support.hpp"

namespace anvil_test {

bool enter_private_netns()
{
    return unshare(CLONE_NEWNET) == 0;
}

bool enter_private_mountns()
{
    // Without making every mount private, a mount made here would propagate
    // back to the machine's own namespace.
    return unshare(CLONE_NEWNS) == 0 && mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
}

bool mount_tmpfs(const char *dir, size_t bytes)
{
    char options[32];
    snprintf(options, sizeof options, "size=%zu", bytes);
    return mount("tmpfs", dir, "tmpfs", 0, options) == 0;
}

}  // namespace anvil_test
