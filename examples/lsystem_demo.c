/* A first look at libanvil: run a shell command through anvil-execd, the
 * command-execution daemon on the abstract socket "execd".
 *
 * Where it may, the program moves into network and mount namespaces of its
 * own (abstract socket names live per network namespace, the daemon's pid
 * file in /var/run) and starts a private anvil-execd there, so it never meets
 * the machine's daemon. Otherwise it uses the daemon that is running.
 *
 *   usage: lsystem_demo [command]
 *   ANVIL_EXECD: the daemon's command line (default: the one built beside this)
 */
#include <anvil.h>

#include <errno.h>
#include <sched.h>
#include <signal.h>
#include <spawn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

extern char **environ;

static int private_namespaces(void)
{
    return unshare(CLONE_NEWNET | CLONE_NEWNS) == 0 &&
           mount(NULL, "/", NULL, MS_REC | MS_PRIVATE, NULL) == 0 &&
           mount("tmpfs", "/var/run", "tmpfs", 0, "size=64k") == 0;
}

/* Starts the daemon, logging to standard error, and waits until it listens. */
static pid_t start_daemon(void)
{
    const char *env = getenv("ANVIL_EXECD");
    char line[512];
    char *argv[16];
    int argc = 0;
    pid_t pid;

    snprintf(line, sizeof line, "%s --log - --output log", env ? env : ANVIL_EXECD_DEFAULT);
    for (char *w = strtok(line, " "); w && argc < 15; w = strtok(NULL, " "))
        argv[argc++] = w;
    argv[argc] = NULL;
    if (posix_spawnp(&pid, argv[0], NULL, NULL, argv, environ) != 0)
        return -1;
    for (int i = 0; i < 500; i++) {
        int fd = connectUnSock("execd", SOCK_STREAM);
        if (fd >= 0) {
            close(fd);
            return pid;
        }
        if (waitpid(pid, NULL, WNOHANG) == pid)
            return -1;
        nanosleep(&(struct timespec){0, 20 * 1000 * 1000}, NULL);
    }
    kill(pid, SIGKILL);
    waitpid(pid, NULL, 0);
    return -1;
}

int main(int argc, char **argv)
{
    const char *command = argc > 1 ? argv[1] : "echo hello from anvil-execd; exit 3";
    pid_t daemon = -1;

    if (private_namespaces()) {
        daemon = start_daemon();
        if (daemon < 0) {
            fprintf(stderr, "could not start anvil-execd\n");
            return 1;
        }
        printf("started a private anvil-execd\n");
    } else {
        printf("using the running daemon on \"execd\"\n");
    }
    fflush(stdout);

    printf("lsystem(\"%s\")\n", command);
    fflush(stdout);
    int status = lsystem(command);
    if (status == -1)
        printf("  -> -1 (%s)\n", strerror(errno));
    else if (WIFEXITED(status))
        printf("  -> exited with %d\n", WEXITSTATUS(status));
    else if (WIFSIGNALED(status))
        printf("  -> killed by signal %d\n", WTERMSIG(status));

    if (daemon > 0) {
        kill(daemon, SIGTERM);
        waitpid(daemon, NULL, 0);
    }
    return status == -1 ? 1 : 0;
}
