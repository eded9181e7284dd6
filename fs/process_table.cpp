// The process table: /proc/<pid>/stat names, a scan and killall.
#include "anvil/process.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include "base/errno_guard.hpp"
#include "fs/dir_entries.hpp"
#include "fs/stat_name.hpp"

namespace {

struct killall_context {
    const char *name;
    int signal;
    int error;  // first kill errno other than ESRCH; 0 while none
};

bool is_all_digits(const char *text)
{
    for (; *text; ++text)
        if (*text < '0' || *text > '9')
            return false;
    return true;
}

void kill_matching(void *arg, int pid, const char *name)
{
    auto *context = static_cast<killall_context *>(arg);
    if (std::strcmp(name, context->name) != 0)
        return;
    if (kill(pid, context->signal) != 0 && errno != ESRCH && context->error == 0)
        context->error = errno;
}

}  // namespace

int getProcessNameByPid(int pid, char *out, size_t size)
{
    char path[64];
    (void)std::snprintf(path, sizeof path, "/proc/%d/stat", pid);
    int fd = ::open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return -1;
    // One read: the pid and the name always come within the first 511 bytes.
    char text[512];
    ssize_t got = ::read(fd, text, sizeof text - 1);
    if (got < 0) {
        anvil::close_keep_errno(fd);
        return -1;
    }
    (void)::close(fd);
    return anvil::copy_stat_name(text, static_cast<size_t>(got), out, size);
}

int foreachProcess(foreach_process_callback visitor, void *arg)
{
    if (!visitor)
        return anvil::fail(EINVAL);
    DIR *dir = opendir("/proc");
    if (!dir)
        return -1;
    int error = 0;
    dirent storage;
    char name[128];
    while (const dirent *entry = anvil::next_entry(dir, &storage, &error)) {
        if (entry->d_type != DT_DIR || !is_all_digits(entry->d_name))
            continue;
        int pid = atoi(entry->d_name);  // NOLINT(cert-err34-c): all digits
        // A process that ended since the listing is skipped silently.
        if (getProcessNameByPid(pid, name, sizeof name) == 0)
            visitor(arg, pid, name);
    }
    (void)closedir(dir);
    return error ? anvil::fail(error) : 0;
}

int killall(const char *name, int signal)
{
    killall_context context{name, signal, 0};
    if (foreachProcess(kill_matching, &context) != 0)
        return -1;
    return context.error ? anvil::fail(context.error) : 0;
}
