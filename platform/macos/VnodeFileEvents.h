#pragma once

#include "core/watch/FileEvents.h"

namespace kelo {

/// Files by vnode source and stat. A source sees its own file only: renaming or removing a folder above it sends
/// nothing.
class VnodeFileEvents : public FileEvents {
public:
    std::optional<std::string> ownExecutable() override;
    std::optional<FileIdentity> identify(const std::string& path) const override;
    [[nodiscard]] std::unique_ptr<FileEventSource> watch(const std::string& path,
                                                         std::function<void()> onEvent) override;
};

} // namespace kelo
