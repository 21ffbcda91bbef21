#pragma once

#include "core/watch/FileEvents.h"

namespace kelo {

/// Watches files with vnode sources and identifies them with stat. A source reports only changes of the file itself,
/// not the renaming or removal of a parent folder.
class VnodeFileEvents : public FileEvents {
public:
    std::optional<std::string> ownExecutable() override;
    std::optional<FileIdentity> identify(const std::string& path) const override;
    [[nodiscard]] std::unique_ptr<FileEventSource> watch(const std::string& path,
                                                         std::function<void()> onEvent) override;
};

} // namespace kelo
