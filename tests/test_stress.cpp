// Every transfer function under hostile conditions, from one table: a signal
// storm, a peer that moves one byte per call, a peer that closes at every
// byte offset of an exchange, and a full disk.
#include <anvil.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <fcntl.h>
#include <random>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <thread>
#include <vector>

#include "support/io_helpers.hpp"
#include "support/isolated_test.hpp"
#include "support/scratch_dir.hpp"

namespace {

using anvil_test::fails;
using anvil_test::Fd;
using anvil_test::open_fd_count;
using anvil_test::read_file;
using anvil_test::same_file;

constexpr size_t kSize = 1 << 20;
// One byte per call is a million system calls, each costing microseconds
// under qemu: the 32-bit ARM build moves less that way.
#if defined(__arm__)
constexpr size_t kBytewise = 128 << 10;
#else
constexpr size_t kBytewise = kSize;
#endif
constexpr size_t kSlack = 7;       // reads ask for more: end of file ends them
constexpr size_t kMessage = 4096;  // the data carried with each passed descriptor
constexpr int kPassed = STDERR_FILENO;
constexpr int kLimit = 60000;  // timed writes: never reached

// n bytes without a NUL.
std::string pattern(size_t n)
{
    std::string s(n, '\0');
    for (size_t i = 0; i < n; ++i)
        s[i] = char((i * 7 + i / 251) % 255 + 1);
    return s;
}

// Moves n bytes at p through fd; a peer moves at most `piece` per call.
using Mover = ssize_t (*)(int fd, char *p, size_t n, size_t piece);

// Plain reads or writes of at most `piece` bytes, retried when interrupted,
// until all of p has moved or end of file.
ssize_t plain(bool out, int fd, char *p, size_t n, size_t piece)
{
    size_t at = 0;
    for (ssize_t r = 1; at < n && (r > 0 || (r < 0 && errno == EINTR)); at += size_t(std::max<ssize_t>(r, 0)))
        r = out ? write(fd, p + at, std::min(piece, n - at)) : read(fd, p + at, std::min(piece, n - at));
    return ssize_t(at);
}

// The function under test over the whole of p, with `more` bytes of room
// for the reads that end at end of file.
template <auto f, size_t more = 0>
ssize_t whole(int fd, char *p, size_t n, size_t) { return f(fd, p, n + more); }
template <auto f>
ssize_t timed(int fd, char *p, size_t n, size_t) { return f(fd, kLimit, p, n); }
ssize_t timed_writev(int fd, const iovec *v, int entries) { return writevns(fd, kLimit, v, entries); }

// The vectored transfers see p as segments of random lengths, empty ones
// among them, so that calls end anywhere in a segment; the caller's vector
// must come back unchanged.
template <ssize_t (*f)(int, const iovec *, int), size_t more = 0>
ssize_t vectored(int fd, char *p, size_t n, size_t)
{
    std::minstd_rand rng(static_cast<unsigned>(n));
    std::vector<iovec> v;
    for (size_t at = 0, len; at < n + more; at += len)
        v.push_back({p + at, len = std::min<size_t>(rng() % 3 ? rng() % 40000 : 0, n + more - at)});
    std::vector<iovec> before = v;
    ssize_t r = f(fd, v.data(), int(v.size()));
    EXPECT_EQ(std::memcmp(v.data(), before.data(), v.size() * sizeof v[0]), 0) << "vector changed";
    return r;
}

// recvstr's string copied into p; its length, NUL included.
ssize_t string(int fd, char *p, size_t n, size_t)
{
    char *s = recvstr(fd);
    size_t len = s ? std::strlen(s) + 1 : 0;
    std::memcpy(p, s ? s : "", std::min(len, n));
    free(s);
    return s ? ssize_t(len) : -1;
}

// Descriptor passing moves p as messages of kMessage bytes, each carrying
// kPassed with its first `piece` bytes (the function under test takes all it
// can); the rest goes, or comes, plain.
template <bool out, size_t whole_message = 0>
ssize_t passing(int fd, char *p, size_t n, size_t piece)
{
    piece = whole_message ? whole_message : piece;
    for (size_t at = 0, len; at < n; at += len) {
        len = std::min(kMessage, n - at);
        size_t first = std::min(piece, len);
        if (out) {
            first = size_t(std::max<ssize_t>(sendFdAndDataByUnSock(fd, kPassed, p + at, first), 0));
        } else {
            Fd got{recvFdAndDataByUnSock(fd, p + at, &first)};
            first *= got != kPassed && same_file(got, kPassed);
        }
        if (first == 0 || plain(out, fd, p + at + first, len - first, piece) != ssize_t(len - first))
            return -1;
    }
    return ssize_t(n);
}

// lsystem moves p as requests of up to 256 bytes, the command and its NUL
// (p holds no NUL before its last byte), each but the last overlapping the
// next by that NUL. The daemon's side, on a listener of "execd", writes them
// back into place and answers each with its size.
size_t request(size_t at, size_t n) { return std::min<size_t>(256, n - at); }
size_t next(size_t at, size_t n) { return at + request(at, n) - (at + request(at, n) < n); }
ssize_t commands(int, char *p, size_t n, size_t)
{
    for (size_t at = 0; at < n; at = next(at, n))
        if (lsystem(std::string(p + at, request(at, n) - 1).c_str()) != int(request(at, n)))
            return -1;
    return ssize_t(n);
}
ssize_t serve(int listener, char *p, size_t n, size_t piece)
{
    for (size_t at = 0; at < n; at = next(at, n)) {
        Fd c{acceptUnTcpSock(listener)};
        int32_t size = int32_t(request(at, n));
        if (plain(false, c, p + at, size_t(size), piece) != size || p[at + size_t(size) - 1] != '\0' ||
            plain(true, c, reinterpret_cast<char *>(&size), sizeof size, piece) != sizeof size)
            return -1;
    }
    return ssize_t(n);
}

enum Kind { kPipe, kSocket, kFile, kDaemon };
constexpr unsigned kDescriptors = 1 << kPipe | 1 << kSocket | 1 << kFile;

const struct Row {
    const char *name;
    bool reads;       // the function under test receives what the peer sends
    unsigned kinds;   // bits of Kind
    Mover call, peer;
    const char *printed;  // timed writes: their output when a signal ends a wait
} kRows[] = {
    {"readn", true, kDescriptors, whole<readn, kSlack>},
    {"writen", false, kDescriptors, whole<writen>},
    {"sockreadn", true, 1 << kSocket, whole<sockreadn>},
    {"sockwriten", false, 1 << kSocket, whole<sockwriten>},
    {"readvn", true, kDescriptors, vectored<readvn>},
    {"readvn up to end of file", true, kDescriptors, vectored<readvn, kSlack>},
    {"writevn", false, kDescriptors, vectored<writevn>},
    {"writens", false, kDescriptors, timed<writens>, nullptr, "[writens] select time out! ret=-1.\n"},
    {"writevns", false, kDescriptors, vectored<timed_writev>, nullptr, "[writevns] select time out! ret=-1.\n"},
    {"sockwritens", false, 1 << kSocket, timed<sockwritens>, nullptr, ""},
    {"recvstr", true, 1 << kSocket, string},
    {"recvFdAndDataByUnSock", true, 1 << kSocket, passing<false, kMessage>, passing<true>},
    {"sendFdAndDataByUnSock", false, 1 << kSocket, passing<true, kMessage>, passing<false>},
    {"lsystem", false, 1 << kDaemon, commands, serve},
    {"acceptUnTcpSock", true, 1 << kDaemon, serve, commands},
};

std::atomic<int> signals{0};

// Moves n bytes with the row's function over a new channel of the given
// kind. The peer (plain reads or writes unless the row has its own) runs on
// a thread of its own, or fills or reads back the file before or after.
void run(const Row &row, Kind kind, size_t n, size_t piece, bool storm)
{
    static const char *const names[] = {"pipe", "socket pair", "file", "listener"};
    SCOPED_TRACE(testing::Message() << row.name << " over a " << names[kind]
                                    << (storm ? " in a signal storm" : ", the peer moving one byte per call"));
    std::string data = pattern(n) + std::string(kSlack, '\0'), got(data.size(), '?');
    data[n - 1] = '\0';
    char *mine = row.reads ? got.data() : data.data(), *theirs = row.reads ? data.data() : got.data();
    auto peer = [&](int fd) {
        if (row.peer)
            return row.peer(fd, theirs, n, piece);
        // The last byte alone, after a pause: the function under test sees
        // its transfer end on a call that moves just that byte.
        ssize_t m = plain(row.reads, fd, theirs, n - 1, piece);
        return usleep(1000), m + plain(row.reads, fd, theirs + n - 1, 1, piece);
    };
    int fds = open_fd_count(), end[2] = {-1, -1};
    if (kind == kPipe)
        ASSERT_EQ(pipe(end), 0);
    else if (kind == kSocket)
        ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, end), 0);
    else if (kind == kFile)
        ASSERT_GE(end[0] = open(P_tmpdir, O_TMPFILE | O_RDWR, 0600), 0);
    else
        ASSERT_GE(end[1] = dup(end[0] = listenUnTcpSock("execd")), 0);
    if (kind == kPipe && !row.reads)
        std::swap(end[0], end[1]);
    if (kind == kFile && row.reads)
        peer(end[0]), lseek(end[0], 0, SEEK_SET);
    ssize_t moved = 0;
    std::thread other;
    if (kind != kFile)
        other = std::thread([&] {
            sigset_t block;
            sigemptyset(&block), sigaddset(&block, SIGALRM), sigaddset(&block, SIGPIPE);
            pthread_sigmask(SIG_BLOCK, &block, nullptr);
            if (storm)
                usleep(20000);  // the function under test waits meanwhile
            moved = peer(end[1]);
            close(end[1]);
        });
    testing::internal::CaptureStdout();
    // The storm: SIGALRM every 100 µs through a handler without SA_RESTART.
    struct sigaction handler {}, old;
    handler.sa_handler = [](int) { ++signals; };
    itimerval every = {{0, 100}, {0, 100}}, off = {};
    int hits = signals;
    if (storm)
        sigaction(SIGALRM, &handler, &old), setitimer(ITIMER_REAL, &every, nullptr);
    ssize_t r = row.call(end[0], mine, n, piece);
    int err = errno;
    if (storm)  // SIG_IGN discards a signal still pending
        setitimer(ITIMER_REAL, &off, nullptr), signal(SIGALRM, SIG_IGN), sigaction(SIGALRM, &old, nullptr);
    hits = signals - hits;
    std::string out = testing::internal::GetCapturedStdout();
    shutdown(end[0], SHUT_RDWR);  // a peer still waiting gives up
    if (kind == kFile && !row.reads)
        lseek(end[0], 0, SEEK_SET), moved = peer(end[0]);
    close(end[0]);
    if (other.joinable())
        other.join();
    if (storm && row.printed && kind != kFile) {
        // A signal ends a timed write's wait, and with it the write.
        EXPECT_EQ(r, -1);
        EXPECT_EQ(err, EINTR);
        EXPECT_EQ(out, row.printed);
        n = size_t(moved);
    } else {
        EXPECT_EQ(r, ssize_t(n));
        EXPECT_EQ(out, "");
        // At least one signal met the wait: how many more arrive depends on
        // how busy the machine is, not on the library.
        EXPECT_TRUE(!storm || kind == kFile || hits >= 1) << hits << " signals";
    }
    EXPECT_EQ(std::memcmp(got.data(), data.data(), n), 0) << "data differs";
    EXPECT_EQ(open_fd_count(), fds) << "descriptor leaked";
}

