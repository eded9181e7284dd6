#include "execd/spawn.hpp"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace execd {

bool spawner_init(Spawner *s, int out_fd)
{
    s->null_fd = ::open("/dev/null", O_RDWR | O_CLOEXEC);
    if (s->null_fd < 0)
        return false;
    if (out_fd < 0)
        out_fd = s->null_fd;
    sigset_t all, none;
    sigfillset(&all);
    sigdelset(&all, SIGKILL);  // cannot be changed, so not asked for
    sigdelset(&all, SIGSTOP);
    sigemptyset(&none);
    // The daemon blocks the signals it reads through signalfd and ignores
    // SIGPIPE; a command must start as it would from a shell.
    int err = posix_spawnattr_init(&s->attr);
    if (!err)
        err = posix_spawnattr_setflags(&s->attr, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGDEF |
                                                     POSIX_SPAWN_SETSIGMASK);
    if (!err)
        err = posix_spawnattr_setpgroup(&s->attr, 0);
    if (!err)
        err = posix_spawnattr_setsigdefault(&s->attr, &all);
    if (!err)
        err = posix_spawnattr_setsigmask(&s->attr, &none);
    if (!err)
        err = posix_spawn_file_actions_init(&s->actions);
    // dup2 clears close-on-exec on the copies only.
    if (!err)
        err = posix_spawn_file_actions_adddup2(&s->actions, s->null_fd, 0);
    if (!err)
        err = posix_spawn_file_actions_adddup2(&s->actions, out_fd, 1);
    if (!err)
        err = posix_spawn_file_actions_adddup2(&s->actions, out_fd, 2);
    if (err) {
        (void)::close(s->null_fd);
        s->null_fd = -1;
        errno = err;
        return false;
    }
    return true;
}

void spawner_destroy(Spawner *s)
{
    if (s->null_fd < 0)
        return;
    posix_spawn_file_actions_destroy(&s->actions);
    posix_spawnattr_destroy(&s->attr);
    (void)::close(s->null_fd);
    s->null_fd = -1;
}

pid_t spawn_command(Spawner *s, const char *command)
{
    char sh[] = "sh", dash_c[] = "-c";
    char *argv[] = {sh, dash_c, const_cast<char *>(command), nullptr};
    pid_t pid;
    int err = posix_spawn(&pid, "/bin/sh", &s->actions, &s->attr, argv, environ);
    if (err) {
        errno = err;
        return -1;
    }
    return pid;
}

void kill_command(pid_t pid)
{
    (void)::kill(-pid, SIGKILL);
    (void)::kill(pid, SIGKILL);
}

}  // namespace execd
