#pragma once

#include "core/smc/SMCExchange.h"

namespace kelo {

/// Exchanges records with the user client of the AppleSMC kernel service.
class IOKitExchange : public SMCExchange {
public:
    [[nodiscard]] std::uint32_t open() override;
    [[nodiscard]] bool exchange(std::uint32_t connection, const SMCKeyData& request,
                                SMCKeyData& reply) noexcept override;
    void close(std::uint32_t connection) noexcept override;
};

} // namespace kelo
