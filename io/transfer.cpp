// The four whole-buffer transfers: one loop, four policies.
#include "anvil/io.h"

#include <cstdint>

#include "io/transfer.hpp"

namespace {

template <class Policy>
ssize_t transfer_buffer(int fd, typename Policy::Byte *p, size_t n)
{
    return anvil::transfer<Policy>(fd, anvil::FlatCursor<typename Policy::Byte>(p, n));
}

}  // namespace

ssize_t readn(int fd, void *buf, size_t n)
{
    return transfer_buffer<anvil::ReadPolicy>(fd, static_cast<std::uint8_t *>(buf), n);
}

ssize_t writen(int fd, const void *buf, size_t n)
{
    return transfer_buffer<anvil::WritePolicy>(fd, static_cast<const std::uint8_t *>(buf), n);
}

ssize_t sockreadn(int fd, void *buf, size_t n)
{
    return transfer_buffer<anvil::RecvPolicy>(fd, static_cast<std::uint8_t *>(buf), n);
}

ssize_t sockwriten(int fd, const void *buf, size_t n)
{
    return transfer_buffer<anvil::SendPolicy>(fd, static_cast<const std::uint8_t *>(buf), n);
}
