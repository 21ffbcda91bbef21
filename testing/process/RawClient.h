#pragma once

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/linux/socket/RequestRecords.h"
#include "platform/posix/Hex.h"
#include "testing/process/Installation.h"

namespace kelo {

/// A client that sends any bytes that the test chooses.
class RawClient {
public:
    RawClient(Installation& installation, const std::string& program) : process_(installation.start(program, {})) {}

    std::string perform(const std::string& command) {
        process_->writeInput(command + "\n");
        const auto answer = process_->readLine();
        return answer.empty() ? "no answer" : answer;
    }
    bool connect() { return perform("connect") == "connected"; }
    /// Sends a request without waiting for its reply.
    void request(const requests::Any& request) {
        const auto record = request_records::encode(++number_, request);
        perform("send " + hexOf(record));
    }
    /// Sends a request and returns the answer. Throws `std::runtime_error` if the connection ends or the next reply is
    /// for another request.
    template <typename Request>
    typename Request::Answer ask(const Request& asked) {
        request(asked);
        const auto received = perform("receive");
        typename Request::Answer answer{};
        if (!request_records::decodeAnswer(bytes(received), number_, answer))
            throw std::runtime_error("no reply: " + received);
        return answer;
    }

private:
    static std::vector<std::uint8_t> bytes(const std::string& text) {
        std::vector<std::uint8_t> bytes;
        for (std::size_t i = 0; i + 1 < text.size(); i += 2)
            bytes.push_back(static_cast<std::uint8_t>(std::stoi(text.substr(i, 2), nullptr, 16)));
        return bytes;
    }

    std::unique_ptr<ChildProcess> process_;
    std::uint64_t number_ = 0;
};

} // namespace kelo
