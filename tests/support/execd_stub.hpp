// A stand-in for the command-execution daemon: listens on "execd" and serves
// each connection in a thread of its own process.
#pragma once

#include <anvil/io.h>
#include <anvil/unsock.h>
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <optional>
#include <string>
#include <sys/socket.h>
#include <sys/time.h>
#include <thread>
#include <unistd.h>

namespace anvil_test {

class ExecdStub {
public:
    // The reply for a request (the bytes before its NUL); nullopt closes the
    // connection without replying.
    using Reply = std::function<std::optional<std::int32_t>(const std::string &)>;

    // By default "reply N" is answered with N, and anything else with the
    // request's size including its NUL.
    explicit ExecdStub(Reply reply = [](const std::string &command) -> std::optional<std::int32_t> {
        if (command.rfind("reply ", 0) == 0)
            return std::atoi(command.c_str() + 6);
        return std::int32_t(command.size() + 1);
    })
        : reply_(std::move(reply)), listen_fd_(listenUnTcpSock("execd"))
    {
        if (listen_fd_ >= 0)
            thread_ = std::thread([this] { serve(); });
    }
    ~ExecdStub()
    {
        if (listen_fd_ < 0)
            return;
        shutdown(listen_fd_, SHUT_RDWR);  // wakes the blocked accept
        thread_.join();
        close(listen_fd_);
    }
    ExecdStub(const ExecdStub &) = delete;
    ExecdStub &operator=(const ExecdStub &) = delete;

    bool listening() const { return listen_fd_ >= 0; }
    int connections() const { return connections_; }

private:
    void serve()
    {
        for (int fd; (fd = acceptUnTcpSock(listen_fd_)) >= 0; close(fd)) {
            ++connections_;
            // A client that neither sends nor closes (a leaked descriptor)
            // must not hold the stub, and the test, forever.
            timeval limit{2, 0};
            setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
            std::string command;
            char c;
            while (recv(fd, &c, 1, 0) == 1 && c != '\0')
                command += c;
            if (auto r = reply_(command))
                sockwriten(fd, &*r, sizeof *r);
        }
    }

    Reply reply_;
    int listen_fd_;
    std::atomic<int> connections_{0};
    std::thread thread_;
};

}  // namespace anvil_test
