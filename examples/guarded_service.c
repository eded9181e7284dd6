/* A service that makes sure it runs only once, with a pid file, and keeps a
 * size-rotated log of its work.
 *
 *   usage: guarded_service [log-directory]        (default: /var/log)
 *
 * The pid file lives in /var/run. When it may, the program first moves into
 * a mount namespace of its own with a fresh tmpfs on /var/run, so that it
 * never meets the machine's own pid files.
 */
#include <anvil.h>

#include <errno.h>
#include <limits.h>
#include <sched.h>
#include <stdio.h>
#include <string.h>
#include <sys/mount.h>
#include <unistd.h>

#define NAME "guarded-service"

static int private_var_run(void)
{
    /* Mounts made in the new namespace must not propagate back. */
    return unshare(CLONE_NEWNS) == 0 &&
           mount(NULL, "/", NULL, MS_REC | MS_PRIVATE, NULL) == 0 &&
           mount("tmpfs", "/var/run", "tmpfs", 0, "size=64k") == 0;
}

static void count_lines(void *arg, const char *data, uint32_t length)
{
    uint32_t i;
    for (i = 0; i < length; i++)
        *(int *)arg += data[i] == '\n';
}

int main(int argc, char **argv)
{
    const char *dir = argc > 1 ? argv[1] : "/var/log";
    char path[PATH_MAX];
    int i, pid_in_file = 0;

    if (private_var_run())
        printf("using a private /var/run\n");

    if (ensureOnlyoneProcessEntity(NAME) != 0) {
        if (errno == EWOULDBLOCK)
            fprintf(stderr, NAME " is already running\n");
        else
            perror("ensureOnlyoneProcessEntity");
        return 1;
    }
    if (cat("/var/run/" NAME ".pid", catint, &pid_in_file) != 0 || pid_in_file != getpid()) {
        fprintf(stderr, "the pid file does not hold this process's pid\n");
        return 1;
    }
    printf("running as the only instance; the pid file holds our pid\n");

    /* What a second start of the service would meet. The lock lasts as long
     * as the process: there is nothing to release at exit. */
    if (ensureOnlyoneProcessEntity(NAME) == 0 || errno != EWOULDBLOCK) {
        fprintf(stderr, "a second instance was not refused\n");
        return 1;
    }
    printf("a second instance is refused: %s\n", strerror(EWOULDBLOCK));

    /* Three rotated files of about 1 KiB besides the live one. */
    snprintf(path, sizeof path, "%s/" NAME ".log", dir);
    file_log *log = file_log_create(path, 3, 1024);
    if (log == NULL) {
        fprintf(stderr, "%s: %s\n", path, strerror(errno));
        return 1;
    }
    for (i = 1; i <= 100; i++)
        file_log_append(log, "work item %3d done", i); /* drops lines it cannot write */
    file_log_destroy(log);

    for (i = -1; i < 3; i++) {
        int lines = 0;
        if (i < 0)
            snprintf(path, sizeof path, "%s/" NAME ".log", dir);
        else
            snprintf(path, sizeof path, "%s/" NAME ".log.%d", dir, i);
        if (cat(path, count_lines, &lines) != 0)
            printf("%s: %s\n", path + strlen(dir) + 1, strerror(errno));
        else
            printf("%s: %d lines\n", path + strlen(dir) + 1, lines);
    }
    return 0;
}
