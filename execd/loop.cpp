#include "execd/loop.hpp"

#include <anvil/io.h>
#include <anvil/unsock.h>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <sys/epoll.h>
#include <sys/signalfd.h>
#include <sys/wait.h>
#include <unistd.h>

#include "execd/conn.hpp"
#include "execd/output.hpp"
#include "execd/peer.hpp"
#include "execd/signals.hpp"
#include "execd/spawn.hpp"

namespace execd {
namespace {

constexpr int kExecFailed = 127 << 8;  // what system() answers when sh cannot start
constexpr int kAcceptBurst = 64;       // per wake-up, so reads are not starved

// epoll tags for the descriptors that are not connections.
char tag_listen, tag_signal, tag_output;

std::int64_t now_ms()
{
    timespec ts;
    ::clock_gettime(CLOCK_MONOTONIC, &ts);
    return std::int64_t(ts.tv_sec) * 1000 + ts.tv_nsec / 1000000;
}

struct Loop {
    const Config &cfg;
    Log *log;
    int epfd = -1, sigfd = -1, listen_fd = -1;
    bool accepting = false;    // listener in the epoll set
    bool stopping = false;
    bool killed_all = false;
    std::int64_t stop_deadline = kNever;
    Spawner spawner;
    Output output;
    ConnList reading, queued, running;

    explicit Loop(const Config &c, Log *l) : cfg(c), log(l) {}

    bool watch(int fd, void *tag) const
    {
        epoll_event ev{};
        ev.events = EPOLLIN;
        ev.data.ptr = tag;
        return ::epoll_ctl(epfd, EPOLL_CTL_ADD, fd, &ev) == 0;
    }

    void set_accepting(bool on)
    {
        if (on == accepting || listen_fd < 0)
            return;
        if (on ? watch(listen_fd, &tag_listen)
               : ::epoll_ctl(epfd, EPOLL_CTL_DEL, listen_fd, nullptr) == 0)
            accepting = on;
    }

    // Closes a connection that has left every list.
    void finish(Conn *c)
    {
        (void)::close(c->fd);  // also takes it out of the epoll set
        std::free(c);
        if (!stopping)
            set_accepting(true);  // a descriptor is free again
    }

    void drop(ConnList &list, Conn *c)
    {
        list.remove(c);
        finish(c);
    }

    void accept_clients()
    {
        for (int i = 0; i < kAcceptBurst; ++i) {
            int fd = acceptUnTcpSock(listen_fd);
            if (fd < 0) {
                if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM) {
                    // Level-triggered: stop watching until a connection ends.
                    log_line(log, "cannot accept: %s; pausing", std::strerror(errno));
                    set_accepting(false);
                }
                return;
            }
            // Single-threaded, and nothing is spawned in between: no other
            // program can inherit fd before close-on-exec is set.
            ucred cred{};
            if (fcntl_setfd(fd, FD_CLOEXEC) != 0 || fcntl_setfl(fd, O_NONBLOCK) != 0 ||
                !peer_credentials(fd, &cred)) {
                log_line(log, "dropped a connection: %s", std::strerror(errno));
                (void)::close(fd);
                continue;
            }
            if (!peer_allowed(cfg, cred)) {
                log_line(log, "refused uid %u gid %u (pid %d)", unsigned(cred.uid),
                         unsigned(cred.gid), int(cred.pid));
                (void)::close(fd);
                continue;
            }
            auto *c = static_cast<Conn *>(std::calloc(1, sizeof(Conn)));
            if (!c || !watch(fd, c)) {
                log_line(log, "dropped a connection: %s", std::strerror(errno));
                std::free(c);
                (void)::close(fd);
                continue;
            }
            c->fd = fd;
            c->peer_pid = cred.pid;
            c->peer_uid = cred.uid;
            c->state = Conn::Reading;
            c->deadline_ms = now_ms() + cfg.read_timeout_ms;
            reading.push_back(c);
        }
    }

    void start(Conn *c)
    {
        pid_t pid = spawn_command(&spawner, c->request);
        if (pid < 0) {
            log_line(log, "cannot start /bin/sh: %s", std::strerror(errno));
            send_reply(c, kExecFailed);
            finish(c);
            return;
        }
        if (cfg.verbose)
            log_line(log, "[%d] uid %u (pid %d): %s", int(pid), unsigned(c->peer_uid),
                     int(c->peer_pid), c->request);
        c->child = pid;
        c->state = Conn::Running;
        c->deadline_ms = cfg.time_limit_ms ? now_ms() + cfg.time_limit_ms : kNever;
        running.push_back(c);
    }

    void start_queued()
    {
        while (!stopping && queued.head && running.count < cfg.max_jobs) {
            Conn *c = queued.head;
            queued.remove(c);
            start(c);
        }
    }

    void read_client(Conn *c)
    {
        switch (read_request(c)) {
        case ReadResult::Partial:
            return;
        case ReadResult::Closed:
            drop(reading, c);
            return;
        case ReadResult::TooLong:
            log_line(log, "dropped uid %u (pid %d): no NUL within %u bytes",
                     unsigned(c->peer_uid), int(c->peer_pid), kMaxRequest);
            drop(reading, c);
            return;
        case ReadResult::Complete:
            break;
        }
        // Whatever else the client sends is of no interest.
        (void)::epoll_ctl(epfd, EPOLL_CTL_DEL, c->fd, nullptr);
        reading.remove(c);
        c->state = Conn::Queued;
        queued.push_back(c);
        start_queued();
    }

    void kill_group(Conn *c)
    {
        kill_command(c->child);
        c->killed = true;
        c->deadline_ms = kNever;
        running.remove(c);  // to the back: kNever keeps the list in order
        running.push_back(c);
    }

