#include "execd/signals.hpp"

namespace execd {

sigset_t handled_signals()
{
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGCHLD);
    sigaddset(&set, SIGTERM);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGHUP);
    return set;
}

void block_signals()
{
    sigset_t set = handled_signals();
    (void)::sigprocmask(SIG_BLOCK, &set, nullptr);
    (void)::signal(SIGPIPE, SIG_IGN);
}

}  // namespace execd
