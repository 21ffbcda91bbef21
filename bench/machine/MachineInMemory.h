#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "core/fan/Clock.h"
#include "core/fan/FanController.h"
#include "core/fan/Rights.h"
#include "core/hold/Clamshell.h"
#include "core/hold/FanHold.h"
#include "core/queue/MainQueue.h"
#include "core/smc/SMCExchange.h"

namespace kelo::bench {

/// The number of allocations of this process so far. MachineInMemory.cpp replaces `operator new` to count them.
std::size_t allocationsSoFar();

/// A minimal controller: two fans and a chip in a table, so that an exchange costs only the call and the record. The
/// compiler must not inline its exchanges, because it cannot inline those of a real controller.
class ControllerInMemory : public SMCExchange {
public:
    ControllerInMemory() {
        addByte("FNum", 2);
        addByte("Ftst", 0);
        addNumber("Tp09", 45);
        for (const std::string fan : {"F0", "F1"}) {
            addNumber(fan + "Ac", 3000);
            addNumber(fan + "Mn", 1200);
            addNumber(fan + "Mx", 6000);
            addNumber(fan + "Tg", 3000);
            addByte(fan + "Md", 0);
        }
    }

    std::uint32_t open() override { return 1; }
    void close(std::uint32_t) noexcept override {}

    bool exchange(std::uint32_t connection, const SMCKeyData& request, SMCKeyData& reply) noexcept override;

    void setNumber(const std::string& key, float value) {
        auto& slot = slots_[slotOf(smcCode(key.c_str()))];
        std::memcpy(slot.bytes.data(), &value, sizeof value);
    }

    std::size_t exchanges = 0;
    std::vector<SMCKeyData>* recorded = nullptr; ///< Receives a copy of each request, unless null.

private:
    struct Slot {
        std::uint32_t code = 0;
        std::uint32_t size = 0;
        std::uint32_t type = 0;
        std::array<std::uint8_t, 4> bytes{};
    };

    static std::size_t slotOf(std::uint32_t code) { return (code * 0x9E3779B1U) >> 22; }

    void addByte(const std::string& key, std::uint8_t value) { add(key, 1, smc_type::ui8, {value}); }
    void addNumber(const std::string& key, float value) {
        add(key, 4, smc_type::flt, {});
        setNumber(key, value);
    }
    void add(const std::string& key, std::uint32_t size, std::uint32_t type, std::array<std::uint8_t, 4> bytes) {
        const auto code = smcCode(key.c_str());
        auto& slot = slots_[slotOf(code)];
        if (slot.code != 0)
            throw std::logic_error("two keys share a slot");
        slot = {code, size, type, bytes};
    }

    std::array<Slot, 1024> slots_{};
};

/// A Mac in memory, on which the helper's core runs without waiting: the benchmark fires the timer.
class MachineInMemory {
public:
    std::shared_ptr<FanHold> makeHold(double fraction) {
        return std::make_shared<FanHold>(fans, fraction, false, queue_, clamshell_);
    }

    /// Fires the hold's timer once.
    void tick() { queue_.onFire(); }

    ControllerInMemory controller;

private:
    class StoppedClock : public Clock {
    public:
        double now() override { return 0; }
        void sleep(double) override {}
    };
    class AllRights : public Rights {
    public:
        bool isRoot() override { return true; }
    };
    class OpenLid : public Clamshell {
    public:
        ClamshellProperty clamshellState() override { return false; }
    };
    /// Keeps the handler of the hold's only timer.
    class Queue : public MainQueue {
    public:
        void postPrepared(Tasks tasks) noexcept override { tasks.front()(); }
        void postAfter(double, Task) override {}
        std::unique_ptr<Timer> scheduleTimer(double, bool, Task handler) override {
            onFire = std::move(handler);
            return std::make_unique<NoTimer>();
        }
        bool isCurrent() const override { return true; }
        Task onFire;

    private:
        class NoTimer : public Timer {
            void invalidate() override {}
        };
    };

    StoppedClock clock_;
    AllRights rights_;
    OpenLid clamshell_;
    Queue queue_;

public:
    const std::shared_ptr<FanController> fans = std::make_shared<FanController>(controller, clock_, rights_);
};

} // namespace kelo::bench
