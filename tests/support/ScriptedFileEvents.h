#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "core/watch/FileEvents.h"

namespace kelo {

/// A file system with one path in it.
class ScriptedFileEvents : public FileEvents {
public:
    std::optional<std::string> executable = "/Library/PrivilegedHelperTools/app.kelo.helper";
    bool canOpen = true;
    /// Called with each step on the main thread: "own executable?", "watch /path".
    std::function<void(const std::string&)> onStep = [](const std::string&) {};

    std::optional<std::string> ownExecutable() override {
        onStep("own executable?");
        return executable;
    }

    std::optional<FileIdentity> identify(const std::string& path) const override {
        const std::lock_guard lock(mutex_);
        return path == executable ? file_ : std::nullopt;
    }

    [[nodiscard]] std::unique_ptr<FileEventSource> watch(const std::string& path,
                                                         std::function<void()> onEvent) override {
        onStep("watch " + path);
        if (!canOpen)
            return nullptr;
        auto handler = std::make_shared<std::function<void()>>(std::move(onEvent));
        handler_ = handler;
        ++sources_;
        return std::make_unique<Source>(*this, handler);
    }

    /// Puts another file, or none, at the path.
    void place(std::optional<FileIdentity> file) {
        const std::lock_guard lock(mutex_);
        file_ = file;
    }

    /// Delivers an event to the source, if there still is one that is not cancelled.
    void send() {
        if (const auto handler = handler_.lock())
            if (*handler) {
                const auto onEvent = *handler; // it may cancel or destroy its source
                onEvent();
            }
    }

    int sources() const { return sources_; }
    int cancellations() const { return cancellations_; }

private:
    class Source : public FileEventSource {
    public:
        Source(ScriptedFileEvents& events, std::shared_ptr<std::function<void()>> handler)
            : events_(events), handler_(std::move(handler)) {}
        void cancel() override {
            *handler_ = nullptr;
            ++events_.cancellations_;
        }

    private:
        ScriptedFileEvents& events_;
        std::shared_ptr<std::function<void()>> handler_;
    };

    mutable std::mutex mutex_;
    std::optional<FileIdentity> file_ = FileIdentity{1, 100};
    std::weak_ptr<std::function<void()>> handler_;
    int sources_ = 0;
    int cancellations_ = 0;
};

} // namespace kelo
