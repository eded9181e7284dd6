/* Growable NUL-terminated text built from printf-style pieces.
 *
 * The text is terminated at every moment. The buffer starts at 512 bytes and,
 * when a piece does not fit, grows to twice the length the text then needs.
 * No operation checks the handle for NULL, and none locks. Only create and
 * append fail and set errno; the other operations cannot fail.
 */
#ifndef ANVIL_STRING_BUILDER_H
#define ANVIL_STRING_BUILDER_H

#include <stdint.h>

#include "anvil/defs.h"

#if defined(__GNUC__)
#define ANVIL_PRINTF_LIKE(fmt, first) __attribute__((format(printf, fmt, first)))
#else
#define ANVIL_PRINTF_LIKE(fmt, first)
#endif

ANVIL_BEGIN_DECLS

typedef struct string_builder string_builder;

/* Returns a builder holding the empty text, or NULL with ENOMEM (nothing is
 * left allocated). */
ANVIL_API string_builder *string_builder_create(void);

/* Frees the text, then the builder. */
ANVIL_API void string_builder_destroy(string_builder *builder);

/* Appends the piece formatted as by printf. Returns 0; -1 with ENOMEM when
 * the buffer cannot grow, or with the formatter's errno when the piece cannot
 * be formatted (EILSEQ for an unencodable character, EOVERFLOW for a piece
 * longer than INT_MAX). On -1 the text is exactly as before the call. */
ANVIL_API int string_builder_append(string_builder *builder, const char *format, ...)
    ANVIL_PRINTF_LIKE(2, 3);

/* Cuts the text to its first length bytes; a length at or above the current
 * one changes nothing. */
ANVIL_API void string_builder_truncate(string_builder *builder, uint32_t length);

/* The number of bytes of text, not counting the NUL. */
ANVIL_API uint32_t string_builder_length(const string_builder *builder);

/* The text itself, owned by the builder: do not free it, and do not use it
 * after the next string_builder_append (which may move it) or the destroy. */
ANVIL_API char *string_builder_to_string(const string_builder *builder);

ANVIL_END_DECLS

#endif
