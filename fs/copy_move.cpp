// __copyFile and mv, which falls back to it across file systems.
#include "anvil/path.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "anvil/io.h"
#include "base/errno_guard.hpp"

namespace {

constexpr size_t kBlock = 65536;

// Makes room for a regular file at destination without ever writing through
// a link. Returns the permission bits of a regular file that may be
// replaced, 0 when nothing is there any more, or -1 with errno.
int clear_destination(const char *destination, int overwrite)
{
    struct stat st;
    if (::lstat(destination, &st) != 0)
        return errno == ENOENT ? 0 : -1;
    if (S_ISREG(st.st_mode))
        return overwrite ? static_cast<int>(st.st_mode & 0777) : anvil::fail(EEXIST);
    if (S_ISLNK(st.st_mode))
        return ::unlink(destination) == 0 || errno == ENOENT ? 0 : -1;
    return anvil::fail(EEXIST);
}

// Copies in to out until the end of in. Returns 0 or an errno value.
int copy_content(int in, int out)
{
    void *buf = std::malloc(kBlock);
    if (!buf)
        return errno;
    int err = 0;
    for (;;) {
        ssize_t r = readn(in, buf, kBlock);
        if (r < 0) {
            err = errno;
            break;
        }
        if (r == 0)
            break;
        if (writen(out, buf, static_cast<size_t>(r)) != r) {
            err = errno;
            break;
        }
        if (static_cast<size_t>(r) < kBlock)
            break;
    }
    std::free(buf);
    return err;
}

}  // namespace

int __copyFile(const char *source, const char *destination, int overwrite)
{
    int mode = clear_destination(destination, overwrite);
    if (mode < 0)
        return -1;
    int in = ::open(source, O_RDONLY);
    if (in < 0)
        return -1;
    if (mode == 0) {
        struct stat st;
        if (::fstat(in, &st) != 0) {
            anvil::close_keep_errno(in);
            return -1;
        }
        mode = static_cast<int>(st.st_mode & 0777);
    }
    int err = 0;
    int out = ::creat(destination, static_cast<mode_t>(mode));
    if (out < 0) {
        err = errno;
    } else {
        err = copy_content(in, out);
        if (::close(out) != 0 && err == 0)
            err = errno;
    }
    (void)::close(in);  // read-only: its close changes nothing of the result
    return err ? anvil::fail(err) : 0;
}

int mv(const char *source, const char *destination)
{
    if (::rename(source, destination) == 0)
        return 0;
    if (errno != EXDEV || __copyFile(source, destination, 1) != 0)
        return -1;
    return ::unlink(source) == 0 || errno == ENOENT ? 0 : -1;
}
