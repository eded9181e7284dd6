/* Path and tree operations: last path component, mkdir -p, rm -r, mv with a
 * copy fallback across file systems, and the copy of one file.
 *
 * Types are always taken with lstat, so a symbolic link is handled as a link
 * and never followed, except for the source of a copy. Functions that fail
 * return -1 with errno set; a clean-up step never changes that errno. An entry
 * that vanishes while rm or mv works on it counts as removed. No call here is
 * retried on EINTR except inside readn and writen.
 */
#ifndef ANVIL_PATH_H
#define ANVIL_PATH_H

#include "anvil/defs.h"

ANVIL_BEGIN_DECLS

/* Returns a pointer into path at its last component. One trailing '/' is
 * overwritten with a NUL first (path is modified in place): "a/b/" becomes
 * "a/b" and gives "b"; "a/b//" gives an empty string; "/" gives a pointer to
 * that '/'; "" gives path. Never fails. */
ANVIL_API char *getPathLastComponent(char *path);

/* Creates path and every missing parent with mode 0777 (before the umask).
 * Returns 0 when path is a directory afterwards (already existing included),
 * or -1: EEXIST when path exists but is no directory (a symbolic link, even
 * to a directory, counts as none, unless path ends in '/'), ENOENT for an
 * empty path, ENOTDIR when a component is a file, ENOMEM, or mkdir's errno.
 * Directories made before a failure stay. */
ANVIL_API int mkdirp(const char *path);

/* Removes path and, for a directory, everything below it, depth first.
 * One trailing '/' is ignored, so "dir/" removes dir itself. Returns 0 when
 * nothing remains (a missing path included; "/" removes nothing), or -1:
 * EINVAL for an empty path, ENOMEM, or the errno of the first failing call,
 * at which the walk stops and leaves the rest in place.
 * Symbolic links anywhere in the tree are removed, never followed: types
 * come from lstat, each directory is opened with opendir and read with
 * readdir_r, and a link swapped in for a directory after its lstat is not
 * entered: the walk stops there with ENOTDIR.
 * Child paths are built in one buffer per level (path length + 256 bytes,
 * grown with 256 bytes of slack when a name does not fit), and each level
 * holds one open directory while it recurses. */
ANVIL_API int rm(const char *path);

/* Renames source to destination. Where rename cannot cross file systems it
 * copies the content with __copyFile(source, destination, 1), then unlinks source:
 * only files move that way (a directory fails with EISDIR; a symbolic link
 * arrives as a regular file with its target's content). Returns 0, or -1
 * with the errno of rename, the copy (source kept, partial destination left)
 * or unlink (ENOENT counts as done). */
ANVIL_API int mv(const char *source, const char *destination);

/* Copies the content of source (opened O_RDONLY, following a link) into the
 * regular file destination, 64 KiB at a time through one heap buffer.
 * An existing regular destination is refused with EEXIST when overwrite is
 * 0, else truncated and written, keeping its permission bits. A symbolic
 * link at destination is unlinked first, whatever overwrite says, so its
 * target is never touched; any other existing object gives EEXIST. A new
 * destination gets creat(destination, source mode & 0777): set-user-ID,
 * set-group-ID and sticky bits, ownership, times and extended attributes
 * are not copied. Returns 0, or -1 with errno (EISDIR for a directory
 * source, ENOSPC on a full device, ENOMEM); a partly written destination is
 * left in place. */
ANVIL_API int __copyFile(const char *source, const char *destination, int overwrite);

ANVIL_END_DECLS

#endif
