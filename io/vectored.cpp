// Whole-vector reads and writes: the transfer loop over a vector cursor.
#include "anvil/vectored_io.h"

#include "io/transfer.hpp"

ssize_t readvn(int fd, const struct iovec *iov, int entries)
{
    return anvil::transfer_vector<anvil::ReadPolicy>(fd, iov, entries);
}

ssize_t writevn(int fd, const struct iovec *iov, int entries)
{
    return anvil::transfer_vector<anvil::WritePolicy>(fd, iov, entries);
}
