// The signals the daemon handles, all of them read through signalfd.
#pragma once

#include <csignal>

namespace execd {

// SIGCHLD, SIGTERM, SIGINT and SIGHUP.
sigset_t handled_signals();

// Blocks the handled signals, so that they wait for signalfd, and ignores
// SIGPIPE. Must run before anything could start a process.
void block_signals();

}  // namespace execd
