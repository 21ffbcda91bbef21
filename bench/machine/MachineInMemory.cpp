#include "bench/machine/MachineInMemory.h"

namespace kelo::bench {

bool ControllerInMemory::exchange(std::uint32_t, const SMCKeyData& request, SMCKeyData& reply) noexcept {
    ++exchanges;
    if (recorded != nullptr)
        recorded->push_back(request);
    auto& slot = slots_[slotOf(request.key)];
    if (slot.code != request.key) {
        reply.result = 0x84;
        return true;
    }
    switch (static_cast<SMCCommand>(request.data8)) {
    case SMCCommand::readKeyInfo:
        reply.keyInfo.dataSize = slot.size;
        reply.keyInfo.dataType = slot.type;
        break;
    case SMCCommand::readBytes:
        std::memcpy(reply.bytes, slot.bytes.data(), slot.bytes.size());
        break;
    case SMCCommand::writeBytes:
        std::memcpy(slot.bytes.data(), request.bytes, slot.bytes.size());
        break;
    }
    return true;
}

} // namespace kelo::bench
