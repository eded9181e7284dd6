// Receiving one NUL-terminated string over a socketpair: recvstr against a
// naive loop that receives into a buffer it doubles with realloc. A peer
// thread sends each string when the receiver asks for it with one byte.
#include <anvil/recvstr.h>
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <string>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace {

char *naive_recv(int fd)
{
    size_t cap = 4096, len = 0;
    auto *buf = static_cast<char *>(std::malloc(cap));
    for (;;) {
        if (len == cap) {
            cap *= 2;
            buf = static_cast<char *>(std::realloc(buf, cap));
        }
        ssize_t n = recv(fd, buf + len, cap - len, 0);
        if (n <= 0) {
            std::free(buf);
            return nullptr;
        }
        len += static_cast<size_t>(n);
        if (buf[len - 1] == '\0')
            return buf;
    }
}

template <char *(*Receive)(int)>
void BM_Receive(benchmark::State &state)
{
    std::string text(static_cast<size_t>(state.range(0)), 'x');
    text.back() = '\0';
    int fd[2];
    socketpair(AF_UNIX, SOCK_STREAM, 0, fd);
    std::thread peer([&] {
        char ask;
        while (recv(fd[1], &ask, 1, 0) == 1)
            send(fd[1], text.data(), text.size(), 0);
    });
    for (auto _ : state) {
        send(fd[0], "?", 1, 0);
        char *s = Receive(fd[0]);
        if (!s)
            state.SkipWithError("receive failed");
        std::free(s);
    }
    shutdown(fd[0], SHUT_WR);
    peer.join();
    close(fd[0]);
    close(fd[1]);
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

}  // namespace

BENCHMARK(BM_Receive<recvstr>)->Name("BM_Recvstr")->Arg(100)->Arg(1 << 20)->UseRealTime();
BENCHMARK(BM_Receive<naive_recv>)->Name("BM_NaiveRealloc")->Arg(100)->Arg(1 << 20)->UseRealTime();
