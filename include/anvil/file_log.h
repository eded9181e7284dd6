/* A size-rotated log file of timestamped lines.
 *
 * Each line is the local time as "Mmm dd hh:mm:ss" (15 characters, the day
 * padded with a blank), a blank, the formatted message cut to 239 characters,
 * and a line feed unless the message already ends with one: at most 256
 * bytes, no NUL. Once the live file holds max_size bytes or more after a
 * line, it is rotated: path.(i-1) is renamed to path.i for i from
 * backup_count - 1 down to 1, then path to path.0 (the newest), dropping the
 * oldest; the next append creates a new live file.
 *
 * The live file is created with mode 0640 (before the umask); a symbolic
 * link found at path by file_log_create is removed, so the log does not write
 * through it. Descriptors carry O_CLOEXEC.
 * A handle is not synchronised, and nothing coordinates two handles on one
 * path. No operation checks the handle for NULL.
 */
#ifndef ANVIL_FILE_LOG_H
#define ANVIL_FILE_LOG_H

#include <stdint.h>

#include "anvil/defs.h"

#ifndef ANVIL_PRINTF_LIKE
#if defined(__GNUC__)
#define ANVIL_PRINTF_LIKE(fmt, first) __attribute__((format(printf, fmt, first)))
#else
#define ANVIL_PRINTF_LIKE(fmt, first)
#endif
#endif

ANVIL_BEGIN_DECLS

typedef struct file_log file_log;

/* Returns a handle logging to path (copied), keeping backup_count rotated
 * files (clamped to 1..100) and rotating at max_size bytes (0: never).
 * An existing file is continued, never truncated, and rotated at once when
 * already at or over max_size; a missing one is created by the first append;
 * a symbolic link at path is removed.
 * Returns NULL with ENOMEM, with lstat's errno (EACCES, ENOTDIR), unlink's
 * errno, or open's errno (EISDIR for a directory at path); nothing is left
 * allocated or open. */
ANVIL_API file_log *file_log_create(const char *path, int backup_count, uint32_t max_size);

/* Appends one line formatted as by printf, then rotates if due. Reports
 * nothing: a line that cannot be written (live file not creatable, device
 * full, formatting error) is dropped, and the next append tries again. */
ANVIL_API void file_log_append(file_log *log, const char *format, ...) ANVIL_PRINTF_LIKE(2, 3);

/* Closes the live file if open and frees the handle; no final rotation. */
ANVIL_API void file_log_destroy(file_log *log);

ANVIL_END_DECLS

#endif
