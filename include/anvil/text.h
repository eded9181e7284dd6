/* In-place string tools.
 *
 * Both work inside the caller's writable, NUL-terminated buffer: they write
 * NUL bytes into it and hand back pointers into it. Neither allocates, sets
 * errno or keeps state between calls.
 */
#ifndef ANVIL_TEXT_H
#define ANVIL_TEXT_H

#include "anvil/defs.h"

ANVIL_BEGIN_DECLS

/* Removes white space (isspace in the calling thread's locale, bytes taken
 * as unsigned) from both ends of str, moving the rest to the start of the
 * buffer. Interior white space stays. str must not be NULL. */
ANVIL_API void trim(char *str);

/* Splits the next pair off a list of name=value pairs joined by '&', such as
 * a query string. *cursor is the start of the next pair, NULL once the list
 * is exhausted. On success *name and *value point at the pair's parts, the
 * '=' and the '&' are overwritten with NUL, *cursor moves to the next pair
 * (NULL after the last one) and 0 is returned. Only the first '=' splits a
 * pair, and an '&' ends a pair only after its '='. Nothing is decoded or
 * trimmed.
 * Returns -1, without errno, when *cursor is NULL (nothing written) or when
 * no '=' remains: *name then points at the rest of the text, *value is left
 * alone and *cursor becomes NULL. */
ANVIL_API int parseNameValue(char **cursor, char **name, char **value);

ANVIL_END_DECLS

#endif
