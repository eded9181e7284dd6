// echo, cat and its consumers, touch.
#include "anvil/file.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/time.h>
#include <unistd.h>

#include "anvil/io.h"
#include "base/errno_guard.hpp"

namespace {

constexpr size_t kReadStep = 4096;
constexpr size_t kGrowStep = 16384;
// Lines up to this long are assembled on the stack instead of the heap.
constexpr size_t kStackLine = 256;

template <class T>
int retry_eintr(T call)
{
    int r;
    do
        r = call();
    while (r == -1 && errno == EINTR);
    return r;
}

// Writes text and one line feed with a single writen on the locked file.
int write_line(int fd, const char *text)
{
    size_t len = std::strlen(text);
    char small[kStackLine];
    char *line = small;
    if (len + 1 > sizeof small) {
        line = static_cast<char *>(std::malloc(len + 1));
        if (!line)
            return -1;
    }
    std::memcpy(line, text, len);
    line[len] = '\n';
    int r = writen(fd, line, len + 1) == static_cast<ssize_t>(len + 1) ? 0 : -1;
    if (line != small)
        anvil::free_keep_errno(line);
    return r;
}

// Reads fd to its end; on success *length counts the content and its NUL.
char *read_all(int fd, uint32_t *length)
{
    size_t capacity = kReadStep, total = 0;
    char *buf = static_cast<char *>(std::malloc(capacity));
    if (!buf)
        return nullptr;
    for (;;) {
        ssize_t r = readn(fd, buf + total, kReadStep);
        if (r < 0) {
            anvil::free_keep_errno(buf);
            return nullptr;
        }
        total += static_cast<size_t>(r);
        if (static_cast<size_t>(r) < kReadStep)
            break;
        if (total == capacity) {
            char *grown = static_cast<char *>(std::realloc(buf, capacity + kGrowStep));
            if (!grown) {
                anvil::free_keep_errno(buf);
                return nullptr;
            }
            buf = grown;
            capacity += kGrowStep;
        }
    }
    // A final short read always leaves at least one spare byte for the NUL.
    if (total == 0 || buf[total - 1] != '\0')
        buf[total++] = '\0';
    *length = static_cast<uint32_t>(total);
    return buf;
}

uint32_t catstring_copy(catstring_dest *dest, const char *data, uint32_t length)
{
    uint32_t n = length < dest->size ? length : dest->size;
    if (n == 0)
        return 0;
    std::memcpy(dest->buf, data, n);
    dest->buf[n - 1] = '\0';
    return n;
}

int touch_create(const char *path)
{
    int fd = ::creat(path, 0666);
    if (fd < 0)
        return -1;
    return ::close(fd);
}

}  // namespace

int echo(const char *path, const char *text, int append)
{
    int fd = ::open(path, O_WRONLY | O_CREAT | (append ? O_APPEND : 0), 0666);
    if (fd < 0)
        return -1;
    // Truncating only under the lock keeps a locked reader from ever seeing
    // the file empty.
    if (retry_eintr([fd] { return ::flock(fd, LOCK_EX); }) != 0 ||
        (!append && retry_eintr([fd] { return ::ftruncate(fd, 0); }) != 0) ||
        write_line(fd, text) != 0) {
        anvil::close_keep_errno(fd);
        return -1;
    }
    return ::close(fd);
}

int cat(const char *path, cat_callback consumer, void *arg)
{
    if (!consumer)
        return anvil::fail(EINVAL);
    int fd = ::open(path, O_RDONLY);
    if (fd < 0)
        return -1;
    uint32_t length;
    char *data = read_all(fd, &length);
    if (!data) {
        anvil::close_keep_errno(fd);
        return -1;
    }
    consumer(arg, data, length);
    std::free(data);
    (void)::close(fd);  // read-only: nothing of the result depends on it
    return 0;
}

void catint(void *arg, const char *data, uint32_t)
{
    *static_cast<int *>(arg) = std::atoi(data);  // NOLINT(cert-err34-c): the contract is atoi's
}

void catlong(void *arg, const char *data, uint32_t)
{
    *static_cast<long *>(arg) = std::atol(data);  // NOLINT(cert-err34-c): the contract is atol's
}

void catstring(void *arg, const char *data, uint32_t length)
{
    catstring_copy(static_cast<catstring_dest *>(arg), data, length);
}

void catstringdln(void *arg, const char *data, uint32_t length)
{
    auto *dest = static_cast<catstring_dest *>(arg);
    uint32_t n = catstring_copy(dest, data, length);
    if (n < 2)
        return;
    char *p = dest->buf + n - 2;
    while (p > dest->buf && *p == '\0')
        --p;
    if (*p == '\n')
        *p = '\0';
}

int touch(const char *path)
{
    // cppcheck-suppress utimesCalled ; the contract is utimes's
    if (::utimes(path, nullptr) == 0)
        return 0;
    return errno == ENOENT ? touch_create(path) : -1;
}
