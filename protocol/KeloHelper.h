#pragma once

#include <cstdint>

namespace kelo {

/// Constants shared by the helper and the client. They are fixed at build time and cannot be configured.
struct KeloHelper {
    KeloHelper() = delete;

    /// The Mach service that the helper offers and the client connects to. Also the helper's code-signing identifier.
    static constexpr const char* machServiceName = "app.kelo.helper";

    /// Seconds between the departure of the last client and the hand-back.
    static constexpr double orphanGracePeriod = 8.0;

    /// The version of `KeloHelperProtocol`. A client compares it to recognise an older or newer helper.
    static constexpr std::int64_t interfaceVersion = 6;
};

} // namespace kelo
