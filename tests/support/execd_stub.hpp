// A stand-in for the command-execution daemon: listens on "execd" and serves
// each connection in a thread of its own process.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <thread>

namespace anvil_test {

class ExecdStub {
public:
    // The reply for a request (the bytes before its NUL); nullopt closes the
    // connection without replying.
    using Reply = std::function<std::optional<std::int32_t>(const std::string &)>;

    // Default behaviour: "reply N" answers N, and anything else is answered
    // with the request's size including its NUL.
    static std::optional<std::int32_t> default_reply(const std::string &command);

    explicit ExecdStub(Reply reply = default_reply);
    ~ExecdStub();
    ExecdStub(const ExecdStub &) = delete;
    ExecdStub &operator=(const ExecdStub &) = delete;

    bool listening() const { return listen_fd_ >= 0; }
    int connections() const { return connections_; }

private:
    void serve();

    Reply reply_;
    int listen_fd_;
    std::atomic<int> connections_{0};
    std::thread thread_;
};

}  // namespace anvil_test
