#pragma once

namespace kelo {

class Clamshell;
class Clock;
class MainQueue;
class PowerNotifications;
class Rights;
class SMCExchange;

/// What the core needs of the machine that it runs on. Borrowed: the platform, or a test, owns the parts.
struct MachineParts {
    MainQueue& queue;
    SMCExchange& exchange;
    Clock& clock;
    Rights& rights;
    PowerNotifications& power;
    Clamshell& clamshell;
};

} // namespace kelo
