// recvstr: the first 4096 bytes are received straight into the buffer that is
// returned; anything longer overflows into an array stream, whose chunks do
// not move while it grows, and is gathered once at the end.
#include "anvil/recvstr.h"

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <sys/socket.h>

#include "anvil/array_stream.h"
#include "base/errno_guard.hpp"

namespace {

constexpr uint32_t kBlock = 4096;

void release(char *first, array_stream *overflow)
{
    if (overflow)
        array_stream_destroy(overflow);
    std::free(first);
}

// The whole string in one buffer: the first block, then every overflow chunk.
char *gather(char *first, array_stream *overflow)
{
    if (!overflow)
        return first;
    auto *result = static_cast<char *>(std::malloc(size_t{kBlock} + array_stream_length(overflow)));
    if (!result)
        return nullptr;
    std::memcpy(result, first, kBlock);
    array_stream_copy_all(overflow, result + kBlock);
    release(first, overflow);
    return result;
}

}  // namespace

char *recvstr(int fd)
{
    auto *first = static_cast<char *>(std::malloc(kBlock));
    if (!first)
        return nullptr;
    char *block = first;
    uint32_t used = 0;
    uint32_t room = kBlock;
    array_stream *overflow = nullptr;
    for (;;) {
        ssize_t n = ::recv(fd, block + used, room, 0);
        if (n < 0) {
            if (errno == EINTR)
                continue;
            break;
        }
        if (n == 0) {
            errno = ECONNRESET;
            break;
        }
        used += static_cast<uint32_t>(n);
        if (block[used - 1] == '\0') {
            if (char *result = gather(first, overflow))
                return result;
            break;
        }
        room -= static_cast<uint32_t>(n);
        if (room != 0)
            continue;
        if (!overflow && !(overflow = array_stream_create(1, kBlock)))
            break;
        // The stream is always at a chunk boundary here: room comes back whole.
        room = kBlock;
        block = static_cast<char *>(array_stream_write(overflow, &room));
        if (!block)
            break;
        used = 0;
    }
    anvil::ErrnoGuard keep;
    release(first, overflow);
    return nullptr;
}