using Stress = anvil_test::IsolatedTest;

// Each function moves 1 MiB through each channel in a signal storm, then
// (all but files) with a peer that moves one byte per call.
TEST_F(Stress, EveryTransferInASignalStormAndWithAOneBytePeer)
{
    for (bool storm : {true, false})
        for (const Row &row : kRows)
            for (Kind kind : {kPipe, kSocket, kFile, kDaemon})
                if (row.kinds & 1 << kind && (storm || kind != kFile))
                    run(row, kind, storm ? kSize : kBytewise, storm ? kSize : 1, storm);
}

TEST_F(Stress, APeerClosingAtEveryByteOffset)
{
    // lsystem, and lsystema with waitlsystema, against a daemon that reads k
    // bytes of the 6-byte request (once it has all arrived, so that sending
    // never fails), or all of it and k - 6 bytes of the reply, and closes.
    Fd listener{listenUnTcpSock("execd")};
    std::thread daemon([&] {
        for (size_t i = 0; i < 20; ++i) {
            Fd c{acceptUnTcpSock(listener)};
            char request[6];
            recv(c, request, 1, MSG_PEEK);
            recv(c, request, std::min<size_t>(i / 2, 6), MSG_WAITALL);
            send(c, "\7\0\0\0", i / 2 > 6 ? i / 2 - 6 : 0, MSG_NOSIGNAL);
        }
    });
    for (size_t i = 0; i < 20; ++i) {
        int fds = open_fd_count(), fd = -1;
        // waitlsystema leaves the connection to its caller.
        EXPECT_EQ(fails(i % 2 ? waitlsystema(fd = lsystema("early")) : lsystem("early")), ECONNRESET) << i / 2;
        EXPECT_EQ(close(fd), i % 2 ? 0 : -1);
        EXPECT_EQ(open_fd_count(), fds) << i / 2;
    }
    daemon.join();

    // A descriptor sent with the last of 4 bytes, one byte per call, the
    // sender closing after k of them: nothing (ECONNRESET, the length kept),
    // data without a descriptor (EPROTOTYPE, the data stored), or all of it.
    for (size_t k = 0; k <= 4; ++k) {
        int fds = open_fd_count(), sv[2];
        ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, sv), 0);
        for (size_t i = 0; i < k; ++i)
            EXPECT_EQ(i < 3 ? send(sv[0], &"abc"[i], 1, 0) : sendFdAndDataByUnSock(sv[0], kPassed, "d", 1), 1);
        close(sv[0]);
        char buf[16];
        size_t len = sizeof buf;
        int fd = recvFdAndDataByUnSock(sv[1], buf, &len);
        EXPECT_EQ(fd < 0 ? errno : 0, k == 0 ? ECONNRESET : k < 4 ? EPROTOTYPE : 0) << k;
        EXPECT_EQ(std::string(buf, std::min(len, k)) + std::to_string(len), std::string("abcd", k) + std::to_string(k ? k : sizeof buf));
        EXPECT_TRUE(fd < 0 || (same_file(fd, kPassed) && close(fd) == 0));
        EXPECT_EQ(fails(recvFdByUnSock(sv[1])), ECONNRESET) << k;
        // SIGPIPE keeps its default action: raising it would end the program.
        EXPECT_EQ(fails(sendFdAndDataByUnSock(sv[1], kPassed, "x", 1)), EPIPE) << k;
        close(sv[1]);
        EXPECT_EQ(open_fd_count(), fds) << k;
    }
}

