#pragma once

#include <filesystem>

#include "simulator/tools/pictures/Picture.h"
#include "testing/process/PseudoTerminal.h"
#include "testing/process/VirtualScreen.h"

namespace kelo {

/// Somebody who runs `kelo watch` on a terminal. The helper counts it as a client until it ends with this object.
class Onlooker {
public:
    explicit Onlooker(const std::filesystem::path& kelo);

    /// Takes what has come out since the last call. To be called often enough that the terminal does not fill up.
    void look() { screen_.take(terminal_.readNew()); }

    /// What the screen shows, as the data of a picture.
    PictureData data() const;

private:
    PseudoTerminal terminal_;
    VirtualScreen screen_;
};

} // namespace kelo
