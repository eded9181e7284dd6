/* Definitions shared by every libanvil header. */
#ifndef ANVIL_DEFS_H
#define ANVIL_DEFS_H

#if defined(__GNUC__)
#define ANVIL_API __attribute__((visibility("default")))
#else
#define ANVIL_API
#endif

#ifdef __cplusplus
#define ANVIL_BEGIN_DECLS extern "C" {
#define ANVIL_END_DECLS }
#else
#define ANVIL_BEGIN_DECLS
#define ANVIL_END_DECLS
#endif

#endif
