// Building and using addresses in the Linux abstract AF_UNIX namespace.
#pragma once

#include <cstddef>
#include <sys/socket.h>
#include <sys/un.h>

namespace anvil {

// The longest name that fits: sun_path holds the 0 marker, the name and a
// terminator that is stored but not counted in the length.
inline constexpr size_t kMaxAbstractName = sizeof(sockaddr_un::sun_path) - 2;

// Fills addr with AF_UNIX, a 0 marker byte and at most 106 bytes of name;
// returns the address length, name length + 3.
socklen_t fillUnAbstractAddr(sockaddr_un *addr, const char *name);

// bind or connect.
using AddressOp = int (*)(int, const sockaddr *, socklen_t);

// A new AF_UNIX socket of the given type on which op succeeded with name's
// address, or -1 with op's (or socket's) errno and no socket left open.
int unSockAt(const char *name, int type, AddressOp op);

// A socket of the given type bound to name, or -1.
int bindUnSock(const char *name, int type);

}  // namespace anvil
