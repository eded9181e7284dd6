// Adding descriptor flags and file status flags without clearing any.
#include "anvil/io.h"

#include <fcntl.h>

namespace {

int add_flags(int fd, int get_cmd, int set_cmd, int flags)
{
    int old = ::fcntl(fd, get_cmd);
    if (old == -1)
        return -1;
    return ::fcntl(fd, set_cmd, old | flags);
}

}  // namespace

int fcntl_setfd(int fd, int flags)
{
    return add_flags(fd, F_GETFD, F_SETFD, flags);
}

int fcntl_setfl(int fd, int flags)
{
    return add_flags(fd, F_GETFL, F_SETFL, flags);
}
