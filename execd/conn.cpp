#include "execd/conn.hpp"

#include <anvil/io.h>
#include <cerrno>
#include <cstring>
#include <sys/socket.h>

namespace execd {

ReadResult read_request(Conn *c)
{
    for (;;) {
        ssize_t n = ::recv(c->fd, c->request + c->len, kMaxRequest - c->len, 0);
        if (n > 0) {
            bool done = std::memchr(c->request + c->len, '\0', size_t(n)) != nullptr;
            c->len += std::uint32_t(n);
            if (done)
                return ReadResult::Complete;
            if (c->len == kMaxRequest)
                return ReadResult::TooLong;
            continue;
        }
        if (n == 0)
            return ReadResult::Closed;
        if (errno == EINTR)
            continue;
        return errno == EAGAIN ? ReadResult::Partial : ReadResult::Closed;
    }
}

void send_reply(Conn *c, std::int32_t status)
{
    // Four bytes always fit an idle socket's buffer, so the non-blocking
    // descriptor never comes back short.
    (void)sockwriten(c->fd, &status, sizeof status);
}

}  // namespace execd
