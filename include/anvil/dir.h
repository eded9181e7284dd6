/* Directory listing: the names of one directory, filtered and sorted, handed
 * to a consumer in one call. */
#ifndef ANVIL_DIR_H
#define ANVIL_DIR_H

#include <stdint.h>

#include "anvil/defs.h"

ANVIL_BEGIN_DECLS

/* Consumer of ls: count (>= 1) NUL-terminated names. The array and the names
 * belong to ls and are freed when the consumer returns: read them, never
 * keep or free them. */
typedef void (*ls_callback)(void *arg, char **names, uint32_t count);

/* Lists directory: every entry but "." and ".." (files, directories, links,
 * hidden names), keeping only names that the extended regular expression
 * pattern matches anywhere (regcomp REG_EXTENDED | REG_NOSUB; NULL or "" for
 * all), sorted by strcmp when sort is non-zero, else in directory order.
 * The consumer is called once with the complete list, and not at all when
 * no name is kept. The directory is opened with opendir and read with
 * readdir_r; a read error is the error number readdir_r returns.
 * Returns 0, or -1 with errno: EINVAL for a NULL consumer or a pattern that
 * regcomp refuses for any reason (nothing is opened; regcomp's own code is
 * not passed on), opendir's errno (ENOENT, ENOTDIR, EACCES), the read error,
 * or ENOMEM when growing the list or copying a name fails; a name that
 * regexec does not report as a match, for whatever reason, is left out. On
 * failure the consumer is not called and nothing stays allocated or open. */
ANVIL_API int ls(const char *directory, const char *pattern, int sort, ls_callback consumer,
                 void *arg);

ANVIL_END_DECLS

#endif
