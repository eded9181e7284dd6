/* Handing an open file to a child process over a socket pair: the parent
 * opens what the child may not be able to open itself (a privileged file, a
 * device) and sends the descriptor with a short label.
 *
 *   usage: pass_descriptor [file]        (default: /etc/hostname)
 */
#include <anvil.h>

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

/* The child: receive one descriptor with its label, read through it. */
static int child(int sock)
{
    char label[32], text[256];
    size_t len = sizeof label - 1;
    int fd = recvFdAndDataByUnSock(sock, label, &len);
    if (fd < 0) {
        perror("recvFdAndDataByUnSock");
        return 1;
    }
    label[len] = '\0';
    ssize_t n = readn(fd, text, sizeof text - 1);
    close(fd);
    if (n < 0) {
        perror("readn");
        return 1;
    }
    text[n] = '\0';
    text[strcspn(text, "\n")] = '\0';
    printf("child got descriptor for \"%s\"; its first line: %s\n", label, text);
    return 0;
}

int main(int argc, char **argv)
{
    const char *path = argc > 1 ? argv[1] : "/etc/hostname";
    const char label[] = "settings";
    int sv[2], status;

    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sv) != 0) {
        perror("socketpair");
        return 1;
    }
    fflush(stdout);
    pid_t pid = fork();
    if (pid < 0) {
        perror("fork");
        close(sv[0]);
        close(sv[1]);
        return 1;
    }
    if (pid == 0) {
        close(sv[0]);
        status = child(sv[1]);
        close(sv[1]);
        return status;
    }
    close(sv[1]);

    int fd = open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        fprintf(stderr, "%s: %s\n", path, strerror(errno));
        close(sv[0]); /* the child sees the peer close (ECONNRESET) and ends */
        waitpid(pid, NULL, 0);
        return 1;
    }
    printf("parent sends %s\n", path);
    fflush(stdout); /* before the child can print */
    /* The child gets its own descriptor for the same open file; ours can go. */
    ssize_t sent = sendFdAndDataByUnSock(sv[0], fd, label, strlen(label));
    close(fd);
    close(sv[0]);
    if (sent != (ssize_t)strlen(label)) {
        perror("sendFdAndDataByUnSock");
        waitpid(pid, NULL, 0);
        return 1;
    }
    if (waitpid(pid, &status, 0) != pid) {
        perror("waitpid");
        return 1;
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}
