#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "helper/Listener.h"
#include "protocol/KeloHelperProtocol.h"
#include "testing/CodeOf.h"

namespace kelo {

/// A connection in memory. Records the calls on it, in order.
class ScriptedConnection : public IncomingConnection {
public:
    /// Called with each step: "export", "invalidation handler", "interruption handler", "resume".
    std::function<void(const std::string&)> onStep = [](const std::string&) {};
    std::shared_ptr<KeloHelperProtocol> object;
    std::function<void()> onInvalidation;
    std::function<void()> onInterruption;
    bool isResumed = false;

    void exportObject(std::shared_ptr<KeloHelperProtocol> exported) override {
        object = std::move(exported);
        onStep("export");
    }
    void setInvalidationHandler(std::function<void()> handler) override {
        onInvalidation = std::move(handler);
        onStep("invalidation handler");
    }
    void setInterruptionHandler(std::function<void()> handler) override {
        onInterruption = std::move(handler);
        onStep("interruption handler");
    }
    void resume() override {
        isResumed = true;
        onStep("resume");
    }
};

/// A listener in memory to which the test presents connections. A requirement is a text that a peer satisfies or does
/// not satisfy.
class ScriptedListener : public Listener {
public:
    /// Called with each step: "admission", "requirement ...", "resume".
    std::function<void(const std::string&)> onStep = [](const std::string&) {};
    ConnectionAdmission admission;
    bool canListen = true;
    std::optional<std::string> requirement;
    bool isResumed = false;

    void setAdmission(ConnectionAdmission decides) override {
        admission = std::move(decides);
        onStep("admission");
    }
    void setConnectionCodeSigningRequirement(const std::string& text) override {
        requirement = text;
        onStep("requirement " + text);
    }
    bool resume() override {
        isResumed = canListen;
        onStep("resume");
        return canListen;
    }

    /// Presents a connection from a peer that satisfies only `satisfied`, or any requirement by default. Returns null
    /// if the listener is not resumed, or if it cuts off or refuses the peer.
    std::unique_ptr<ScriptedConnection> connect(const std::optional<std::string>& satisfied = std::nullopt) {
        if (!isResumed || (satisfied && satisfied != requirement))
            return nullptr;
        auto connection = std::make_unique<ScriptedConnection>();
        const CodeOf daemon(CodeOf::Owner::daemon);
        if (!admission(*connection))
            return nullptr;
        return connection;
    }
};

} // namespace kelo
