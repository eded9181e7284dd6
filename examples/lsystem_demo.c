/* A first look at libanvil: run a shell command through the command-execution
 * daemon on the abstract socket "execd".
 *
 * Where it may, the program moves into a network namespace of its own (abstract
 * socket names live per network namespace) and starts a tiny daemon there, so
 * it never meets a real one. Otherwise it uses the daemon that is running.
 *
 *   usage: lsystem_demo [command]
 */
#include <anvil.h>

#include <errno.h>
#include <sched.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

/* The daemon's side of one exchange: read the command up to its NUL, run it,
 * answer with a native 32-bit integer. */
static void serve_one(int listener)
{
    char command[256];
    size_t len = 0;
    int conn = acceptUnTcpSock(listener);
    if (conn < 0)
        _exit(1);
    while (len < sizeof command && recv(conn, &command[len], 1, 0) == 1 && command[len] != '\0')
        len++;
    if (len == sizeof command)
        _exit(1);
    command[len] = '\0';
    int32_t status = system(command);
    int32_t result = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    sockwriten(conn, &result, sizeof result);
    _exit(0);
}

int main(int argc, char **argv)
{
    const char *command = argc > 1 ? argv[1] : "echo hello from the execd daemon; exit 3";
    pid_t daemon = -1;

    if (unshare(CLONE_NEWNET) == 0) {
        /* Listen before forking, so the command cannot arrive too early. */
        int listener = listenUnTcpSock("execd");
        if (listener < 0) {
            perror("listenUnTcpSock");
            return 1;
        }
        daemon = fork();
        if (daemon == 0)
            serve_one(listener);
        close(listener);
        printf("started a private daemon (pid %d) on \"execd\"\n", (int)daemon);
    } else {
        printf("using the running daemon on \"execd\"\n");
    }
    fflush(stdout);

    printf("lsystem(\"%s\")\n", command);
    fflush(stdout);
    int result = lsystem(command);
    if (result == -1)
        printf("  -> -1 (%s)\n", strerror(errno));
    else
        printf("  -> %d\n", result);

    if (daemon > 0)
        waitpid(daemon, NULL, 0);
    return result == -1 ? 1 : 0;
}
