#include "execd/daemonize.hpp"

#include <fcntl.h>
#include <unistd.h>

#include "execd/config.hpp"

namespace execd {

void ensure_std_fds()
{
    for (;;) {
        int fd = ::open("/dev/null", O_RDWR);
        if (fd < 0)
            return;
        if (fd > 2) {
            (void)::close(fd);
            return;
        }
    }
}

bool detach_begin(Detach *d)
{
    int fds[2];
    if (::pipe2(fds, O_CLOEXEC) != 0)
        return false;
    pid_t pid = ::fork();
    if (pid < 0) {
        (void)::close(fds[0]);
        (void)::close(fds[1]);
        return false;
    }
    if (pid > 0) {
        // The starter: the daemon's first byte is its status; none at all
        // means it died before it could say.
        (void)::close(fds[1]);
        unsigned char status = kExitFailure;
        ssize_t n;
        do
            n = ::read(fds[0], &status, 1);
        while (n < 0);
        ::_exit(n == 1 ? status : kExitFailure);
    }
    (void)::close(fds[0]);
    (void)::setsid();
    d->notify_fd = fds[1];
    return true;
}

void detach_report(Detach *d, int exit_status)
{
    if (d->notify_fd < 0)
        return;
    if (exit_status == kExitOk) {
        int null_fd = ::open("/dev/null", O_RDWR);
        if (null_fd >= 0) {
            (void)::dup2(null_fd, 0);
            (void)::dup2(null_fd, 1);
            (void)::dup2(null_fd, 2);
            if (null_fd > 2)
                (void)::close(null_fd);
        }
    }
    unsigned char status = static_cast<unsigned char>(exit_status);
    (void)::write(d->notify_fd, &status, 1);
    (void)::close(d->notify_fd);
    d->notify_fd = -1;
}

}  // namespace execd
