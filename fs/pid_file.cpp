// Single-instance guards: pid files under /var/run.
#include "anvil/pidfile.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include "anvil/io.h"
#include "base/errno_guard.hpp"

namespace {

// The path is cut silently by snprintf when the name is too long for N.
template <size_t N>
void pid_path(char (&path)[N], const char *name)
{
    (void)std::snprintf(path, N, "/var/run/%s.pid", name);
}

// Writes "<pid>\n". Returns 0, or -1 with errno (ENOSPC on a short write).
int write_pid(int fd)
{
    char text[32];
    int length = std::snprintf(text, sizeof text, "%d\n", static_cast<int>(getpid()));
    if (length < 0)
        return -1;
    return writen(fd, text, static_cast<size_t>(length)) == length ? 0 : -1;
}

int truncate_empty(int fd)
{
    int r;
    do
        r = ftruncate(fd, 0);
    while (r != 0 && errno == EINTR);
    return r;
}

}  // namespace

int ensureOnlyoneProcessEntity(const char *name)
{
    char path[128];
    pid_path(path, name);
    // No O_TRUNC: a losing instance must not empty the winner's file before
    // the lock says who won.
    int fd = open(path, O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
    if (fd < 0)
        return -1;
    if (flock(fd, LOCK_EX | LOCK_NB) == 0 && truncate_empty(fd) == 0 && write_pid(fd) == 0)
        return 0;  // fd stays open: the lock lives as long as this process
    anvil::close_keep_errno(fd);
    return -1;
}

int ensureProcessOnlyRunOnce(const char *name)
{
    char path[256];
    pid_path(path, name);
    int fd = open(path, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    if (fd < 0)
        return -1;
    // The exclusive creation alone decides; a failed write changes nothing.
    (void)write_pid(fd);
    (void)close(fd);
    return 0;
}
