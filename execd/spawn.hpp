// Starting one command: /bin/sh -c COMMAND through posix_spawn.
#pragma once

#include <spawn.h>
#include <sys/types.h>

namespace execd {

// Everything a spawn needs, prepared once: the child's attributes and its
// standard descriptors.
struct Spawner {
    posix_spawnattr_t attr;
    posix_spawn_file_actions_t actions;
    int null_fd = -1;
};

// Prepares spawns whose stdout and stderr go to out_fd, or to /dev/null
// when out_fd is -1. Returns false, errno set, on failure.
bool spawner_init(Spawner *s, int out_fd);

void spawner_destroy(Spawner *s);

// Starts the command in a process group of its own, with default signal
// dispositions, an empty signal mask and stdin from /dev/null. Returns its
// pid, or -1 with errno when it could not be started.
pid_t spawn_command(Spawner *s, const char *command);

// Sends SIGKILL to a command's process group, and to the command itself in
// case it has not reached its setpgid yet.
void kill_command(pid_t pid);

}  // namespace execd
