#include <anvil/io.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <pthread.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

struct Pipe {
    int fd[2];
    Pipe() { EXPECT_EQ(pipe(fd), 0); }
    ~Pipe() { close_read(); close_write(); }
    void close_read() { if (fd[0] >= 0) close(fd[0]); fd[0] = -1; }
    void close_write() { if (fd[1] >= 0) close(fd[1]); fd[1] = -1; }
};

struct SocketPair {
    int fd[2];
    SocketPair() { EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, fd), 0); }
    ~SocketPair() { close(fd[0]); if (fd[1] >= 0) close(fd[1]); }
};

std::vector<unsigned char> pattern(size_t n)
{
    std::vector<unsigned char> v(n);
    for (size_t i = 0; i < n; ++i)
        v[i] = static_cast<unsigned char>(i * 7 + i / 251);
    return v;
}

// Installs a handler without SA_RESTART, so a blocked call sees EINTR, and
// signals the calling thread from a helper thread until stopped.
class Interrupter {
public:
    Interrupter() : target_(pthread_self())
    {
        struct sigaction sa {};
        sa.sa_handler = [](int) {};
        sigaction(SIGUSR1, &sa, &old_);
        thread_ = std::thread([this] {
            while (!stop_) {
                pthread_kill(target_, SIGUSR1);
                usleep(2000);
            }
        });
    }
    ~Interrupter()
    {
        stop_ = true;
        thread_.join();
        sigaction(SIGUSR1, &old_, nullptr);
    }

private:
    pthread_t target_;
    struct sigaction old_;
    std::atomic<bool> stop_{false};
    std::thread thread_;
};

}  // namespace

TEST(Transfer, ZeroLengthMakesNoSystemCall)
{
    char b = 0;
    errno = 0;
    EXPECT_EQ(readn(-1, &b, 0), 0);
    EXPECT_EQ(writen(-1, &b, 0), 0);
    EXPECT_EQ(sockreadn(-1, &b, 0), 0);
    EXPECT_EQ(sockwriten(-1, &b, 0), 0);
    EXPECT_EQ(errno, 0);  // a call on fd -1 would have left EBADF
}

TEST(Transfer, ReadsAcrossOneByteWritesAndEndOfFile)
{
    Pipe p;
    auto data = pattern(64);
    std::thread writer([&] {
        for (unsigned char c : data) {
            ASSERT_EQ(write(p.fd[1], &c, 1), 1);
            usleep(200);
        }
        write(p.fd[1], "tail", 4);
        p.close_write();
    });
    std::vector<unsigned char> got(64);
    EXPECT_EQ(readn(p.fd[0], got.data(), got.size()), 64);
    EXPECT_EQ(got, data);
    writer.join();
    char rest[16];
    EXPECT_EQ(readn(p.fd[0], rest, sizeof rest), 4);  // end of file: a short count
    EXPECT_EQ(readn(p.fd[0], rest, sizeof rest), 0);
}

TEST(Transfer, SockreadnGathersPiecesAndResumesAfterSignals)
{
    SocketPair s;
    auto data = pattern(4096);
    std::vector<unsigned char> got(data.size());
    std::thread peer([&] {
        for (size_t i = 0; i < data.size(); i += 512) {
            usleep(3000);
            ASSERT_EQ(send(s.fd[1], &data[i], 512, 0), 512);
        }
    });
    {
        Interrupter signals;
        EXPECT_EQ(sockreadn(s.fd[0], got.data(), got.size()), 4096);
    }
    peer.join();
    EXPECT_EQ(got, data);
}

TEST(Transfer, WritesSurviveSignalsAndShortWrites)
{
    // A signal that interrupts a blocked pipe write after part of the data has
    // gone in makes write return a short count; writen must carry on.
    Pipe p;
    auto data = pattern(1 << 20);
    std::vector<unsigned char> got;
    std::thread reader([&] {
        unsigned char buf[3000];
        ssize_t r;
        while ((r = read(p.fd[0], buf, sizeof buf)) > 0) {
            got.insert(got.end(), buf, buf + r);
            usleep(50);
        }
    });
    {
        Interrupter signals;
        EXPECT_EQ(writen(p.fd[1], data.data(), data.size()), ssize_t(data.size()));
    }
    p.close_write();
    reader.join();
    EXPECT_EQ(got, data);
}

TEST(Transfer, SockwritenResumesAfterSignals)
{
    SocketPair s;
    auto data = pattern(1 << 20);
    std::vector<unsigned char> got(data.size());
    std::thread reader([&] { EXPECT_EQ(sockreadn(s.fd[1], got.data(), got.size()), ssize_t(got.size())); });
    {
        Interrupter signals;
        EXPECT_EQ(sockwriten(s.fd[0], data.data(), data.size()), ssize_t(data.size()));
    }
    reader.join();
    EXPECT_EQ(got, data);
}

TEST(Transfer, FullDeviceIsAShortCountWithENOSPC)
{
    int fd = open("/dev/full", O_WRONLY);
    ASSERT_GE(fd, 0);
    errno = 0;
    EXPECT_EQ(writen(fd, "12345678", 8), 0);
    EXPECT_EQ(errno, ENOSPC);
    close(fd);
}

TEST(Transfer, VanishedPeerIsEPIPEWithoutSignal)
{
    SocketPair s;
    close(s.fd[1]);
    s.fd[1] = -1;
    // SIGPIPE keeps its default action: raising it would end the test program.
    EXPECT_EQ(sockwriten(s.fd[0], "x", 1), -1);
    EXPECT_EQ(errno, EPIPE);
}

TEST(Transfer, PeerClosingEarlyIsECONNRESET)
{
    SocketPair s;
    ASSERT_EQ(send(s.fd[1], "ab", 2, 0), 2);
    close(s.fd[1]);
    s.fd[1] = -1;
    char buf[4];
    EXPECT_EQ(sockreadn(s.fd[0], buf, 4), -1);
    EXPECT_EQ(errno, ECONNRESET);
}

TEST(Transfer, OtherErrorsAreReported)
{
    Pipe p;
    ASSERT_EQ(fcntl_setfl(p.fd[0], O_NONBLOCK), 0);
    char buf[4];
    EXPECT_EQ(readn(p.fd[0], buf, 4), -1);
    EXPECT_EQ(errno, EAGAIN);
    EXPECT_EQ(writen(p.fd[0], "x", 1), -1);  // the read end
    EXPECT_EQ(errno, EBADF);
}

TEST(Fcntl, AddsFlagsAndNeverClears)
{
    int fd = open("/dev/null", O_WRONLY | O_APPEND);
    ASSERT_GE(fd, 0);
    EXPECT_EQ(fcntl_setfl(fd, O_NONBLOCK), 0);
    EXPECT_EQ(fcntl(fd, F_GETFL) & (O_APPEND | O_NONBLOCK), O_APPEND | O_NONBLOCK);
    EXPECT_EQ(fcntl_setfl(fd, 0), 0);
    EXPECT_EQ(fcntl(fd, F_GETFL) & (O_APPEND | O_NONBLOCK), O_APPEND | O_NONBLOCK);
    EXPECT_EQ(fcntl_setfd(fd, FD_CLOEXEC), 0);
    EXPECT_EQ(fcntl(fd, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
    close(fd);
    EXPECT_EQ(fcntl_setfd(fd, FD_CLOEXEC), -1);
    EXPECT_EQ(errno, EBADF);
    EXPECT_EQ(fcntl_setfl(fd, O_NONBLOCK), -1);
    EXPECT_EQ(errno, EBADF);
}
