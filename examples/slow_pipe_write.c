/* Writing to a reader that may stall, with a time limit: writens waits for
 * the pipe to have room before every write, and gives up once the waits
 * have used up the limit, instead of blocking for ever. The pipe is made
 * non-blocking, so that each write takes only what fits: a blocking write
 * larger than the room left would wait inside write itself.
 *
 *   usage: slow_pipe_write
 *
 * The reader is a child that drains 128 KiB, then stops reading.
 */
#include <anvil.h>

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

#define CHUNK (128 * 1024)

static void reader(int fd)
{
    static char buf[4096];
    size_t total = 0;
    while (total < CHUNK) {
        ssize_t n = read(fd, buf, sizeof buf);
        if (n <= 0)
            _exit(1);
        total += (size_t)n;
    }
    for (;;)
        pause(); /* stalled, as a hung consumer would be */
}

/* Returns 0 when the first write went through and the second timed out. */
static int write_twice(int fd, const char *data)
{
    if (fcntl_setfl(fd, O_NONBLOCK) != 0) {
        perror("fcntl_setfl");
        return -1;
    }
    /* A reader that keeps up: the waits stay far below the limit. */
    ssize_t n = writens(fd, 5000, data, CHUNK);
    if (n != CHUNK) {
        perror("writens");
        return -1;
    }
    printf("wrote %zd bytes while the reader kept up\n", n);

    /* A stalled reader: the pipe fills and the waits reach the limit. On a
     * time-out writens prints its own message and leaves errno alone. */
    errno = 0;
    n = writens(fd, 300, data, CHUNK);
    if (n == -1 && errno == 0) {
        printf("gave up after 300 ms: the reader stopped draining\n");
        return 0;
    }
    if (n == -1)
        perror("writens");
    else
        printf("unexpected: the stalled reader took %zd bytes\n", n);
    return -1;
}

int main(void)
{
    char *data = calloc(1, CHUNK);
    int fds[2], rc;

    if (data == NULL || pipe(fds) != 0) {
        perror("setting up");
        free(data);
        return 1;
    }
    fflush(stdout);
    pid_t pid = fork();
    if (pid < 0) {
        perror("fork");
        close(fds[0]);
        close(fds[1]);
        free(data);
        return 1;
    }
    if (pid == 0) {
        close(fds[1]);
        reader(fds[0]);
    }
    close(fds[0]);
    rc = write_twice(fds[1], data);
    close(fds[1]);
    free(data);
    kill(pid, SIGTERM);
    waitpid(pid, NULL, 0);
    return rc == 0 ? 0 : 1;
}
