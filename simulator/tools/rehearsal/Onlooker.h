#pragma once

#include <filesystem>

#include "simulator/tools/pictures/Picture.h"
#include "testing/process/PseudoTerminal.h"
#include "testing/process/VirtualScreen.h"

namespace kelo {

/// Runs `kelo watch` on a terminal until this object is destroyed. The helper counts it as a client.
class Onlooker {
public:
    explicit Onlooker(const std::filesystem::path& kelo);

    /// Reads the output since the last call. Must be called often enough that the terminal's buffer does not fill up.
    void look() { screen_.take(terminal_.readNew()); }

    /// Returns the screen's contents as picture data.
    PictureData data() const;

private:
    PseudoTerminal terminal_;
    VirtualScreen screen_;
};

} // namespace kelo
