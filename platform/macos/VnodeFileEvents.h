#pragma once

#include "core/watch/FileEvents.h"

namespace kelo {

/// Watches files by vnode source and identifies them by stat. A source reports its own file only, not the renaming or
/// removal of a folder above it.
class VnodeFileEvents : public FileEvents {
public:
    std::optional<std::string> ownExecutable() override;
    std::optional<FileIdentity> identify(const std::string& path) const override;
    [[nodiscard]] std::unique_ptr<FileEventSource> watch(const std::string& path,
                                                         std::function<void()> onEvent) override;
};

} // namespace kelo
