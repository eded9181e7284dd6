#include "execd/log.hpp"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <sys/stat.h>

namespace execd {

bool log_open(Log *log, const Config &config)
{
    log->path = config.log_path;
    log->backups = config.log_backups;
    log->max_size = config.log_max_size;
    log->file = nullptr;
    if (std::strcmp(log->path, "-") == 0)
        return true;
    // Rotation renames the file: never do that to /dev/null or a console.
    struct stat st;
    if (::lstat(log->path, &st) == 0 && !S_ISREG(st.st_mode) && !S_ISLNK(st.st_mode))
        log->max_size = 0;
    log->file = file_log_create(log->path, log->backups, log->max_size);
    return log->file != nullptr;
}

void log_reopen(Log *log)
{
    if (!log->file)
        return;
    file_log *fresh = file_log_create(log->path, log->backups, log->max_size);
    if (!fresh) {
        log_line(log, "cannot reopen the log: %s", std::strerror(errno));
        return;
    }
    file_log_destroy(log->file);
    log->file = fresh;
    log_line(log, "log reopened");
}

void log_close(Log *log)
{
    if (log->file)
        file_log_destroy(log->file);
    log->file = nullptr;
}

// NOLINTNEXTLINE(cert-dcl50-cpp): printf-like, so the compiler checks each format
void log_line(Log *log, const char *format, ...)
{
    char text[240];
    va_list ap;
    va_start(ap, format);
    int n = std::vsnprintf(text, sizeof text, format, ap);
    va_end(ap);
    if (n < 0)
        return;
    if (log->file)
        file_log_append(log->file, "%s", text);
    else
        (void)std::fprintf(stderr, "anvil-execd: %s\n", text);
}

}  // namespace execd
