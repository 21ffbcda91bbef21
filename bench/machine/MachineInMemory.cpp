#include "bench/machine/MachineInMemory.h"

#include <cstdlib>
#include <new>

namespace {

std::size_t allocations = 0; // not atomic, since the program has one thread

} // namespace

void* operator new(std::size_t size) {
    ++allocations;
    if (void* const memory = std::malloc(size == 0 ? 1 : size))
        return memory;
    throw std::bad_alloc();
}

void operator delete(void* memory) noexcept { std::free(memory); }

void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

namespace kelo::bench {

std::size_t allocationsSoFar() { return allocations; }

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
