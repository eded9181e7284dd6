// recvstr over a stream socket pair fed one fuzzer-chosen chunk at a time,
// against the framing rule: the string ends with the first delivery whose
// last byte is a NUL, and a delivery ends at the end of a chunk or of a
// 4096-byte block. Input: a byte whose bit 0 has the peer close at the end
// (else it falls silent), then chunks, each a header byte: bit 7 a run of
// one value (its length in 14 bits, then the value) instead of up to 64
// literal bytes, bit 6 a signal interrupting the wait before the chunk.
#include <anvil/recvstr.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <malloc.h>
#include <string>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

#include "model/reader.hpp"

// Where the sanitizer offers it, each allocation is counted.
extern "C" __attribute__((weak)) int __sanitizer_install_malloc_and_free_hooks(
    void (*)(const volatile void *, size_t), void (*)(const volatile void *));

namespace {

constexpr size_t kBlock = 4096;

// The peer, run from recvstr's calls of recv: a chunk is sent once everything
// before it has been received, so that it arrives on its own.
struct Peer {
    int fd[2] = {-1, -1};  // recvstr's end, the peer's
    std::vector<std::pair<std::string, bool>> chunks;  // and whether a signal comes first
    size_t sent = 0, queued = 0, received = 0, allocations = 0;
    bool closes = false, interrupted = false, right = true;  // recvstr's arguments so far
    char *first = nullptr, *block = nullptr;  // where the first and the current block are
} peer;

}  // namespace

extern "C" ssize_t recv(int fd, void *buf, size_t n, int flags)
{
    if (fd == peer.fd[0]) {
        size_t used = peer.received % kBlock;
        if (used == 0)
            peer.block = static_cast<char *>(buf);
        if (!peer.first)
            peer.first = peer.block;
        peer.right &= flags == 0 && n == kBlock - used && buf == peer.block + used &&
                      (peer.received < kBlock) == (peer.block == peer.first);
        if (peer.queued == 0 && peer.sent < peer.chunks.size()) {
            const auto &[bytes, signal] = peer.chunks[peer.sent];
            if ((peer.interrupted = signal && !peer.interrupted)) {
                errno = EINTR;
                return -1;
            }
            ANVIL_CHECK(send(peer.fd[1], bytes.data(), bytes.size(), MSG_DONTWAIT) == ssize_t(bytes.size()));
            peer.queued = bytes.size();
            ++peer.sent;
        } else if (peer.queued == 0 && peer.closes) {
            shutdown(peer.fd[1], SHUT_WR);
        }
    }
    ssize_t r = recvfrom(fd, buf, n, flags, nullptr, nullptr);
    if (fd == peer.fd[0] && r > 0)
        peer.queued -= size_t(r), peer.received += size_t(r);
    return r;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static bool counting = __sanitizer_install_malloc_and_free_hooks &&
                           __sanitizer_install_malloc_and_free_hooks([](const volatile void *, size_t) { ++peer.allocations; },
                                                                     [](const volatile void *) {});
    anvil_model::Reader in{data, size};
    peer = Peer{};
    peer.closes = in.byte() & 1;
    std::string all;
    size_t end = 0;  // where the string ends, 0 while no delivery has ended in a NUL
    while (in.more() && all.size() < 64 * kBlock) {
        uint8_t h = in.byte();
        std::string bytes;
        if (h & 0x80) {
            size_t len = size_t(h & 0x3f) << 8 | in.byte();
            bytes.assign(len + 1, char(in.byte()));
        } else {
            for (int i = 0; i <= (h & 0x3f) && in.more(); ++i)
                bytes += char(in.byte());
        }
        for (size_t at = all.size(), stop; !end && at < all.size() + bytes.size(); at = stop) {
            stop = std::min((at / kBlock + 1) * kBlock, all.size() + bytes.size());
            end = bytes[stop - 1 - all.size()] == '\0' ? stop : 0;
        }
        all += bytes;
        if (!bytes.empty())
            peer.chunks.emplace_back(bytes, (h & 0x40) != 0);
    }
    ANVIL_CHECK(socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, peer.fd) == 0);
    peer.allocations = 0;
    char *r = recvstr(peer.fd[0]);
    int error = errno;
    close(peer.fd[0]);
    close(peer.fd[1]);
    ANVIL_CHECK(peer.right);
    if (!end) {
        // The data ran out: a closed peer, or silence on a socket that does not block.
        ANVIL_CHECK(!r && error == (peer.closes ? ECONNRESET : EAGAIN));
        return 0;
    }
    // The first block alone, received into and taken as it is, or every
    // block gathered into a new buffer.
    size_t blocks = (end + kBlock - 1) / kBlock, usable = r ? malloc_usable_size(r) : 0;
    ANVIL_CHECK(r && peer.received == end && std::memcmp(r, all.data(), end) == 0 &&
          usable >= blocks * kBlock && usable < (blocks + 1) * kBlock && (r == peer.first) == (blocks == 1) &&
          (!counting || blocks > 1 || peer.allocations == 1));
    free(r);
    return 0;
}
