// Command-line options into a Config. No I/O here: main prints what we say.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <getopt.h>

#include "execd/config.hpp"

namespace execd {

const char kHelpText[] =
    "Usage: anvil-execd [OPTION]...\n"
    "Runs the commands that lsystem() clients send to the abstract socket \"execd\",\n"
    "each as /bin/sh -c COMMAND, and answers each with its wait status.\n"
    "\n"
    "  -j, --jobs N            run at most N commands at once, queue the rest (32)\n"
    "  -t, --time-limit SECS   kill a command's process group after SECS (0: none; 0)\n"
    "  -r, --read-timeout SECS drop a client that has not sent its command in SECS (5)\n"
    "  -g, --grace SECS        on SIGTERM/SIGINT let running commands finish for SECS,\n"
    "                          then kill them (5)\n"
    "  -u, --allow-uid UID     also serve clients of user id UID (repeatable; root and\n"
    "                          the daemon's own user are always served)\n"
    "  -G, --allow-gid GID     also serve clients whose group id is GID (repeatable)\n"
    "  -l, --log FILE          log to FILE (/var/log/anvil-execd.log); - for stderr\n"
    "      --log-size BYTES    rotate the log at BYTES (1048576; 0: never)\n"
    "      --log-backups N     keep N rotated logs, FILE.0 the newest (3)\n"
    "  -o, --output WHERE      commands' output to \"null\" (default) or \"log\"\n"
    "  -v, --verbose           log every command, not only refusals and failures\n"
    "  -d, --daemon            detach into the background once listening\n"
    "  -h, --help              show this help and exit\n"
    "  -V, --version           show the version and exit\n"
    "\n"
    "Times are in seconds and may have a fraction (0.5). Commands run with standard\n"
    "input from /dev/null, in their own process group, from the directory /.\n"
    "One instance at a time: the lock is /var/run/anvil-execd.pid.\n"
    "Signals: SIGTERM or SIGINT stops (a second one kills running commands at once),\n"
    "SIGHUP reopens the log.\n"
    "\n"
    "Exit status: 0 stopped cleanly (or --help, --version); 1 could not start or\n"
    "failed while running; 2 bad command line; 3 another instance is running.\n";

namespace {

enum LongOnly { kLogSize = 256, kLogBackups };

const option kOptions[] = {
    {"jobs", required_argument, nullptr, 'j'},
    {"time-limit", required_argument, nullptr, 't'},
    {"read-timeout", required_argument, nullptr, 'r'},
    {"grace", required_argument, nullptr, 'g'},
    {"allow-uid", required_argument, nullptr, 'u'},
    {"allow-gid", required_argument, nullptr, 'G'},
    {"log", required_argument, nullptr, 'l'},
    {"log-size", required_argument, nullptr, kLogSize},
    {"log-backups", required_argument, nullptr, kLogBackups},
    {"output", required_argument, nullptr, 'o'},
    {"verbose", no_argument, nullptr, 'v'},
    {"daemon", no_argument, nullptr, 'd'},
    {"help", no_argument, nullptr, 'h'},
    {"version", no_argument, nullptr, 'V'},
    {nullptr, 0, nullptr, 0},
};

// A whole decimal number in [min, max].
bool parse_uint(const char *s, unsigned long min, unsigned long max, unsigned long *out)
{
    if (*s < '0' || *s > '9')
        return false;
    char *end;
    errno = 0;
    unsigned long v = std::strtoul(s, &end, 10);
    if (errno || *end || v < min || v > max)
        return false;
    *out = v;
    return true;
}

// Seconds, possibly fractional, into milliseconds; at most a day.
bool parse_seconds(const char *s, int *ms)
{
    if ((*s < '0' || *s > '9') && *s != '.')
        return false;
    char *end;
    double v = std::strtod(s, &end);
    if (*end || !(v >= 0 && v <= 86400))
        return false;
    *ms = int(v * 1000 + 0.5);  // NOLINT(bugprone-incorrect-roundings): v is not negative
    return true;
}

// The long name of an option, for messages.
const char *name_of(int opt)
{
    for (const option *o = kOptions; o->name; ++o)
        if (o->val == opt)
            return o->name;
    return "?";
}

}  // namespace

ParseResult parse_options(int argc, char **argv, Config *c, char *err, std::size_t err_size)
{
    opterr = 0;  // the messages are ours to word, and main's to print
    optind = 1;
    int opt;
    while ((opt = getopt_long(argc, argv, ":j:t:r:g:u:G:l:o:vdhV", kOptions, nullptr)) != -1) {
        unsigned long n = 0;
        bool ok = true;
        switch (opt) {
        case 'j':
            ok = parse_uint(optarg, 1, 4096, &n);
            c->max_jobs = unsigned(n);
            break;
        case 't':
            ok = parse_seconds(optarg, &c->time_limit_ms);
            break;
        case 'r':
            ok = parse_seconds(optarg, &c->read_timeout_ms) && c->read_timeout_ms > 0;
            break;
        case 'g':
            ok = parse_seconds(optarg, &c->grace_ms);
            break;
        case 'u':
            if (c->n_uids == kMaxAllowed) {
                (void)std::snprintf(err, err_size, "at most %u --allow-uid options", kMaxAllowed);
                return ParseResult::Usage;
            }
            ok = parse_uint(optarg, 0, 0xfffffffeul, &n);
            c->allow_uids[c->n_uids++] = uid_t(n);
            break;
        case 'G':
            if (c->n_gids == kMaxAllowed) {
                (void)std::snprintf(err, err_size, "at most %u --allow-gid options", kMaxAllowed);
                return ParseResult::Usage;
            }
            ok = parse_uint(optarg, 0, 0xfffffffeul, &n);
            c->allow_gids[c->n_gids++] = gid_t(n);
            break;
        case 'l':
            ok = *optarg != '\0';
            c->log_path = optarg;
            break;
        case kLogSize:
            ok = parse_uint(optarg, 0, 0xfffffffful, &n);
            c->log_max_size = std::uint32_t(n);
            break;
        case kLogBackups:
            ok = parse_uint(optarg, 1, 100, &n);
            c->log_backups = int(n);
            break;
        case 'o':
            ok = (optarg[0] == 'l' && !std::strcmp(optarg, "log")) ||
                 (optarg[0] == 'n' && !std::strcmp(optarg, "null"));
            c->output_to_log = optarg[0] == 'l';
            break;
        case 'v':
            c->verbose = true;
            break;
        case 'd':
            c->daemonize = true;
            break;
        case 'h':
            return ParseResult::Help;
        case 'V':
            return ParseResult::Version;
        case ':':
            (void)std::snprintf(err, err_size, "--%s needs a value", name_of(optopt));
            return ParseResult::Usage;
        default:
            (void)std::snprintf(err, err_size, "unknown option '%s'", argv[optind - 1]);
            return ParseResult::Usage;
        }
        if (!ok) {
            (void)std::snprintf(err, err_size, "bad value '%s' for --%s", optarg, name_of(opt));
            return ParseResult::Usage;
        }
    }
    if (optind < argc) {
        (void)std::snprintf(err, err_size, "unexpected argument '%s'", argv[optind]);
        return ParseResult::Usage;
    }
    return ParseResult::Run;
}

}  // namespace execd
