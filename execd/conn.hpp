// One client connection and the lists the loop keeps them in.
#pragma once

#include <cstdint>
#include <sys/types.h>

namespace execd {

constexpr unsigned kMaxRequest = 256;  // the command and its NUL
constexpr std::int64_t kNever = INT64_MAX;

struct Conn {
    Conn *prev, *next;  // in exactly one of the loop's lists
    enum State : std::uint8_t { Reading, Queued, Running } state;
    bool killed;         // its process group was sent SIGKILL
    int fd;
    pid_t peer_pid;
    uid_t peer_uid;
    pid_t child;
    std::int64_t deadline_ms;  // end of the read, or of the time limit
    std::uint32_t len;
    char request[kMaxRequest];
};

// An intrusive FIFO. Each list is filled in deadline order because its
// timeout is the same for every member, so the earliest deadline is first.
// A member's neighbours point back at it (the head has no prev, the tail no
// next), so remove() leaves nothing linked to it; the loop frees a Conn only
// after removing it, so no list ever leads to a freed one.
struct ConnList {
    Conn *head = nullptr, *tail = nullptr;
    unsigned count = 0;

    void push_back(Conn *c)
    {
        c->next = nullptr;
        c->prev = tail;
        (tail ? tail->next : head) = c;
        tail = c;
        ++count;
    }
    void remove(Conn *c)
    {
        // NOLINTNEXTLINE(clang-analyzer-unix.Malloc): c is a member, so not freed yet
        (c->prev ? c->prev->next : head) = c->next;
        (c->next ? c->next->prev : tail) = c->prev;
        --count;
    }
};

enum class ReadResult { Complete, Partial, Closed, TooLong };

// Takes what the socket holds, up to the request's limit. Complete once the
// NUL is in; request then holds the command as a C string.
ReadResult read_request(Conn *c);

// Sends the 4-byte result. A client that has gone is not an error here.
void send_reply(Conn *c, std::int32_t status);

}  // namespace execd
