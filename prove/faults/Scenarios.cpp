#include "prove/faults/Scenarios.h"

#include "protocol/KeloHelper.h"

namespace kelo {
namespace {

constexpr double tick = 2.0; // seconds

void startOnly(Run& run) {
    run.daemon.start();
    run.daemon.connect();
    run.daemon.pass(0);
}

void hold(Run& run, bool handsBackOnLidClose) {
    run.expectTaken([&] {
        run.daemon.hold(run.client, 0.5, handsBackOnLidClose);
        run.daemon.pass(0);
    });
}

void startAndHold(Run& run) {
    startOnly(run);
    hold(run, false);
    run.daemon.pass(tick / 2);
}

void startAndHoldWhileLidIsOpen(Run& run) {
    startOnly(run);
    hold(run, true);
    run.daemon.pass(tick / 2);
}

void startHoldAndSleep(Run& run) {
    startAndHold(run);
    run.daemon.announce(PowerMessage::systemWillSleep);
    run.daemon.pass(3 * tick);
}

void nothing(Run&) {}

/// Starts the daemon with a fan that an earlier helper left in manual mode, and asks for the first hold.
void start(Run& run) {
    run.interfere(0, true);
    startOnly(run);
    if (run.daemon.connectedClients().empty())
        return; // memory has run out: the daemon has exited or refused the client
    run.daemon.version(run.client);
    run.daemon.snapshot(run.client);
    run.expectHandBackIfRefused([&] { hold(run, false); });
    run.daemon.pass(tick / 2);
}

void quietTick(Run& run) {
    run.daemon.pass(tick);
    run.daemon.snapshot(run.client);
    run.daemon.pass(0);
}

void repair(Run& run) {
    run.interfere(run.machine.fans - 1, false);
    run.daemon.controller.setNumber("F0Tg", 1300);
    run.expectTaken([&] { run.daemon.pass(2 * tick); });
}

void addedAir(Run& run) {
    run.daemon.controller.setNumber("Tp09", 105);
    run.daemon.pass(2 * tick);
    run.daemon.controller.setNumber("Tp09", 40);
    run.daemon.pass(2 * tick);
}

void lid(Run& run) {
    run.daemon.clamshell.state = true;
    run.expectHandBack(1, [&] { run.daemon.pass(tick); });
    run.daemon.clamshell.state = false;
    run.expectTaken([&] { run.daemon.pass(tick); });
}

void sleep(Run& run) {
    run.daemon.announce(PowerMessage::canSystemSleep);
    run.expectHandBack(1, [&] { run.daemon.announce(PowerMessage::systemWillSleep); });
    run.daemon.pass(2 * tick);
}

void wake(Run& run) {
    run.expectTaken([&] { run.daemon.announce(PowerMessage::systemHasPoweredOn); });
    run.daemon.pass(tick);
}

void handBack(Run& run) {
    run.expectHandBackUnlessRefused(2, [&] {
        run.daemon.handBack(run.client);
        run.daemon.pass(0);
    });
}

void clientDeath(Run& run) {
    run.daemon.interrupt(run.client);
    run.daemon.invalidate(run.client);
    run.daemon.pass(KeloHelper::orphanGracePeriod - tick / 4); // earlier ticks must not count as hand-backs
    run.expectHandBack(2, [&] { run.daemon.pass(tick / 2); });
}

void replacement(Run& run) {
    run.daemon.platform.files.place(FileIdentity{1, 101});
    run.expectHandBack(2, [&] { run.daemon.platform.files.send(); });
}

void replacementUnnoticed(Run& run) {
    run.daemon.platform.files.place(FileIdentity{1, 101});
    run.daemon.connect();
    run.expectHandBack(2, [&] { run.daemon.pass(0); });
}

void standDown(Run& run) {
    run.daemon.standDown(run.client);
    run.expectHandBack(2, [&] { run.daemon.pass(1); });
}

} // namespace

const std::vector<Scenario>& Scenario::all() {
    static const std::vector<Scenario> scenarios = {
        {"start", nothing, start, 2},
        {"quiet tick", startAndHold, quietTick, 2},
        {"repair", startAndHold, repair, 2},
        {"added air", startAndHold, addedAir, 2},
        {"lid", startAndHoldWhileLidIsOpen, lid, 2},
        {"sleep", startAndHold, sleep, 2},
        {"wake", startHoldAndSleep, wake, 2},
        {"hand-back", startAndHold, handBack, 1},
        {"client death", startAndHold, clientDeath, 1},
        {"replacement", startAndHold, replacement, 2},
        {"unnoticed replacement", startAndHold, replacementUnnoticed, 2},
        {"SIGTERM", startAndHold, nothing, 2},
        {"stand-down", startAndHold, standDown, 2},
    };
    return scenarios;
}

} // namespace kelo
