// Clean-up that never masks the error being reported.
#pragma once

#include <cerrno>
#include <cstdlib>
#include <unistd.h>

namespace anvil {

// Saves errno on construction and puts it back on destruction, so that the
// clean-up done in its scope (close, free, unlink...) reports nothing.
class ErrnoGuard {
public:
    ErrnoGuard() : saved_(errno) {}
    ~ErrnoGuard() { errno = saved_; }
    ErrnoGuard(const ErrnoGuard &) = delete;
    ErrnoGuard &operator=(const ErrnoGuard &) = delete;

private:
    int saved_;
};

// Closes fd on a failure path, keeping the failure's errno.
inline void close_keep_errno(int fd)
{
    ErrnoGuard guard;
    (void)::close(fd);
}

// Frees p on a failure path, keeping the failure's errno.
inline void free_keep_errno(void *p)
{
    ErrnoGuard guard;
    std::free(p);
}

// Sets errno and returns the failure value of the caller's result type.
template <class T = int>
inline T fail(int err, T result = T(-1))
{
    errno = err;
    return result;
}

}  // namespace anvil
