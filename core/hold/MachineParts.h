#pragma once

namespace kelo {

class Clamshell;
class Clock;
class MainQueue;
class PowerNotifications;
class Rights;
class SMCExchange;

/// The parts of the machine that the core uses. Borrowed from the platform or a test.
struct MachineParts {
    MainQueue& queue;
    SMCExchange& exchange;
    Clock& clock;
    Rights& rights;
    PowerNotifications& power;
    Clamshell& clamshell;
};

} // namespace kelo
