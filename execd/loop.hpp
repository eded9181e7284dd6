// The daemon's one event loop: accepts, reads requests, runs commands,
// answers, and stops on SIGTERM/SIGINT.
#pragma once

#include "execd/config.hpp"
#include "execd/daemonize.hpp"
#include "execd/log.hpp"

namespace execd {

// Serves the listening socket (non-blocking, close-on-exec; owned and
// closed by the loop) until told to stop. The signals the loop handles must
// be blocked already (block_signals). Tells a waiting starter whether
// it got going. Returns the exit status.
int run_loop(const Config &config, Log *log, int listen_fd, Detach *detach);

}  // namespace execd
