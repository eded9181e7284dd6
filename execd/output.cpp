#include "execd/output.hpp"

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace execd {
namespace {

void flush_line(Output *out, Log *log)
{
    log_line(log, "output: %.*s", int(out->len), out->line);
    out->len = 0;
}

}  // namespace

bool output_open(Output *out)
{
    int fds[2];
    if (::pipe2(fds, O_CLOEXEC) != 0)
        return false;
    // Only the reading end is non-blocking: commands block on a full pipe
    // until the loop catches up, as they would on a slow terminal.
    if (::fcntl(fds[0], F_SETFL, O_NONBLOCK) != 0) {
        (void)::close(fds[0]);
        (void)::close(fds[1]);
        return false;
    }
    out->read_fd = fds[0];
    out->write_fd = fds[1];
    out->len = 0;
    return true;
}

void output_drain(Output *out, Log *log)
{
    char buf[4096];
    for (;;) {
        ssize_t n = ::read(out->read_fd, buf, sizeof buf);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return;
        for (ssize_t i = 0; i < n; ++i) {
            if (buf[i] == '\n') {
                flush_line(out, log);
                continue;
            }
            out->line[out->len++] = buf[i];
            if (out->len == sizeof out->line)
                flush_line(out, log);
        }
    }
}

void output_close(Output *out, Log *log)
{
    if (out->read_fd < 0)
        return;
    output_drain(out, log);
    if (out->len)
        flush_line(out, log);
    (void)::close(out->read_fd);
    (void)::close(out->write_fd);
    out->read_fd = out->write_fd = -1;
}

}  // namespace execd
