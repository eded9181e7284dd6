// anvil-execd: runs the commands lsystem() clients send to "execd".
#include <anvil/pidfile.h>
#include <anvil/io.h>
#include <anvil/unsock.h>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

#include "execd/config.hpp"
#include "execd/daemonize.hpp"
#include "execd/log.hpp"
#include "execd/loop.hpp"
#include "execd/signals.hpp"

namespace {

constexpr char kInstanceName[] = "anvil-execd";
constexpr char kSocketName[] = "execd";

// Reports a failed start where it can be seen, then returns its status.
int give_up(execd::Detach *detach, int status, const char *what)
{
    (void)std::fprintf(stderr, "anvil-execd: %s: %s\n", what, std::strerror(errno));
    execd::detach_report(detach, status);
    return status;
}

}  // namespace

int main(int argc, char **argv)
{
    execd::Config config;
    char err[160];
    switch (execd::parse_options(argc, argv, &config, err, sizeof err)) {
    case execd::ParseResult::Help:
        (void)std::fputs(execd::kHelpText, stdout);
        return execd::kExitOk;
    case execd::ParseResult::Version:
        std::printf("anvil-execd %s\n", ANVIL_VERSION_STRING);
        return execd::kExitOk;
    case execd::ParseResult::Usage:
        (void)std::fprintf(stderr, "anvil-execd: %s\nTry 'anvil-execd --help'.\n", err);
        return execd::kExitUsage;
    case execd::ParseResult::Run:
        break;
    }

    execd::ensure_std_fds();
    execd::block_signals();
    // Commands expect a usable PATH even when started by a bare init.
    (void)::setenv("PATH", "/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin", 0);
    if (::chdir("/") != 0)
        return give_up(nullptr, execd::kExitFailure, "chdir /");

    execd::Detach detach;
    if (config.daemonize && !execd::detach_begin(&detach))
        return give_up(&detach, execd::kExitFailure, "fork");
    // After the fork, so that the pid file names the daemon, not the starter.
    if (ensureOnlyoneProcessEntity(kInstanceName) != 0) {
        if (errno == EWOULDBLOCK) {
            (void)std::fprintf(stderr, "anvil-execd: already running (/var/run/%s.pid)\n",
                               kInstanceName);
            execd::detach_report(&detach, execd::kExitRunning);
            return execd::kExitRunning;
        }
        return give_up(&detach, execd::kExitFailure, "/var/run/anvil-execd.pid");
    }
    execd::Log log;
    if (!execd::log_open(&log, config))
        return give_up(&detach, execd::kExitFailure, config.log_path);
    int listen_fd = listenUnTcpSock(kSocketName);
    if (listen_fd < 0 || fcntl_setfd(listen_fd, FD_CLOEXEC) != 0 ||
        fcntl_setfl(listen_fd, O_NONBLOCK) != 0) {
        execd::log_line(&log, "cannot listen on \"execd\": %s", std::strerror(errno));
        int status = give_up(&detach, execd::kExitFailure, "listen on \"execd\"");
        execd::log_close(&log);
        return status;
    }

    int status = execd::run_loop(config, &log, listen_fd, &detach);
    execd::log_close(&log);
    return status;
}
