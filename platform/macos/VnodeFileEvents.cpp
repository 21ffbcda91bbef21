#include "platform/macos/VnodeFileEvents.h"

#include <fcntl.h>
#include <libproc.h>
#include <unistd.h>

#include <algorithm>
#include <utility>

#include "platform/macos/DispatchSource.h"
#include "platform/posix/FileStatus.h"

namespace kelo {

namespace {

class VnodeFileEventSource : public FileEventSource {
public:
    explicit VnodeFileEventSource(std::unique_ptr<DispatchSource> source) : source_(std::move(source)) {}
    void cancel() override { source_->cancel(); }

private:
    const std::unique_ptr<DispatchSource> source_;
};

} // namespace

std::optional<std::string> VnodeFileEvents::ownExecutable() {
    char path[PROC_PIDPATHINFO_MAXSIZE] = {};
    if (proc_pidpath(getpid(), path, sizeof path) < 1)
        return std::nullopt;
    return std::string(path, std::find(path, path + sizeof path, '\0'));
}

std::optional<FileIdentity> VnodeFileEvents::identify(const std::string& path) const {
    return identityAt(path.c_str());
}

std::unique_ptr<FileEventSource> VnodeFileEvents::watch(const std::string& path, std::function<void()> onEvent) {
    const int descriptor = open(path.c_str(), O_EVTONLY);
    if (descriptor < 0)
        return nullptr;
    auto source = DispatchSource::forFile(descriptor, {std::move(onEvent), [descriptor] { close(descriptor); }});
    if (!source) {
        close(descriptor);
        return nullptr;
    }
    return std::make_unique<VnodeFileEventSource>(std::move(source));
}

} // namespace kelo
