/* The process table, read from /proc.
 *
 * A process's name is the kernel's short name, the field between the
 * parentheses of /proc/<pid>/stat (at most 15 characters on Linux), not its
 * command line. Nothing is cached: every call reads the table afresh, so
 * processes that start during a scan may or may not be seen, and a pid may be
 * reused by the time it is acted on.
 */
#ifndef ANVIL_PROCESS_H
#define ANVIL_PROCESS_H

#include <stddef.h>

#include "anvil/defs.h"

ANVIL_BEGIN_DECLS

/* Visitor of foreachProcess: the caller's arg, the pid and the process name.
 * The name lives in a 128-byte buffer owned by the scan and is overwritten
 * for the next process; copy it to keep it. */
typedef void (*foreach_process_callback)(void *arg, int pid, const char *name);

/* Calls visitor(arg, pid, name) for every process listed in /proc, in the
 * order /proc lists them, each process (not thread) once; processes that end
 * during the scan are skipped. The visitor cannot stop the scan.
 * Returns 0; -1 with EINVAL when visitor is NULL, with opendir's errno when
 * /proc cannot be opened, or with the directory read error (the processes
 * before it were visited). */
ANVIL_API int foreachProcess(foreach_process_callback visitor, void *arg);

/* Copies the name of process pid into out as by snprintf: at most size - 1
 * characters and a NUL; size 0 leaves out untouched. A name containing ')'
 * is cut before it. Truncation is not reported.
 * Returns 0; -1 with open's errno (ENOENT for no such process), read's errno,
 * or EFAULT when the stat text holds no "(name)". */
ANVIL_API int getProcessNameByPid(int pid, char *out, size_t size);

/* Sends signal to every process whose name is exactly name (strcmp), the
 * caller included when its own name matches; signal 0 only checks that each
 * could be signalled. Processes that end before their signal are ignored.
 * Returns 0, also when nothing matched; -1 with the first kill errno other
 * than ESRCH (EPERM, EINVAL for a bad signal) after signalling all the
 * others, or with foreachProcess's errno. */
ANVIL_API int killall(const char *name, int signal);

ANVIL_END_DECLS

#endif