    void reap()
    {
        int status;
        pid_t pid;
        while ((pid = ::waitpid(-1, &status, WNOHANG)) > 0) {
            Conn *c = running.head;
            // NOLINTNEXTLINE(clang-analyzer-unix.Malloc): drop() unlinked what it freed
            while (c && c->child != pid)
                c = c->next;
            if (!c)
                continue;
            if (cfg.verbose || c->killed)
                log_line(log, "[%d] ended, status %#x%s", int(pid), unsigned(status),
                         c->killed ? " (killed)" : "");
            send_reply(c, status);
            drop(running, c);
        }
        start_queued();
    }

    void stop(int signo)
    {
        if (stopping) {
            log_line(log, "signal %d again: killing %u running commands", signo, running.count);
            stop_deadline = 0;
            return;
        }
        stopping = true;
        log_line(log, "signal %d: stopping; %u running, %u queued and %u reading dropped",
                 signo, running.count, queued.count, reading.count);
        set_accepting(false);
        (void)::close(listen_fd);
        listen_fd = -1;
        while (reading.head)
            drop(reading, reading.head);
        while (queued.head)
            drop(queued, queued.head);
        stop_deadline = now_ms() + cfg.grace_ms;
    }

    void handle_signals()
    {
        signalfd_siginfo si;
        while (::read(sigfd, &si, sizeof si) == sizeof si) {
            switch (si.ssi_signo) {
            case SIGCHLD:
                reap();
                break;
            case SIGHUP:
                log_reopen(log);
                break;
            default:
                stop(int(si.ssi_signo));
            }
        }
    }

    // Ends what is overdue; returns the epoll timeout until the next deadline.
    int expire()
    {
        std::int64_t now = now_ms();
        // NOLINTNEXTLINE(clang-analyzer-unix.Malloc): drop() moved head past what it freed
        while (reading.head && reading.head->deadline_ms <= now) {
            Conn *c = reading.head;
            log_line(log, "dropped uid %u (pid %d): no command within %d ms",
                     unsigned(c->peer_uid), int(c->peer_pid), cfg.read_timeout_ms);
            drop(reading, c);
        }
        while (running.head && running.head->deadline_ms <= now) {
            log_line(log, "[%d] over its time limit of %d ms: killed", int(running.head->child),
                     cfg.time_limit_ms);
            kill_group(running.head);
        }
        if (stopping && !killed_all && stop_deadline <= now) {
            killed_all = true;
            for (Conn *c = running.head; c; c = c->next)
                if (!c->killed) {
                    kill_command(c->child);
                    c->killed = true;
                }
        }
        std::int64_t next = kNever;
        if (reading.head)
            next = reading.head->deadline_ms;
        if (running.head && running.head->deadline_ms < next)
            next = running.head->deadline_ms;
        if (stopping && !killed_all && stop_deadline < next)
            next = stop_deadline;
        if (next == kNever)
            return -1;
        return next <= now ? 0 : int(next - now < 60000 ? next - now : 60000);
    }

    bool setup(int fd)
    {
        listen_fd = fd;
        sigset_t set = handled_signals();
        epfd = ::epoll_create1(EPOLL_CLOEXEC);
        sigfd = ::signalfd(-1, &set, SFD_NONBLOCK | SFD_CLOEXEC);
        if (epfd < 0 || sigfd < 0 || !watch(sigfd, &tag_signal))
            return false;
        if (cfg.output_to_log && (!output_open(&output) || !watch(output.read_fd, &tag_output)))
            return false;
        if (!spawner_init(&spawner, output.write_fd))
            return false;
        set_accepting(true);
        return accepting;
    }

    void teardown()
    {
        // Only after a failure can commands still run here: leave no orphans.
        while (Conn *c = running.head) {
            // NOLINTNEXTLINE(clang-analyzer-unix.Malloc): drop() moved head past what it freed
            kill_command(c->child);
            (void)::waitpid(c->child, nullptr, 0);
            drop(running, c);
        }
        while (reading.head)
            drop(reading, reading.head);
        while (queued.head)
            drop(queued, queued.head);
        spawner_destroy(&spawner);
        output_close(&output, log);
        if (listen_fd >= 0)
            (void)::close(listen_fd);
        if (sigfd >= 0)
            (void)::close(sigfd);
        if (epfd >= 0)
            (void)::close(epfd);
    }

    int run()
    {
        epoll_event events[64];
        while (!stopping || running.head) {
            int n = ::epoll_wait(epfd, events, 64, expire());
            if (n < 0 && errno != EINTR) {
                log_line(log, "epoll_wait: %s", std::strerror(errno));
                return kExitFailure;
            }
            bool was_stopping = stopping;
            for (int i = 0; i < n; ++i) {
                void *tag = events[i].data.ptr;
                if (tag == &tag_signal)
                    handle_signals();
                else if (tag == &tag_output)
                    output_drain(&output, log);
                else if (stopping != was_stopping)
                    continue;  // stop() closed the listener and freed every reader
                else if (tag == &tag_listen)
                    accept_clients();
                else
                    read_client(static_cast<Conn *>(tag));
            }
        }
        return kExitOk;
    }
};

}  // namespace

int run_loop(const Config &config, Log *log, int listen_fd, Detach *detach)
{
    Loop loop(config, log);
    int status = kExitFailure;
    if (loop.setup(listen_fd)) {
        detach_report(detach, kExitOk);
        log_line(log, "serving \"execd\": %u jobs at once", config.max_jobs);
        status = loop.run();
        log_line(log, "stopped");
    } else {
        log_line(log, "cannot start the event loop: %s", std::strerror(errno));
        detach_report(detach, kExitFailure);
    }
    loop.teardown();
    return status;
}

}  // namespace execd
