/* Whole-file helpers: write a line (echo), read a whole file into memory and
 * hand it to a consumer (cat, with ready-made consumers), touch.
 *
 * Every function returns 0, or -1 with errno set; when closing the file also
 * fails after an earlier failure, errno is that of the earlier failure.
 * Descriptors are opened without O_CLOEXEC, exactly as the flags named below.
 */
#ifndef ANVIL_FILE_H
#define ANVIL_FILE_H

#include <stdint.h>

#include "anvil/defs.h"

ANVIL_BEGIN_DECLS

/* Consumer of cat: data is the whole content followed by a NUL (none is added
 * when the last byte already is one), length counts the content and that
 * NUL, so length >= 1 and data[length - 1] == 0. The buffer belongs to cat
 * and is freed when the consumer returns: read it, never keep or free it. */
typedef void (*cat_callback)(void *arg, const char *data, uint32_t length);

/* Destination of catstring and catstringdln, owned by the caller. */
typedef struct catstring_dest {
    char *buf;      /* the caller's buffer */
    uint32_t size;  /* its capacity in bytes, the terminating NUL included */
} catstring_dest;

/* Writes text and exactly one line feed into path, as one write under an
 * exclusive flock held until the final close, so that writers of one file
 * never interleave. The file is opened O_WRONLY | O_CREAT (| O_APPEND when
 * append is non-zero), created with mode 0666 before the umask; with append
 * 0 it is truncated only once the lock is held. text must not be NULL.
 * Returns 0, or -1 with errno of open, flock, ftruncate, the write (ENOSPC on
 * a full device, after a partial write that is not undone) or close;
 * ENOMEM when a long text's buffer cannot be had. EINTR is retried for the
 * lock and the truncation only. */
ANVIL_API int echo(const char *path, const char *text, int append);

/* Reads the whole of path (O_RDONLY, no lock) into one heap buffer, reading
 * 4096 bytes at a time and growing 4096, 20480, 36864... bytes, then calls
 * consumer(arg, data, length) once (see cat_callback), even for an empty
 * file. Returns 0 (what the consumer does is not examined), or -1 with errno:
 * EINVAL for a NULL consumer (nothing is opened), open's or read's errno,
 * ENOMEM; on failure the consumer is not called. Nothing stays allocated or
 * open. */
ANVIL_API int cat(const char *path, cat_callback consumer, void *arg);

/* Consumers for cat, callable directly on NUL-terminated data as well.
 * catint stores atoi(data) into the int at arg, catlong atol(data) into the
 * long at arg (32 bits on the target); length is unused and bad input gives
 * whatever atoi/atol give (0 without digits), with nothing reported. */
ANVIL_API void catint(void *arg, const char *data, uint32_t length);
ANVIL_API void catlong(void *arg, const char *data, uint32_t length);

/* arg is a catstring_dest. Copies min(length, size) bytes of data into buf
 * and makes the last of them a NUL: at most size - 1 content bytes are kept,
 * longer content is cut without notice; size 0 writes nothing. */
ANVIL_API void catstring(void *arg, const char *data, uint32_t length);

/* As catstring, then removes one line feed ending the copied text (the last
 * non-NUL byte): "a\n\n" keeps "a\n", and a carriage return before it stays. */
ANVIL_API void catstringdln(void *arg, const char *data, uint32_t length);

/* Sets the access and modification times of path to now (utimes, following
 * a symbolic link); a missing path is created empty with creat(path, 0666)
 * (before the umask). An existing file is never written or truncated.
 * Returns 0, or -1 with errno of utimes, creat or close (ENOENT in a missing
 * directory). */
ANVIL_API int touch(const char *path);

ANVIL_END_DECLS

#endif
