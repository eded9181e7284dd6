// Vectored and timed writes and descriptor passing beside the hand-written
// loops a caller would otherwise keep: a writev loop over a copy of the
// vector, writen without a wait, and a bare sendmsg/recvmsg pair.
#include <anvil/fd_passing.h>
#include <anvil/io.h>
#include <anvil/timed_io.h>
#include <anvil/vectored_io.h>
#include <benchmark/benchmark.h>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr int kSegments = 64;
constexpr size_t kSegment = 64;  // 4 KiB in all: one pipe page

ssize_t hand_writev(int fd, const iovec *v, int n)
{
    iovec work[kSegments];
    std::memcpy(work, v, sizeof *v * size_t(n));
    size_t total = 0;
    for (int i = 0; i < n; ++i)
        total += v[i].iov_len;
    iovec *cur = work;
    size_t left = total;
    while (left != 0) {
        ssize_t r = writev(fd, cur, n);
        if (r < 0) {
            if (errno == EINTR)
                continue;
            return -1;
        }
        left -= size_t(r);
        while (n > 0 && size_t(r) >= cur->iov_len) {
            r -= ssize_t(cur->iov_len);
            ++cur;
            --n;
        }
        if (n > 0) {
            cur->iov_base = static_cast<char *>(cur->iov_base) + r;
            cur->iov_len -= size_t(r);
        }
    }
    return ssize_t(total);
}

// Range 0: /dev/null; range 1: a pipe read back after every write.
struct Sink {
    int fd[2] = {-1, -1};
    explicit Sink(int64_t kind)
    {
        if (kind == 0)
            fd[1] = open("/dev/null", O_WRONLY);
        else if (pipe(fd) != 0)
            fd[1] = -1;
    }
    ~Sink() { close(fd[0]); close(fd[1]); }
    void drain(char *buf, size_t n) const
    {
        if (fd[0] >= 0 && read(fd[0], buf, n) != ssize_t(n))
            std::abort();
    }
};

template <ssize_t (*Write)(int, const iovec *, int)>
void BM_Vector(benchmark::State &state)
{
    Sink sink(state.range(0));
    std::vector<char> data(kSegments * kSegment, 'v'), back(data.size());
    iovec v[kSegments];
    for (int i = 0; i < kSegments; ++i)
        v[i] = {data.data() + size_t(i) * kSegment, kSegment};
    for (auto _ : state) {
        if (Write(sink.fd[1], v, kSegments) != ssize_t(data.size()))
            state.SkipWithError("write failed");
        sink.drain(back.data(), back.size());
    }
    state.SetBytesProcessed(state.iterations() * int64_t(data.size()));
}

ssize_t timed_writen(int fd, const void *buf, size_t n)
{
    return writens(fd, 1000, buf, n);
}

template <ssize_t (*Write)(int, const void *, size_t)>
void BM_Flat(benchmark::State &state)
{
    Sink sink(state.range(0));
    std::vector<char> data(kSegments * kSegment, 'f'), back(data.size());
    for (auto _ : state) {
        if (Write(sink.fd[1], data.data(), data.size()) != ssize_t(data.size()))
            state.SkipWithError("write failed");
        sink.drain(back.data(), back.size());
    }
    state.SetBytesProcessed(state.iterations() * int64_t(data.size()));
}

int hand_pass(int s, int r, int fd)
{
    char data[4] = {'f', 'd', '!', '\0'};
    alignas(cmsghdr) unsigned char control[CMSG_SPACE(sizeof(int))] = {};
    iovec iov = {data, sizeof data};
    msghdr msg = {};
    msg.msg_iov = &iov;
    msg.msg_iovlen = 1;
    msg.msg_control = control;
    msg.msg_controllen = sizeof control;
    cmsghdr *c = CMSG_FIRSTHDR(&msg);
    c->cmsg_len = CMSG_LEN(sizeof(int));
    c->cmsg_level = SOL_SOCKET;
    c->cmsg_type = SCM_RIGHTS;
    std::memcpy(CMSG_DATA(c), &fd, sizeof fd);
    if (sendmsg(s, &msg, MSG_NOSIGNAL) != sizeof data)
        return -1;
    std::memset(control, 0, sizeof control);
    msg.msg_controllen = sizeof control;
    if (recvmsg(r, &msg, 0) <= 0 || !(c = CMSG_FIRSTHDR(&msg)) || c->cmsg_type != SCM_RIGHTS)
        return -1;
    int got;
    std::memcpy(&got, CMSG_DATA(c), sizeof got);
    return got;
}

int anvil_pass(int s, int r, int fd)
{
    if (sendFdAndDataByUnSock(s, fd, "fd!", 4) != 4)
        return -1;
    return recvFdByUnSock(r);
}

template <int (*Pass)(int, int, int)>
void BM_PassFd(benchmark::State &state)
{
    int sv[2];
    socketpair(AF_UNIX, SOCK_STREAM, 0, sv);
    for (auto _ : state) {
        int got = Pass(sv[0], sv[1], STDIN_FILENO);
        if (got < 0)
            state.SkipWithError("pass failed");
        close(got);
    }
    close(sv[0]);
    close(sv[1]);
}

}  // namespace

BENCHMARK(BM_Vector<writevn>)->Name("BM_Writevn")->Arg(0)->Arg(1);
BENCHMARK(BM_Vector<hand_writev>)->Name("BM_HandWritev")->Arg(0)->Arg(1);
BENCHMARK(BM_Flat<timed_writen>)->Name("BM_Writens")->Arg(0)->Arg(1);
BENCHMARK(BM_Flat<writen>)->Name("BM_Writen")->Arg(0)->Arg(1);
BENCHMARK(BM_PassFd<anvil_pass>)->Name("BM_SendRecvFd");
BENCHMARK(BM_PassFd<hand_pass>)->Name("BM_HandSendmsgRecvmsg");
BENCHMARK_MAIN();
