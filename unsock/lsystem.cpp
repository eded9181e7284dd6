// Client of the command-execution daemon on the abstract socket "execd".
#include "anvil/lsystem.h"

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <sys/socket.h>
#include <unistd.h>

#include "anvil/io.h"
#include "anvil/unsock.h"
#include "base/errno_guard.hpp"

namespace {
constexpr char kDaemonName[] = "execd";
constexpr size_t kMaxRequest = 256;  // command and its NUL
}  // namespace

int lsystema(const char *command)
{
    // Measure without reading past the limit: anything longer is refused.
    size_t size = ::strnlen(command, kMaxRequest) + 1;
    if (size > kMaxRequest)
        return anvil::fail(ENAMETOOLONG);
    int fd = connectUnSock(kDaemonName, SOCK_STREAM);
    if (fd == -1)
        return -1;
    if (sockwriten(fd, command, size) == -1) {
        anvil::close_keep_errno(fd);
        return -1;
    }
    return fd;
}

int waitlsystema(int fd)
{
    std::int32_t result;
    if (sockreadn(fd, &result, sizeof result) == -1)
        return -1;
    return result;
}

int lsystem(const char *command)
{
    int fd = lsystema(command);
    if (fd == -1)
        return -1;
    int r = waitlsystema(fd);
    anvil::close_keep_errno(fd);  // a failure's errno survives the close
    return r;
}
