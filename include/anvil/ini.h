/* INI configuration files: loaded whole, parsed once, queried by section and
 * key.
 *
 * The format: an optional UTF-8 byte-order mark; lines end at '\n', and
 * white space (isspace in the loading thread's locale, bytes taken as
 * unsigned; a '\r' before the '\n' is white space) is skipped around names
 * and values. A line is
 *   [section]          anything after the ']' is ignored
 *   ; comment  or  # comment
 *   key = value        the value ends at '\n', ';' or '#'
 * Key lines before the first header belong to the section "". Names and keys
 * keep interior white space and compare as exact bytes. There is no quoting,
 * escaping or continuation. A header without its ']' or with an empty name,
 * a key line without '=' and an empty key make the whole load fail.
 * A (section, key) pair may occur more than once: lookups give the last
 * occurrence, iteration gives all of them in file order.
 *
 * A parsed handle is read-only. Every string it hands out belongs to it and
 * stays valid until ini_parser_destroy. Lookups may run on any number of
 * threads at once; iterations of one handle must not overlap.
 */
#ifndef ANVIL_INI_H
#define ANVIL_INI_H

#include <stdint.h>

#include "anvil/defs.h"

ANVIL_BEGIN_DECLS

/* What to load; read only during the create call. */
typedef struct ini_parser_config {
    const char *path;   /* the file to load */
    uint32_t hash_bits; /* log2 of the index buckets; above 10 counts as 10 */
} ini_parser_config;

typedef struct ini_parser ini_parser;

/* Receives one entry of ini_parser_foreach: the caller's arg, then section,
 * key and value, owned by the parser. */
typedef void (*ini_parser_callback)(void *arg, const char *section, const char *key,
                                    const char *value);

/* Loads and parses the file at config->path into a new handle, which the
 * caller releases with ini_parser_destroy. Returns the handle, or NULL with
 * errno: that of open, fstat or the read; ENOMEM; EBUSY when the file shrank
 * while being read; ENOEXEC when it is malformed. Nothing is left allocated
 * or open on failure. */
ANVIL_API ini_parser *ini_parser_create_by_config(const ini_parser_config *config);

/* Loads path as ini_parser_create_by_config does, with 7 hash bits (128
 * buckets). Returns the new handle, or NULL with errno: that of open, fstat
 * or the read; ENOMEM; EBUSY when the file shrank while being read; ENOEXEC
 * when it is malformed. */
ANVIL_API ini_parser *ini_parser_create(const char *path);

/* Releases the handle and every string obtained from it. */
ANVIL_API void ini_parser_destroy(ini_parser *parser);

/* Calls callback for every entry in file order, duplicates included; does
 * nothing when callback is NULL. Cannot be stopped early. */
ANVIL_API void ini_parser_foreach(ini_parser *parser, ini_parser_callback callback, void *arg);

/* The lookups find the last occurrence of (section, key); section "" holds
 * the keys before the first header. A missing pair gives the default and
 * sets errno to ENOKEY; a present one leaves errno alone, except for ERANGE
 * from an overflowing ini_parser_hex. */

/* The value itself (owned by the parser), or def. */
ANVIL_API const char *ini_parser_string(const ini_parser *parser, const char *section,
                                        const char *key, const char *def);

/* atoi of the value, or def. */
ANVIL_API int ini_parser_int(const ini_parser *parser, const char *section, const char *key,
                             int def);

/* The value as hexadecimal with an optional 0x prefix, as strtoul in base 16
 * on a 32-bit system; overflow gives 0xFFFFFFFF and ERANGE. Or def. */
ANVIL_API uint32_t ini_parser_hex(const ini_parser *parser, const char *section,
                                  const char *key, uint32_t def);

/* atof of the value, or def. */
ANVIL_API double ini_parser_double(const ini_parser *parser, const char *section,
                                   const char *key, double def);

/* 1 when the value begins with 'y', 'Y', 't', 'T' or '1', else 0 (the empty
 * value included); def when the pair is missing. */
ANVIL_API int ini_parser_boolean(const ini_parser *parser, const char *section,
                                 const char *key, int def);

ANVIL_END_DECLS

#endif