using FullDisk = anvil_test::ScratchTest;

// Every writer onto a 64 KiB tmpfs on /var/run that cannot take its 100 KiB,
// or that is full to begin with, reports what its contract says and leaves
// the other file there, and its source elsewhere, as they were.
TEST_F(FullDisk, EveryWriterReportsItAndCorruptsNothingElse)
{
    static const bool isolated = anvil_test::enter_private_mountns();
    if (!isolated)
        GTEST_SKIP() << "no private mount namespace (needs CAP_SYS_ADMIN)";
    const std::string from = path("source"), source = pattern(100 << 10), other = pattern(16 << 10);
    const char *to = "/var/run/target";
    anvil_test::write_file(from, source);
    auto on_full_disk = [&](const char *name, bool full, int want, auto write) {
        SCOPED_TRACE(name);
        int fds = open_fd_count();
        ASSERT_TRUE(anvil_test::mount_tmpfs("/var/run", 64 << 10));
        anvil_test::write_file("/var/run/other", other);
        if (full)
            anvil_test::write_file("/var/run/filler", source);  // what fits of it
        errno = 0;
        EXPECT_EQ(write(), want);
        EXPECT_TRUE(read_file("/var/run/other") == other && read_file(from) == source) << "another file changed";
        EXPECT_EQ(open_fd_count(), fds) << "descriptor leaked";
        EXPECT_EQ(umount("/var/run"), 0);
    };
    // The writes to a descriptor: a short count with errno ENOSPC, and the
    // file holds exactly the bytes counted.
    for (const Row &row : kRows)
        if (!row.reads && row.kinds & 1 << kFile)
            on_full_disk(row.name, false, ENOSPC, [&] {
                std::string data = source;
                Fd fd{open(to, O_WRONLY | O_CREAT, 0600)};
                ssize_t r = row.call(fd, data.data(), data.size(), 0);
                int err = errno;
                return r >= 0 && size_t(r) < data.size() && read_file(to) == data.substr(0, size_t(r)) ? err : -1;
            });
    on_full_disk("echo", false, ENOSPC, [&] { return fails(echo(to, source.c_str(), 0)); });
    on_full_disk("__copyFile", false, ENOSPC, [&] { return fails(__copyFile(from.c_str(), to, 0)); });
    on_full_disk("mv", false, ENOSPC, [&] { return fails(mv(from.c_str(), to)); });
    // The log drops what does not fit, without a word.
    on_full_disk("file_log", false, 0, [&] {
        file_log *log = file_log_create(to, 1, 0);
        for (int i = 0; i < 500; ++i)
            file_log_append(log, "%0200d", i);
        file_log_destroy(log);
        return read_file(to).empty() ? -1 : 0;
    });
    on_full_disk("ensureOnlyoneProcessEntity", true, ENOSPC, [] { return fails(ensureOnlyoneProcessEntity("full")); });
    // A pid that cannot be written is not reported: the file stays empty.
    on_full_disk("ensureProcessOnlyRunOnce", true, 0, [] {
        int err = fails(ensureProcessOnlyRunOnce("once"));
        return err ? err : int(read_file("/var/run/once.pid").size());
    });
}

}  // namespace
