// Passing an open descriptor, with at least one byte of data, over a
// connected AF_UNIX socket in one SCM_RIGHTS control message.
#include "anvil/fd_passing.h"

#include <cerrno>
#include <cstring>
#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>

#include "base/errno_guard.hpp"

namespace {

// One control message for one descriptor: 16 bytes on 32-bit ARM, where
// CMSG_SPACE and CMSG_LEN of one int agree; 64-bit hosts pad it to 24.
union Control {
    cmsghdr align;
    unsigned char bytes[CMSG_SPACE(sizeof(int))];
};

// A receiver offers only CMSG_LEN of one int, so that the kernel installs the
// first descriptor of a message and drops the rest also where CMSG_SPACE pads.
msghdr message(iovec *data, Control *control, size_t room = sizeof(Control::bytes))
{
    msghdr msg = {};
    msg.msg_iov = data;
    msg.msg_iovlen = 1;
    msg.msg_control = control->bytes;
    msg.msg_controllen = room;
    return msg;
}

// Closes every descriptor the kernel installed from msg except keep, so that
// a refused message leaves nothing open behind it.
void close_received(msghdr *msg, int keep)
{
    anvil::ErrnoGuard guard;
    for (cmsghdr *c = CMSG_FIRSTHDR(msg); c; c = CMSG_NXTHDR(msg, c)) {
        if (c->cmsg_level != SOL_SOCKET || c->cmsg_type != SCM_RIGHTS)
            continue;
        size_t n = (c->cmsg_len - CMSG_LEN(0)) / sizeof(int);
        for (size_t i = 0; i < n; ++i) {
            int fd;
            std::memcpy(&fd, CMSG_DATA(c) + i * sizeof fd, sizeof fd);
            if (fd >= 0 && fd != keep)
                (void)::close(fd);
        }
    }
}

}  // namespace

ssize_t sendFdAndDataByUnSock(int sock, int fd, const void *data, size_t len)
{
    if (fd < 0 || !data || len == 0)
        return anvil::fail<ssize_t>(EINVAL);
    iovec iov = {const_cast<void *>(data), len};
    Control control;
    std::memset(&control, 0, sizeof control);
    msghdr msg = message(&iov, &control);
    cmsghdr *c = CMSG_FIRSTHDR(&msg);
    c->cmsg_len = CMSG_LEN(sizeof(int));
    c->cmsg_level = SOL_SOCKET;
    c->cmsg_type = SCM_RIGHTS;
    std::memcpy(CMSG_DATA(c), &fd, sizeof fd);
    for (;;) {
        ssize_t r = ::sendmsg(sock, &msg, MSG_NOSIGNAL);
        if (r >= 0 || errno != EINTR)
            return r;
    }
}

int recvFdAndDataByUnSock(int sock, void *buf, size_t *len)
{
    Control control;
    std::memset(&control, 0, sizeof control);
    if (!buf || !len || *len == 0)
        return anvil::fail(EINVAL);
    iovec iov = {buf, *len};
    msghdr msg = message(&iov, &control, CMSG_LEN(sizeof(int)));
    ssize_t r;
    do
        r = ::recvmsg(sock, &msg, 0);
    while (r == -1 && errno == EINTR);
    if (r == -1)
        return -1;
    if (r == 0) {
        close_received(&msg, -1);
        return anvil::fail(ECONNRESET);
    }
    *len = static_cast<size_t>(r);
    cmsghdr *c = CMSG_FIRSTHDR(&msg);
    if (!c || c->cmsg_len != CMSG_LEN(sizeof(int)) || c->cmsg_level != SOL_SOCKET ||
        c->cmsg_type != SCM_RIGHTS) {
        close_received(&msg, -1);
        return anvil::fail(EPROTOTYPE);
    }
    int fd;
    std::memcpy(&fd, CMSG_DATA(c), sizeof fd);
    if (fd < 0)
        return anvil::fail(ERANGE);
    return fd;
}

int recvFdByUnSock(int sock)
{
    unsigned char discard[4];
    size_t len = sizeof discard;
    return recvFdAndDataByUnSock(sock, discard, &len);
}
