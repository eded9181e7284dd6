#include "support/execd_stub.hpp"

#include <anvil/io.h>
#include <anvil/unsock.h>
#include <cstdlib>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

namespace anvil_test {

std::optional<std::int32_t> ExecdStub::default_reply(const std::string &command)
{
    if (command.rfind("reply ", 0) == 0)
        return std::atoi(command.c_str() + 6);
    return static_cast<std::int32_t>(command.size() + 1);
}

ExecdStub::ExecdStub(Reply reply) : reply_(std::move(reply)), listen_fd_(listenUnTcpSock("execd"))
{
    if (listen_fd_ >= 0)
        thread_ = std::thread([this] { serve(); });
}

ExecdStub::~ExecdStub()
{
    if (listen_fd_ < 0)
        return;
    shutdown(listen_fd_, SHUT_RDWR);  // wakes the blocked accept
    thread_.join();
    close(listen_fd_);
}

void ExecdStub::serve()
{
    for (;;) {
        int fd = acceptUnTcpSock(listen_fd_);
        if (fd < 0)
            return;
        ++connections_;
        // A client that neither sends nor closes (a leaked descriptor) must
        // not hold the stub, and the test, forever.
        timeval limit{2, 0};
        setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
        std::string command;
        char c;
        while (recv(fd, &c, 1, 0) == 1 && c != '\0')
            command += c;
        if (auto r = reply_(command))
            sockwriten(fd, &*r, sizeof *r);
        close(fd);
    }
}

}  // namespace anvil_test
