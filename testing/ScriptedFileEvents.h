#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "core/watch/FileEvents.h"
#include "testing/CodeOf.h"

namespace kelo {

/// A file system in memory that contains our executable from the start.
class ScriptedFileEvents : public FileEvents {
public:
    static constexpr const char* installed = "/Library/PrivilegedHelperTools/app.kelo.helper";
    std::optional<std::string> executable = installed; ///< As reported by the system; nullopt if it reports none.
    bool canOpen = true;
    /// Called with each step on the main thread: "own executable?", "watch /path".
    std::function<void(const std::string&)> onStep = [](const std::string&) {};

    std::optional<std::string> ownExecutable() override {
        onStep("own executable?");
        return executable;
    }

    std::optional<FileIdentity> identify(const std::string& path) const override {
        const std::lock_guard lock(mutex_);
        const auto found = files_.find(path);
        return found == files_.end() ? std::nullopt : std::optional(found->second);
    }

    [[nodiscard]] std::unique_ptr<FileEventSource> watch(const std::string& path,
                                                         std::function<void()> onEvent) override {
        onStep("watch " + path);
        const auto file = identify(path);
        if (!canOpen || !file)
            return nullptr;
        auto watched = std::make_shared<Watched>(Watched{*file, std::move(onEvent)});
        watches_.push_back(watched);
        ++sources_;
        return std::make_unique<Source>(*this, watched);
    }

    /// Replaces the executable with another file, or removes it, without an event.
    void place(std::optional<FileIdentity> file) {
        const std::lock_guard lock(mutex_);
        files_.erase(installed);
        if (file)
            files_.emplace(installed, *file);
    }

    /// Delivers an event to every remaining watch.
    void send() {
        for (const auto& watched : std::vector(watches_))
            notify(watched.lock());
    }

    // --- changes to files; `deliver` sends their events

    /// Creates a file, or writes to an existing one.
    void write(const std::string& path) {
        const std::lock_guard lock(mutex_);
        if (files_.emplace(path, FileIdentity{1, nextInode_}).second)
            ++nextInode_;
    }

    void link(const std::string& from, const std::string& to) {
        const std::lock_guard lock(mutex_);
        files_.insert_or_assign(to, files_.at(from));
    }

    void rename(const std::string& from, const std::string& to) {
        const std::lock_guard lock(mutex_);
        if (const auto replaced = files_.find(to); replaced != files_.end())
            changed_.push_back(replaced->second);
        changed_.push_back(files_.at(from));
        files_.insert_or_assign(to, files_.at(from));
        files_.erase(from);
    }

    void remove(const std::string& path) {
        const std::lock_guard lock(mutex_);
        changed_.push_back(files_.at(path));
        files_.erase(path);
    }

    void deliver() {
        for (const auto& file : std::exchange(changed_, {}))
            for (const auto& watched : std::vector(watches_))
                if (const auto live = watched.lock(); live && live->file == file)
                    notify(live);
    }

    int sources() const { return sources_; }
    int cancellations() const { return cancellations_; }

private:
    struct Watched {
        FileIdentity file;
        std::function<void()> onEvent; ///< Null once cancelled.
    };

    class Source : public FileEventSource {
    public:
        Source(ScriptedFileEvents& events, std::shared_ptr<Watched> watched)
            : events_(events), watched_(std::move(watched)) {}
        void cancel() override {
            watched_->onEvent = nullptr;
            ++events_.cancellations_;
        }

    private:
        ScriptedFileEvents& events_;
        std::shared_ptr<Watched> watched_;
    };

    static void notify(const std::shared_ptr<Watched>& watched) {
        if (!watched || !watched->onEvent)
            return;
        const auto onEvent = watched->onEvent; // the handler may cancel or destroy its source
        const CodeOf daemon(CodeOf::Owner::daemon);
        onEvent();
    }

    mutable std::mutex mutex_; ///< Guards the files.
    std::map<std::string, FileIdentity> files_ = {{installed, FileIdentity{1, 100}}};
    std::uint64_t nextInode_ = 1000;
    std::vector<FileIdentity> changed_;
    std::vector<std::weak_ptr<Watched>> watches_;
    int sources_ = 0;
    int cancellations_ = 0;
};

} // namespace kelo
