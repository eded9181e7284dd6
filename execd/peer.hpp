// Who may have commands run: decided from the kernel's view of the peer.
#pragma once

#include <sys/socket.h>

#include "execd/config.hpp"

namespace execd {

// Reads the peer's credentials (SO_PEERCRED). Returns false, errno set,
// when the kernel cannot tell.
bool peer_credentials(int fd, ucred *cred);

// Root and the daemon's own user are always served; others only when the
// configuration names their uid or gid.
bool peer_allowed(const Config &config, const ucred &cred);

}  // namespace execd
