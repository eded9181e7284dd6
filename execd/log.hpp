// The daemon's own log: a rotated file through file_log, or standard error.
#pragma once

#include <anvil/file_log.h>

#include "execd/config.hpp"

namespace execd {

struct Log {
    file_log *file = nullptr;  // null: standard error
    const char *path = nullptr;
    int backups = 0;
    std::uint32_t max_size = 0;
};

// Opens the log the configuration names. Returns false, errno set, when the
// file cannot be used.
bool log_open(Log *log, const Config &config);

// Reopens the file after an outside rotation (SIGHUP). A failure keeps the
// old handle and says so in it.
void log_reopen(Log *log);

void log_close(Log *log);

// One line, at most 239 characters of message.
void log_line(Log *log, const char *format, ...) __attribute__((format(printf, 2, 3)));

}  // namespace execd
