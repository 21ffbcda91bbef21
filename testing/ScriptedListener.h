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

/// A connection in memory. Records what is done to it, in order.
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

/// A listener in memory: the test presents the connections. A requirement is a text that a peer knows or does not know.
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

    /// Presents a connection of a peer that satisfies one requirement, or by default whatever is required. Null when
    /// nobody listens, when it was cut off, and when it was refused.
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
