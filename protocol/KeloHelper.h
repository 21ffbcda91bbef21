#pragma once

#include <cstdint>

namespace kelo {

/// What helper and client agree on. Fixed at build time; there is no configuration.
struct KeloHelper {
    KeloHelper() = delete;

    /// The service under which the helper listens and to which the client connects. The helper's code-signing
    /// identifier, too.
    static constexpr const char* machServiceName = "app.kelo.helper";

    /// Seconds that the helper waits after its last client has gone before it hands the fan back.
    static constexpr double orphanGracePeriod = 8.0;

    /// Version of `KeloHelperProtocol`: lets a client recognise a helper of another build.
    static constexpr std::int64_t interfaceVersion = 6;
};

} // namespace kelo
