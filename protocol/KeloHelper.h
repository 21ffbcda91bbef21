#pragma once

#include <cstdint>

namespace kelo {

/// Constants shared by helper and client. Fixed at build time; there is no configuration.
struct KeloHelper {
    KeloHelper() = delete;

    /// The Mach service that the helper offers and the client connects to. Also the helper's code-signing identifier.
    static constexpr const char* machServiceName = "app.kelo.helper";

    /// Seconds between the departure of the last client and the hand-back.
    static constexpr double orphanGracePeriod = 8.0;

    /// Version of `KeloHelperProtocol`, by which a client recognises an older or newer helper.
    static constexpr std::int64_t interfaceVersion = 6;
};

} // namespace kelo
