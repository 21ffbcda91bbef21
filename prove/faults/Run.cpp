#include "prove/faults/Run.h"

#include <algorithm>
#include <csignal>

#include "simulator/model/Profile.h"

namespace kelo {
namespace {

std::string fanKey(int fan, const char* suffix) { return "F" + std::to_string(fan) + suffix; }

} // namespace

std::string Machine::name() const {
    const char* const switches[] = {"no unlock switch", "an unlock switch", "a required unlock switch"};
    return std::to_string(fans) + (fans == 1 ? " fan, " : " fans, ") + switches[static_cast<int>(unlock)] +
           (speedType == smc_type::fpe2 ? ", fixed-point speeds" : "");
}

Run::Run(const Machine& on, std::optional<ExchangeFault> fault, std::optional<MemoryFault> memoryFault)
    : machine(on), fault_(fault), memoryFault_(memoryFault) {
    const std::vector<Profile::FanRange> ranges(static_cast<std::size_t>(machine.fans), {1200, 6000});
    const bool isUnlockNeeded = machine.unlock == Machine::Unlock::needed;
    const Profile profile{"", "", ranges, machine.speedType, "Tp09", {isUnlockNeeded, 0.3}, true};
    profile.defineKeys(daemon.controller);
    if (machine.unlock == Machine::Unlock::noSwitch)
        daemon.controller.remove("Ftst");
}

void Run::beginFaults() {
    before_ = daemon.exchange.count();
    FailingMemory::beginCounting();
    if (memoryFault_)
        FailingMemory::inject(*memoryFault_);
    if (!fault_)
        return;
    fault_->from += before_;
    daemon.exchange.inject(*fault_);
}

void Run::interfere(int fan, bool isManual) { daemon.controller.setNumber(fanKey(fan, "Md"), isManual ? 1 : 0); }

void Run::expectTaken(const std::function<void()>& action) {
    action();
    for (int fan = 0; fan < machine.fans && isUndisturbed(); ++fan)
        expect(daemon.controller.number(fanKey(fan, "Md")) == 1, "fan " + std::to_string(fan) + " was not taken");
}

void Run::expectHandBack(int times, const std::function<void()>& action) {
    const auto since = daemon.tape.size();
    action();
    expectHandedBack(since, times);
}

void Run::expectHandBackUnlessRefused(int times, const std::function<void()>& handBack) {
    daemon.lastReply.clear();
    const auto since = daemon.tape.size();
    handBack();
    if (!memoryFault_ || daemon.lastReply == "none")
        expectHandedBack(since, times);
}

void Run::expectHandBackIfRefused(const std::function<void()>& hold) {
    const auto since = daemon.tape.size();
    daemon.lastReply.clear();
    hold();
    // If memory has run out, the hold may not even have begun.
    if (daemon.lastReply != "none" && (!memoryFault_ || hasWritten(since)))
        expectHandedBack(since, 1);
}

bool Run::hasWritten(std::size_t since) const {
    const auto& entries = daemon.tape.entries();
    return std::any_of(entries.begin() + static_cast<std::ptrdiff_t>(since), entries.end(), [](const TapeEntry& entry) {
        return entry.isExchange() && entry.smc.request.data8 == static_cast<std::uint8_t>(SMCCommand::writeBytes);
    });
}

void Run::expectHandedBack(std::size_t since, int times) {
    if (hasFoundNoFans())
        return;
    for (int fan = 0; fan < machine.fans; ++fan)
        expectWritten(fanKey(fan, "Md"), since, times);
    if (machine.unlock != Machine::Unlock::noSwitch)
        expectWritten("Ftst", since, times);
}

/// Expects a key to be 0, unless a fault prevented the last attempt to write it.
void Run::expectWritten(const std::string& key, std::size_t since, int times) {
    if (daemon.controller.number(key) == 0)
        return;
    int tries = 0;
    bool isPrevented = false;
    const auto& entries = daemon.tape.entries();
    for (auto entry = entries.begin() + static_cast<std::ptrdiff_t>(since); entry != entries.end(); ++entry) {
        if (!entry->isExchange() || entry->smc.key() != key)
            continue;
        tries += entry->smc.request.data8 == static_cast<std::uint8_t>(SMCCommand::readKeyInfo) ? 1 : 0;
        isPrevented = entry->isFaulted;
    }
    // If the fault affects only one exchange, each hand-back must have tried to clear the key. A lasting fault may have
    // prevented a hold, which leaves fewer hand-backs.
    const int least = fault_ && fault_->reach == ExchangeFault::Reach::once ? times : 1;
    expect(isPrevented && tries >= least, key + " was not cleared, after " + std::to_string(tries) + " tries");
}

/// Whether the daemon failed to read the number of fans. If so, it has no fans to hand back and refuses to take any.
bool Run::hasFoundNoFans() const {
    const auto& entries = daemon.tape.entries();
    return std::any_of(entries.begin(), entries.end(), [](const TapeEntry& entry) {
        return entry.isExchange() && entry.isFaulted && entry.smc.key() == "FNum";
    });
}

void Run::end(int handBacks) {
    if (!daemon.hasExited())
        expectHandBack(handBacks, [&] { daemon.signal(SIGTERM); });
    allocations_ = FailingMemory::endCounting();
    const auto time = daemon.now;
    expect(memoryFault_ || daemon.exchange.count() > before_, "there was no exchange that a fault could affect");
    expect(daemon.exitStatus == 0, "the exit status is not 0, or there was no exit");
    // If memory has run out, a reply may be lost, and the guard reports the exception.
    expect(memoryFault_ || daemon.wronglyAnswered() == 0, "a request was not replied to exactly once");
    expect(memoryFault_ || daemon.reportedFaults() == 0, "the service dropped a reply, replied twice or threw");
    expect(daemon.wronglyAcknowledged() == 0, "an announcement of sleep was not acknowledged exactly once");
    const double ownTime =
        time -
        (fault_ && fault_->kind == ExchangeFault::Kind::late ? daemon.exchange.count() * ExchangeFault::lateness : 0);
    expect(ownTime < 200, "it took " + std::to_string(time) + " s");
}

void Run::expect(bool isTrue, const std::string& otherwise) {
    if (!isTrue)
        broken_.push_back(otherwise);
}

} // namespace kelo
