// Commands' output into the daemon's log: every command writes to one pipe,
// whose lines the loop logs as they come.
#pragma once

#include "execd/log.hpp"

namespace execd {

struct Output {
    int read_fd = -1;   // non-blocking, watched by the loop
    int write_fd = -1;  // handed to each command as stdout and stderr
    unsigned len = 0;
    char line[200]{};   // leaves room in a log line for the prefix
};

bool output_open(Output *out);

// Logs every complete line the pipe holds now; a line longer than the
// buffer is logged in pieces.
void output_drain(Output *out, Log *log);

// Logs what is left of a last unterminated line and closes the pipe.
void output_close(Output *out, Log *log);

}  // namespace execd
