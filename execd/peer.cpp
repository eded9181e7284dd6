#include "execd/peer.hpp"

#include <unistd.h>

namespace execd {

bool peer_credentials(int fd, ucred *cred)
{
    socklen_t len = sizeof *cred;
    return ::getsockopt(fd, SOL_SOCKET, SO_PEERCRED, cred, &len) == 0 && len == sizeof *cred;
}

bool peer_allowed(const Config &config, const ucred &cred)
{
    if (cred.uid == 0 || cred.uid == ::geteuid())
        return true;
    for (unsigned i = 0; i < config.n_uids; ++i)
        if (config.allow_uids[i] == cred.uid)
            return true;
    for (unsigned i = 0; i < config.n_gids; ++i)
        if (config.allow_gids[i] == cred.gid)
            return true;
    return false;
}

}  // namespace execd
