#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/linux/socket/RequestRecords.h"
#include "platform/posix/Hex.h"
#include "testing/process/Installation.h"

namespace kelo {

/// A client whose every byte is the test's.
class RawClient {
public:
    RawClient(Installation& installation, const std::string& program) : process_(installation.start(program, {})) {}

    std::string perform(const std::string& command) {
        process_->writeInput(command + "\n");
        ++commands_;
        waitUntil([this] { return answers().size() >= commands_ || process_->status().has_value(); }, 30);
        const auto all = answers();
        return all.size() >= commands_ ? all[commands_ - 1] : "no answer";
    }
    bool connect() { return perform("connect") == "connected"; }
    std::string send(const std::vector<std::uint8_t>& bytes) { return perform("send " + hexOf(bytes)); }
    /// Makes a request without waiting for its reply.
    void request(const requests::Any& request) {
        const auto record = request_records::encode(++number_, request);
        send({record.begin(), record.end()});
    }
    /// The next reply, which is to be that to the last request, of type `Request`. Throws `std::runtime_error` when it
    /// is not, or the connection has ended.
    template <typename Request>
    typename Request::Answer reply() {
        return reply<Request>(number_);
    }
    /// The same for the request with this number; the first has 1.
    template <typename Request>
    typename Request::Answer reply(std::uint64_t number) {
        const auto received = perform("receive");
        typename Request::Answer answer{};
        if (!request_records::decodeAnswer(bytes(received), number, answer))
            throw std::runtime_error("no reply: " + received);
        return answer;
    }
    template <typename Request>
    typename Request::Answer ask(const Request& asked) {
        request(asked);
        return reply<Request>();
    }
    ChildProcess& process() { return *process_; }

private:
    std::vector<std::string> answers() {
        std::vector<std::string> lines;
        std::istringstream output(process_->output());
        for (std::string line; std::getline(output, line) && !output.eof();)
            lines.push_back(line);
        return lines;
    }
    static std::vector<std::uint8_t> bytes(const std::string& text) {
        std::vector<std::uint8_t> bytes;
        for (std::size_t i = 0; i + 1 < text.size(); i += 2)
            bytes.push_back(static_cast<std::uint8_t>(std::stoi(text.substr(i, 2), nullptr, 16)));
        return bytes;
    }

    std::unique_ptr<ChildProcess> process_;
    std::size_t commands_ = 0;
    std::uint64_t number_ = 0;
};

} // namespace kelo
