/* Finding processes by name in /proc and signalling them all by that name,
 * as killall(1) does.
 *
 *   usage: process_signal
 *
 * The program starts two workers of its own under a name unlikely to be
 * taken, finds them, and stops them with killall.
 */
#include <anvil.h>

#include <errno.h>
#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#define WORKER_NAME "anvil-demo-wkr" /* the kernel keeps 15 characters */
#define WORKERS 2

struct search {
    const pid_t *pids;
    int found;
};

/* The name is the scan's own buffer: compare it here, keep no pointer. */
static void match_worker(void *arg, int pid, const char *name)
{
    struct search *s = arg;
    int i;
    for (i = 0; i < WORKERS; i++)
        if (pid == s->pids[i] && strcmp(name, WORKER_NAME) == 0)
            s->found++;
}

/* A worker names itself, says it is ready, and waits for its signal. */
static pid_t start_worker(void)
{
    int ready[2];
    char byte;
    if (pipe(ready) != 0)
        return -1;
    pid_t pid = fork();
    if (pid == 0) {
        close(ready[0]);
        prctl(PR_SET_NAME, WORKER_NAME, 0, 0, 0);
        if (write(ready[1], "r", 1) != 1)
            _exit(1);
        for (;;)
            pause();
    }
    close(ready[1]);
    if (pid > 0 && read(ready[0], &byte, 1) != 1) {
        kill(pid, SIGKILL);
        waitpid(pid, NULL, 0);
        pid = -1;
    }
    close(ready[0]);
    return pid;
}

int main(void)
{
    pid_t pids[WORKERS];
    struct search search = {pids, 0};
    char name[32];
    int i, started = 0, status = 0;

    for (; started < WORKERS; started++) {
        pids[started] = start_worker();
        if (pids[started] < 0) {
            perror("start_worker");
            status = 1;
            break;
        }
    }
    if (status == 0) {
        if (getProcessNameByPid(pids[0], name, sizeof name) != 0) {
            perror("getProcessNameByPid");
            status = 1;
        } else {
            printf("the first worker is called %s\n", name);
        }
    }
    if (status == 0) {
        if (foreachProcess(match_worker, &search) != 0) {
            perror("foreachProcess");
            status = 1;
        } else {
            printf("/proc lists %d of our workers under that name\n", search.found);
        }
    }
    if (status == 0 && killall(WORKER_NAME, SIGTERM) != 0) {
        perror("killall");
        status = 1;
    }
    for (i = 0; i < started; i++) {
        int how;
        if (status != 0)
            kill(pids[i], SIGKILL); /* leave no worker behind */
        if (waitpid(pids[i], &how, 0) != pids[i]) {
            perror("waitpid");
            return 1;
        }
        if (status == 0)
            printf("worker %d: %s\n", i + 1,
                   WIFSIGNALED(how) ? strsignal(WTERMSIG(how)) : "still running");
    }
    return status;
}
