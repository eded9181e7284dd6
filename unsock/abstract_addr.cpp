#include "unsock/abstract_addr.hpp"

#include <cstddef>
#include <cstring>
#include <sys/socket.h>

#include "base/errno_guard.hpp"

namespace anvil {

socklen_t fillUnAbstractAddr(sockaddr_un *addr, const char *name)
{
    std::memset(addr, 0, sizeof *addr);
    addr->sun_family = AF_UNIX;
    size_t len = ::strnlen(name, kMaxAbstractName);
    std::memcpy(addr->sun_path + 1, name, len);
    return static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + len);
}

int unSockAt(const char *name, int type, AddressOp op)
{
    int fd = ::socket(AF_UNIX, type, 0);
    if (fd == -1)
        return -1;
    sockaddr_un addr;
    socklen_t len = fillUnAbstractAddr(&addr, name);
    if (op(fd, reinterpret_cast<sockaddr *>(&addr), len) == -1) {
        close_keep_errno(fd);
        return -1;
    }
    return fd;
}

int bindUnSock(const char *name, int type)
{
    return unSockAt(name, type, ::bind);
}

}  // namespace anvil
