// Interposes the system calls the library makes so that a test can make the
// n-th call of one of them fail. Only the arming thread is affected, so that
// peers serving the test from threads of their own (the execd stand-in) run
// undisturbed. Calls go on to the next definition through dlsym(RTLD_NEXT).
#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/select.h>
#include <sys/time.h>
#include <sys/uio.h>
#include <type_traits>
#include <unistd.h>

#include "support/test_support.hpp"

namespace {

thread_local const char *target;
thread_local int countdown;
thread_local int error;
thread_local bool fired;

// True when this call is the one to fail.
bool hit(const char *name)
{
    if (!target || std::strcmp(name, target) != 0 || --countdown != 0)
        return false;
    target = nullptr;
    fired = true;
    errno = error;
    return true;
}

// -1, or NULL for the calls that return an address.
template <class T>
T failed()
{
    if constexpr (std::is_pointer_v<T>)
        return nullptr;
    else
        return T(-1);
}

template <class F>
F next(const char *name)
{
    return reinterpret_cast<F>(dlsym(RTLD_NEXT, name));
}

}  // namespace

#define ANVIL_FAILABLE(ret, name, params, args)          \
    extern "C" ret name params                           \
    {                                                    \
        static auto real = next<ret(*) params>(#name);   \
        return hit(#name) ? failed<ret>() : real args;   \
    }

ANVIL_FAILABLE(int, socket, (int d, int t, int p), (d, t, p))
ANVIL_FAILABLE(int, bind, (int fd, const sockaddr *a, socklen_t l), (fd, a, l))
ANVIL_FAILABLE(int, listen, (int fd, int n), (fd, n))
ANVIL_FAILABLE(int, connect, (int fd, const sockaddr *a, socklen_t l), (fd, a, l))
ANVIL_FAILABLE(int, accept, (int fd, sockaddr *a, socklen_t *l), (fd, a, l))
ANVIL_FAILABLE(ssize_t, send, (int fd, const void *b, size_t n, int f), (fd, b, n, f))
ANVIL_FAILABLE(ssize_t, recv, (int fd, void *b, size_t n, int f), (fd, b, n, f))
ANVIL_FAILABLE(ssize_t, sendmsg, (int fd, const msghdr *m, int f), (fd, m, f))
ANVIL_FAILABLE(ssize_t, recvmsg, (int fd, msghdr *m, int f), (fd, m, f))
ANVIL_FAILABLE(ssize_t, read, (int fd, void *b, size_t n), (fd, b, n))
ANVIL_FAILABLE(ssize_t, write, (int fd, const void *b, size_t n), (fd, b, n))
ANVIL_FAILABLE(ssize_t, readv, (int fd, const iovec *v, int n), (fd, v, n))
ANVIL_FAILABLE(ssize_t, writev, (int fd, const iovec *v, int n), (fd, v, n))
ANVIL_FAILABLE(int, select, (int n, fd_set *r, fd_set *w, fd_set *e, timeval *t), (n, r, w, e, t))
ANVIL_FAILABLE(int, fstat64, (int fd, struct stat64 *st), (fd, st))
ANVIL_FAILABLE(int, lstat64, (const char *p, struct stat64 *st), (p, st))
ANVIL_FAILABLE(int, creat64, (const char *p, mode_t m), (p, m))
ANVIL_FAILABLE(int, flock, (int fd, int op), (fd, op))
ANVIL_FAILABLE(int, ftruncate64, (int fd, off64_t n), (fd, n))
ANVIL_FAILABLE(int, utimes, (const char *p, const timeval *t), (p, t))
ANVIL_FAILABLE(int, mkdir, (const char *p, mode_t m), (p, m))
ANVIL_FAILABLE(int, rmdir, (const char *p), (p))
ANVIL_FAILABLE(int, unlink, (const char *p), (p))
ANVIL_FAILABLE(int, rename, (const char *a, const char *b), (a, b))
ANVIL_FAILABLE(DIR *, opendir, (const char *p), (p))

// readdir_r reports its error as its result; with 64-bit file offsets the
// library reaches it as readdir64_r.
extern "C" int readdir64_r(DIR *dir, dirent64 *entry, dirent64 **result)
{
    static auto real = next<int (*)(DIR *, dirent64 *, dirent64 **)>("readdir64_r");
    return hit("readdir64_r") ? (*result = nullptr, error) : real(dir, entry, result);
}

extern "C" int open64(const char *path, int flags, ...)
{
    static auto real = next<int (*)(const char *, int, ...)>("open64");
    mode_t mode = 0;
    if (flags & (O_CREAT | O_TMPFILE)) {
        va_list ap;
        va_start(ap, flags);
        mode = va_arg(ap, mode_t);
        va_end(ap);
    }
    return hit("open64") ? -1 : real(path, flags, mode);
}

extern "C" int fcntl64(int fd, int cmd, ...)
{
    static auto real = next<int (*)(int, int, ...)>("fcntl64");
    va_list ap;
    va_start(ap, cmd);
    long arg = va_arg(ap, long);  // every command the library uses takes an int or none
    va_end(ap);
    return hit("fcntl64") ? -1 : real(fd, cmd, arg);
}

// A failed close has still released the descriptor, as on Linux.
extern "C" int close(int fd)
{
    static auto real = next<int (*)(int)>("close");
    int r = real(fd);
    return hit("close") ? -1 : r;
}

namespace anvil_test {

void fail_call(const char *name, int nth, int err)
{
    target = name;
    countdown = nth;
    error = err;
    fired = false;
}

bool disarm_call_failure()
{
    target = nullptr;
    return fired;
}

}  // namespace anvil_test
