// What the daemon is told at start: filled by the option parser, read by
// everything else, never changed once the loop runs.
#pragma once

#include <cstdint>
#include <sys/types.h>

namespace execd {

constexpr unsigned kMaxAllowed = 16;  // extra uids, and gids, that may be served

struct Config {
    unsigned max_jobs = 32;          // commands running at once; the rest wait
    int read_timeout_ms = 5000;      // for a client to send its command
    int time_limit_ms = 0;           // per command; 0: unlimited
    int grace_ms = 5000;             // for running commands after SIGTERM/SIGINT
    bool daemonize = false;
    bool verbose = false;            // log every command, not only refusals
    bool output_to_log = false;      // commands' stdout/stderr: log, else /dev/null
    const char *log_path = "/var/log/anvil-execd.log";  // "-": standard error
    int log_backups = 3;
    std::uint32_t log_max_size = 1u << 20;
    uid_t allow_uids[kMaxAllowed];
    unsigned n_uids = 0;
    gid_t allow_gids[kMaxAllowed];
    unsigned n_gids = 0;
};

enum class ParseResult { Run, Help, Version, Usage };

// Fills config from the command line. Does no I/O: on Usage, err holds the
// reason for main to print.
ParseResult parse_options(int argc, char **argv, Config *config, char *err, std::size_t err_size);

// The --help text.
extern const char kHelpText[];  // NOLINT(bugprone-dynamic-static-initializers): a constant

// Exit statuses, as documented in --help.
constexpr int kExitOk = 0;
constexpr int kExitFailure = 1;
constexpr int kExitUsage = 2;
constexpr int kExitRunning = 3;

}  // namespace execd
