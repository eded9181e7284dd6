// Listening, accepting, bound datagram and connected endpoints.
#include "anvil/unsock.h"

#include <cerrno>
#include <sys/socket.h>
#include <sys/un.h>

#include "base/errno_guard.hpp"
#include "unsock/abstract_addr.hpp"

namespace {
constexpr int kBacklog = 32;
}

int listenUnTcpSock(const char *name)
{
    int fd = anvil::bindUnSock(name, SOCK_STREAM);
    if (fd == -1)
        return -1;
    if (::listen(fd, kBacklog) == -1) {
        anvil::close_keep_errno(fd);
        return -1;
    }
    return fd;
}

int acceptUnTcpSock(int listenfd)
{
    for (;;) {
        sockaddr_un peer;
        socklen_t len = sizeof peer;
        int fd = ::accept(listenfd, reinterpret_cast<sockaddr *>(&peer), &len);
        if (fd >= 0 || errno != EINTR)
            return fd;
    }
}

int bindUnUdpSock(const char *name)
{
    return anvil::bindUnSock(name, SOCK_DGRAM);
}

int connectUnSock(const char *name, int type)
{
    // An interrupted connect is reported, not retried.
    return anvil::unSockAt(name, type, ::connect);
}
