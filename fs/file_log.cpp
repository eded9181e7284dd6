// The size-rotated log: one formatted line, one write.
#include "anvil/file_log.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "anvil/io.h"
#include "base/errno_guard.hpp"

struct file_log {
    char *path;
    int32_t backup_count;
    uint32_t max_size;  // 0: never rotate
    int fd;             // -1 while no live file is open
    uint32_t size;      // bytes in the live file as far as this handle knows
    // The stamp of the last line and the second it was made for: lines come
    // many to a second, and the local time conversion is the dearest part of
    // a line after the write itself.
    bool stamped;
    time_t stamp_time;
    char stamp[16];
};

namespace {

constexpr size_t line_max = 256;
constexpr size_t stamp_length = 15;  // "Mmm dd hh:mm:ss"
constexpr size_t text_offset = stamp_length + 1;

constexpr int create_flags = O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC;
constexpr int continue_flags = O_WRONLY | O_APPEND | O_CLOEXEC;

// Saturates rather than wraps, so that a file past 4 GiB still counts as full.
uint32_t add_size(uint32_t size, uint64_t more)
{
    uint64_t sum = size + more;
    return sum > UINT32_MAX ? UINT32_MAX : static_cast<uint32_t>(sum);
}

// Characters 4 to 18 of the ctime_r text, made once per second: the same
// bytes as converting the time anew for every line.
bool stamp(file_log *log, char *out)
{
    time_t now = time(nullptr);
    if (!log->stamped || now != log->stamp_time) {
        char text[64];  // ctime_r needs 26 bytes; room for a five-digit year
        // cppcheck-suppress ctime_rCalled ; the line format is ctime's
        if (!ctime_r(&now, text))
            return false;
        std::memcpy(log->stamp, text + 4, stamp_length);
        log->stamp_time = now;
        log->stamped = true;
    }
    std::memcpy(out, log->stamp, stamp_length);
    return true;
}

// Builds the line in line[line_max]; returns its length, 0 when nothing can
// be formatted.
size_t format_line(file_log *log, char *line, const char *format, va_list args)
{
    if (!stamp(log, line))
        return 0;
    line[stamp_length] = ' ';
    int r = std::vsnprintf(line + text_offset, line_max - text_offset, format, args);
    if (r < 0)
        return 0;
    // A message cut short counts as the characters kept: the line stays within 255 + '\n'.
    size_t length = text_offset + static_cast<size_t>(r);
    if (length > line_max - 1)
        length = line_max - 1;
    if (line[length - 1] != '\n')
        line[length++] = '\n';
    return length;
}

void write_line(file_log *log, const char *line, size_t length)
{
    ssize_t written = writen(log->fd, line, length);
    if (written > 0)
        log->size = add_size(log->size, static_cast<uint64_t>(written));
}

// Writes ".<index>" and a NUL at end; index is below 100.
void set_suffix(char *end, int32_t index)
{
    *end++ = '.';
    if (index >= 10)
        *end++ = static_cast<char>('0' + index / 10);
    *end++ = static_cast<char>('0' + index % 10);
    *end = '\0';
}

void rotate(file_log *log)
{
    if (log->max_size == 0 || log->size < log->max_size)
        return;
    // Names before closing: without them nothing could be renamed, and the next
    // append would truncate the live file. Kept open, the rotation is retried
    // after the next line instead.
    size_t n = std::strlen(log->path);
    size_t room = n + 4;  // '.', up to two digits (index < 100), NUL
    auto *from = static_cast<char *>(std::malloc(room));
    auto *to = static_cast<char *>(from ? std::malloc(room) : nullptr);
    if (!to) {
        std::free(from);
        return;
    }
    (void)close(log->fd);
    log->fd = -1;
    std::memcpy(from, log->path, n);
    std::memcpy(to, log->path, n);
    // Missing older files are expected: every rename's outcome is ignored.
    for (int32_t i = log->backup_count - 1; i >= 1; --i) {
        set_suffix(from + n, i - 1);
        set_suffix(to + n, i);
        (void)rename(from, to);
    }
    set_suffix(to + n, 0);
    (void)rename(log->path, to);
    std::free(to);
    std::free(from);
}

void destroy(file_log *log)
{
    std::free(log->path);
    std::free(log);
}

file_log *fail_create(file_log *log)
{
    anvil::ErrnoGuard guard;
    destroy(log);
    return nullptr;
}

}  // namespace

file_log *file_log_create(const char *path, int backup_count, uint32_t max_size)
{
    auto *log = static_cast<file_log *>(std::malloc(sizeof(file_log)));
    if (!log)
        return nullptr;
    // strdup by hand, so that every allocation goes through malloc.
    size_t size = std::strlen(path) + 1;
    auto *copy = static_cast<char *>(std::malloc(size));
    if (!copy) {
        anvil::free_keep_errno(log);
        return nullptr;
    }
    std::memcpy(copy, path, size);
    if (backup_count > 100)
        backup_count = 100;
    if (backup_count < 1)
        backup_count = 1;
    *log = file_log{copy, backup_count, max_size, -1, 0, false, 0, {}};

    struct stat st;
    if (lstat(path, &st) != 0)
        return errno == ENOENT ? log : fail_create(log);
    if (S_ISLNK(st.st_mode)) {
        // The first append creates a regular file in the link's place.
        if (unlink(path) == 0 || errno == ENOENT)
            return log;
        return fail_create(log);
    }
    int fd = open(path, continue_flags);
    if (fd < 0)
        return errno == ENOENT ? log : fail_create(log);
    log->fd = fd;
    log->size = add_size(0, static_cast<uint64_t>(st.st_size));
    rotate(log);  // a file already over the limit goes at once
    return log;
}

void file_log_append(file_log *log, const char *format, ...)
{
    // Logging reports nothing, so it leaves the caller's errno alone too:
    // callers often log just before they look at it.
    anvil::ErrnoGuard guard;
    if (log->fd < 0) {
        int fd = open(log->path, create_flags, 0640);
        if (fd < 0)
            return;  // dropped; the next append tries again
        log->fd = fd;
        log->size = 0;
    }
    char line[line_max];
    va_list args;
    va_start(args, format);
    size_t length = format_line(log, line, format, args);
    va_end(args);
    if (length != 0)
        write_line(log, line, length);
    rotate(log);
}

void file_log_destroy(file_log *log)
{
    if (log->fd >= 0)
        (void)close(log->fd);
    destroy(log);
}
