#pragma once

#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "simulator/link/HardwareLink.h"
#include "testing/process/Installation.h"
#include "testing/process/PipedProcess.h"

namespace kelo::bench {

/// A staged installation to be measured, and the programs that it is measured with.
class Scene {
public:
    /// `programs` holds the bare limits and the client that measures; the client is signed in `installation`.
    Scene(std::filesystem::path installation, std::filesystem::path programs, bool isBrief)
        : installation_(std::move(installation)), programs_(std::move(programs)), isBrief_(isBrief) {}

    /// How often or how long something is measured.
    int count(int full, int brief) const { return isBrief_ ? brief : full; }

    /// A world with a simulated Mac in it that runs; its processes end with it.
    std::unique_ptr<Installation> startMac() const;
    /// And a helper in it that listens.
    std::unique_ptr<Installation> startHelper() const;

    std::string program(const std::string& name) const { return programs_ / name; }
    std::string installed(const std::string& name) const { return installation_ / name; }
    std::string helper() const { return installed(Installation::helperName); }
    std::string macFolder() const { return installation_ / "simulated-mac"; }

    /// What the client that measures says of the service at `socket` in the installation.
    nlohmann::json ask(const std::string& socket, const std::vector<std::string>& question) const;
    /// So many clients that do nothing, for as long as this lives.
    std::unique_ptr<PipedProcess> stay(int clients) const { return startClient({"stay", std::to_string(clients)}); }
    /// A client that holds the fans for as long as this lives, and asks for nothing else.
    std::unique_ptr<PipedProcess> hold() const { return startClient({"hold", "1"}); }
    /// A bare limit that listens at `socket` in the installation.
    std::unique_ptr<PipedProcess> startResponder(const std::string& socket, std::size_t replySize,
                                                 bool readsTheMac) const;
    FileDescriptor openMacFolder() const;
    std::unique_ptr<HardwareLink> linkToMac() const;

    static constexpr const char* serviceSocket = "app.kelo.helper.socket";

private:
    std::unique_ptr<PipedProcess> startClient(const std::vector<std::string>& what) const;
    std::vector<std::string> clientCommand(const std::string& socket, const std::vector<std::string>& what) const;

    std::filesystem::path installation_;
    std::filesystem::path programs_;
    bool isBrief_;
};

/// The middle one, and one near the end. `values` is not empty.
double median(std::vector<double> values);
double percentile99(std::vector<double> values);

} // namespace kelo::bench
