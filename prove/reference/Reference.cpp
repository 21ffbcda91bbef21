#include "prove/reference/Reference.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <utility>

namespace kelo::reference {

namespace {

constexpr std::uint32_t typeFloat = 0x666C7420;
constexpr std::uint32_t typeByte = 0x75693820;
constexpr std::uint32_t typeWord = 0x75693136;
constexpr std::uint32_t typeFixed = 0x66706532;

constexpr std::uint8_t commandRead = 5;
constexpr std::uint8_t commandWrite = 6;
constexpr std::uint8_t commandKeyInfo = 9;

constexpr std::size_t offsetKey = 0;
constexpr std::size_t offsetSize = 28;
constexpr std::size_t offsetType = 32;
constexpr std::size_t offsetResult = 40;
constexpr std::size_t offsetCommand = 42;
constexpr std::size_t offsetBytes = 48;

constexpr std::int32_t statusNoKeyInfo = -2;
constexpr std::int32_t statusNoExchange = -3;

constexpr std::int64_t unlockNanoseconds = 4'000'000'000;
constexpr std::uint32_t retryMicroseconds = 100'000;

constexpr double repairSeconds = 2.0;
constexpr double orphanSeconds = 8.0;
constexpr double standDownSeconds = 0.3;
constexpr std::int64_t interfaceVersion = 6;
constexpr double driftRPM = 25.0;
constexpr double addingMargin = 0.001;
constexpr std::size_t smoothingWindow = 8;

constexpr std::uint32_t messageCanSleep = 0xE0000270;
constexpr std::uint32_t messageWillSleep = 0xE0000280;
constexpr std::uint32_t messagePoweredOn = 0xE0000300;

constexpr int signalInterrupt = 2;
constexpr int signalTerminate = 15;

const std::string serviceName = "app.kelo.helper";
const std::string appIdentifier = "app.kelo.Kelo";
const std::string listenerCategory = "listener";
const std::string serviceCategory = "service";

const std::string noFansText = "This Mac has no controllable fan.";
const std::string needsRootText = "Changing fan speed needs administrator rights. Run this with sudo.";

std::string modeRejectedText(std::int32_t code) {
    return "This Mac refused to hand over the fan (code 0x" + hexText(code) +
           "). It usually means the system is managing cooling itself right now.";
}

std::string targetRejectedText(std::int32_t code) {
    return "The fan speed wasn't accepted (code 0x" + hexText(code) + ").";
}

void put32(Record& record, std::size_t offset, std::uint32_t value) {
    std::memcpy(&record[offset], &value, sizeof value);
}

std::uint32_t get32(const Record& record, std::size_t offset) {
    std::uint32_t value = 0;
    std::memcpy(&value, &record[offset], sizeof value);
    return value;
}

Record request(const std::string& key, std::uint8_t command) {
    Record record{};
    std::uint32_t code = 0;
    for (std::size_t i = 0; i < 4; ++i) {
        code = code << 8U | static_cast<std::uint8_t>(key[i]); // whatever follows the fourth character is ignored
    }
    put32(record, offsetKey, code);
    record[offsetCommand] = command;
    return record;
}

std::string fanKey(int index, const char* suffix) { return "F" + std::to_string(index) + suffix; }

std::string boolText(bool value) { return value ? "true" : "false"; }

// 0 or less becomes 0 and above 1 becomes 1; a NaN stays.
double clampedFraction(double fraction) {
    if (fraction <= 0.0) {
        return 0.0;
    }
    return fraction > 1.0 ? 1.0 : fraction;
}

// Truncates and saturates, as the processor's own conversion does; NaN counts as 0.
std::int32_t saturated(float value) {
    if (std::isnan(value)) {
        return 0;
    }
    if (value >= 2147483648.0F) {
        return std::numeric_limits<std::int32_t>::max();
    }
    if (value <= -2147483648.0F) {
        return std::numeric_limits<std::int32_t>::min();
    }
    return static_cast<std::int32_t>(value);
}

// JSON has no text for NaN and infinities, so a record with one can't be sent.
bool canBeEncoded(const Snapshot& snapshot) {
    return std::isfinite(snapshot.currentRPM) && std::isfinite(snapshot.minRPM) && std::isfinite(snapshot.maxRPM) &&
           std::isfinite(snapshot.targetRPM) && std::isfinite(snapshot.chipCelsius.value_or(0.0));
}

} // namespace

// Pure arithmetic and texts.

double targetRPM(double minRPM, double maxRPM, double fraction) {
    if (!(minRPM < maxRPM)) {
        return minRPM;
    }
    return minRPM + (maxRPM - minRPM) * clampedFraction(fraction);
}

std::optional<double> smoothedCelsius(const std::vector<double>& readings) {
    if (readings.empty()) {
        return std::nullopt;
    }
    const std::size_t count = std::min(readings.size(), smoothingWindow);
    double sum = 0.0;
    for (std::size_t i = readings.size() - count; i < readings.size(); ++i) {
        sum += readings[i];
    }
    return sum / static_cast<double>(count);
}

double floorFraction(double chipCelsius) {
    struct Point {
        double celsius;
        double fraction;
    };
    constexpr std::array<Point, 3> curve{{{89.0, 0.04}, {96.0, 0.5}, {101.0, 1.0}}};
    if (!(chipCelsius > curve.front().celsius)) {
        return 0.0; // the first point's own fraction starts just above its temperature
    }
    if (!(chipCelsius < curve.back().celsius)) {
        return 1.0;
    }
    const Point& b = chipCelsius <= curve[1].celsius ? curve[1] : curve[2];
    const Point& a = chipCelsius <= curve[1].celsius ? curve[0] : curve[1];
    return a.fraction + (chipCelsius - a.celsius) / (b.celsius - a.celsius) * (b.fraction - a.fraction);
}

double raisedToFloor(double asked, std::optional<double> chipCelsius) {
    if (!chipCelsius) {
        return asked;
    }
    const double floor = floorFraction(*chipCelsius);
    return asked > floor ? asked : floor;
}

double easedFraction(double from, double to) {
    if (from <= to) {
        return to;
    }
    const double limit = from + (-0.02);
    return to <= limit ? limit : to;
}

bool mayHold(bool isSleeping, bool isLidClosed, bool handsBackOnLidClose) {
    return !isSleeping && !(isLidClosed && handsBackOnLidClose);
}

bool readsAsClosed(const LidProperty& property) {
    switch (property.kind) {
    case LidProperty::Kind::boolean:
        return property.boolean;
    case LidProperty::Kind::number:
        return property.number == 1.0; // only 0 and 1 convert to a boolean
    case LidProperty::Kind::noService:
    case LidProperty::Kind::absent:
    case LidProperty::Kind::other:
        break;
    }
    return false;
}

std::string warmthText(double celsius) {
    if (celsius < 60.0) {
        return "cool";
    }
    return celsius < 80.0 ? "warm" : "hot";
}

std::string hexText(std::int32_t code) {
    std::uint32_t magnitude = static_cast<std::uint32_t>(code);
    if (code < 0) {
        magnitude = 0U - magnitude;
    }
    std::string digits;
    do {
        digits.insert(digits.begin(), "0123456789ABCDEF"[magnitude % 16U]);
        magnitude /= 16U;
    } while (magnitude != 0U);
    return code < 0 ? "-" + digits : digits;
}

std::string doubleText(double value) {
    if (std::isnan(value)) {
        return "nan";
    }
    std::array<char, 64> buffer{};
    const bool isTiny = value != 0.0 && std::fabs(value) < 1e-4; // would be a long row of zeros
    const auto format = isTiny ? std::chars_format::scientific : std::chars_format::fixed;
    const auto end = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value, format).ptr;
    const std::string text(buffer.data(), end);
    return isTiny || text.find('.') != std::string::npos ? text : text + ".0";
}

std::string requirementText(const std::string& identifier, const std::string& team) {
    return "anchor apple generic and identifier \"" + identifier + "\" and certificate leaf[subject.OU] = \"" + team +
           "\"";
}

std::optional<std::string> teamOf(const SigningInformation& information) {
    if (information.selfStatus != 0 || !information.hasSelf) {
        return std::nullopt;
    }
    if (information.staticStatus != 0 || !information.hasStatic) {
        return std::nullopt;
    }
    if (information.infoStatus != 0 || !information.isDictionary) {
        return std::nullopt;
    }
    if (information.team != SigningInformation::Team::text) {
        return std::nullopt;
    }
    return information.teamText;
}

// Start-up.

Daemon::Daemon(World& outside) : world(outside) {}

void Daemon::start() {
    startService();
    startBinaryWatch();
    startListener();
}

void Daemon::startService() {
    openFans();
    if (fanCount == 0) {
        world.log(serviceCategory, Level::error,
                  "No controllable fan on this Mac \u2014 the helper will refuse every request.");
    }
}

void Daemon::startBinaryWatch() {
    binaryPath = world.ownExecutable();
    if (!binaryPath) {
        world.log(listenerCategory, Level::error,
                  "Couldn't find our own executable; an update won't replace this process until restart.");
        return;
    }
    binaryIdentity = world.identify(*binaryPath);
    isBinaryWatched = world.watch(*binaryPath);
}

void Daemon::startListener() {
    world.createListener(serviceName);
    const std::optional<std::string> team = teamOf(world.signingInformation());
    if (team) {
        world.setRequirement(requirementText(appIdentifier, *team));
        world.log(listenerCategory, Level::notice, "Accepting only " + appIdentifier + " signed by " + *team + ".");
    } else {
        world.log(listenerCategory, Level::error, "This helper isn't signed, so there is no one it can safely trust.");
    }
    for (const int number : {signalTerminate, signalInterrupt}) {
        world.ignoreSignal(number);
        world.makeSignalSource(number);
    }
    if (team) {
        world.resumeListener();
        isListening = true;
        world.log(listenerCategory, Level::notice, "Listening on " + serviceName);
    }
}

// The main queue.

void Daemon::onMain(std::function<void()> work) {
    mainQueue.push_back(std::move(work));
    drainMainQueue();
}

void Daemon::drainMainQueue() {
    if (isMainBusy || isMainPaused) {
        return;
    }
    isMainBusy = true;
    while (!mainQueue.empty() && !isGone && !isMainPaused) {
        const std::function<void()> work = std::move(mainQueue.front());
        mainQueue.pop_front();
        work();
    }
    isMainBusy = false;
}

void Daemon::pauseMainQueue() { isMainPaused = true; }

void Daemon::resumeMainQueue() {
    isMainPaused = false;
    drainMainQueue();
}

bool Daemon::hasExited() const { return isGone; }

// Connections.

bool Daemon::isBinaryCurrent() {
    // A file that could not be identified at the start counts as current for ever.
    return !binaryPath || !binaryIdentity || world.identify(*binaryPath) == binaryIdentity;
}

void Daemon::connectionArrived(ConnectionId connection) {
    if (isGone || !isListening) {
        return;
    }
    if (!isBinaryCurrent()) {
        world.refuseConnection(connection);
        onMain([this] {
            leaveAfter("Our binary was replaced on disk. Handing the fan back and leaving for the new helper.");
        });
        return;
    }
    world.acceptConnection(connection);
    onMain([this] { clientArrived(); });
}

void Daemon::connectionInterrupted(ConnectionId) {
    if (!isGone) {
        onMain([this] { clientWentAway(); });
    }
}

void Daemon::connectionInvalidated(ConnectionId) {
    if (!isGone) {
        onMain([this] { clientWentAway(); });
    }
}

// Requests.

void Daemon::helperVersion(ConnectionId, RequestId request) {
    if (!isGone) {
        world.replyVersion(request, interfaceVersion);
    }
}

void Daemon::fetchSnapshot(ConnectionId, RequestId request) {
    if (isGone) {
        return;
    }
    onMain([this, request] {
        if (fanCount == 0) {
            world.replySnapshot(request, std::nullopt);
            return;
        }
        const Snapshot snapshot = takeSnapshot();
        world.replySnapshot(request, canBeEncoded(snapshot) ? std::optional<Snapshot>(snapshot) : std::nullopt);
    });
}

void Daemon::hold(ConnectionId, RequestId request, double fraction, bool handsBackOnLidClose) {
    if (!isGone) {
        onMain([this, request, fraction, handsBackOnLidClose] { holdOnMain(request, fraction, handsBackOnLidClose); });
    }
}

void Daemon::handBack(ConnectionId, RequestId request) {
    if (!isGone) {
        onMain([this, request] { handBackOnMain(request); });
    }
}

void Daemon::standDown(ConnectionId, RequestId request) {
    if (isGone) {
        return;
    }
    world.log(serviceCategory, Level::notice, "A newer Kelo asked us to stand down.");
    world.replyEmpty(request);
    world.armTimer(Timer::standDown, standDownSeconds, false);
}

Snapshot Daemon::takeSnapshot() {
    const std::vector<Fan> all = fans();
    Snapshot snapshot;
    if (!all.empty()) {
        const Fan* fastest = &all.front();
        for (const Fan& fan : all) {
            if (fastest->currentRPM < fan.currentRPM) {
                fastest = &fan;
            }
            snapshot.underKeloControl = snapshot.underKeloControl || fan.isManual;
        }
        snapshot.fanCount = static_cast<std::int64_t>(all.size());
        snapshot.currentRPM = fastest->currentRPM;
        snapshot.minRPM = fastest->minRPM;
        snapshot.maxRPM = fastest->maxRPM;
        snapshot.targetRPM = fastest->targetRPM;
        snapshot.addingAir = session && session->isAddingAir;
        snapshot.lidHasFan = session && session->isHolding && !session->isEngaged && !session->isSleeping;
    }
    snapshot.warmth = warmth();
    snapshot.chipCelsius = chipTemperature();
    return snapshot;
}

void Daemon::holdOnMain(RequestId request, double fraction, bool handsBackOnLidClose) {
    if (fanCount == 0) {
        world.replyError(request, noFansText);
        return;
    }
    if (session) {
        stopHold(*session);
    }
    Hold fresh;
    fresh.asked = clampedFraction(fraction);
    fresh.handsBackOnLidClose = handsBackOnLidClose;
    session = fresh;
    const Refusal refusal = startHold(*session);
    if (refusal) {
        restoreAuto(); // nobody would watch the fans that it has already switched
        session.reset();
    }
    world.replyError(request, refusal);
}

void Daemon::handBackOnMain(RequestId request) {
    endSession();
    world.replyError(request, std::nullopt);
}

// Clients and leaving.

void Daemon::endSession() {
    if (session) {
        stopHold(*session);
    }
    session.reset();
    if (fanCount != 0) {
        restoreAuto();
    }
}

void Daemon::clientArrived() {
    clients += 1;
    if (hasOrphanTimer) {
        world.cancelTimer(Timer::orphan);
    }
    hasOrphanTimer = false;
}

void Daemon::clientWentAway() {
    const std::int64_t left = clients - 1;
    clients = std::max<std::int64_t>(left, 0);
    if (left > 0 || !session) {
        return;
    }
    world.log(serviceCategory, Level::notice, "Last client disconnected; handing the fan back shortly.");
    if (hasOrphanTimer) {
        world.cancelTimer(Timer::orphan);
    }
    world.armTimer(Timer::orphan, orphanSeconds, false);
    hasOrphanTimer = true;
}

void Daemon::orphanTimerFired() {
    if (clients != 0) {
        return;
    }
    endSession();
    world.log(serviceCategory, Level::notice, "Fan handed back to macOS after the client went away.");
}

void Daemon::shutdownNow() {
    endSession();
    world.log(serviceCategory, Level::notice, "Handed the fan back on the way out.");
}

void Daemon::leave() {
    shutdownNow();
    isGone = true; // first, since ending the process may not return
    world.exit(0);
}

void Daemon::leaveAfter(const std::string& notice) {
    world.log(listenerCategory, Level::notice, notice);
    leave();
}

// Timers, power, file events and signals.

void Daemon::timerFired(Timer which) {
    if (isGone) {
        return;
    }
    onMain([this, which] {
        switch (which) {
        case Timer::repair:
            if (session) {
                reassertIfNeeded(*session);
            }
            break;
        case Timer::orphan:
            orphanTimerFired();
            break;
        case Timer::standDown:
            leave();
            break;
        }
    });
}

void Daemon::powerMessage(std::uint32_t type, std::intptr_t id) {
    if (isGone) {
        return;
    }
    onMain([this, type, id] {
        if (!session || !session->isRegisteredForPower) {
            return;
        }
        if (type == messageCanSleep) {
            world.allowPowerChange(id);
        } else if (type == messageWillSleep) {
            willSleep(*session);
            world.allowPowerChange(id);
        } else if (type == messagePoweredOn) {
            didWake(*session);
        }
    });
}

void Daemon::fileEvent() {
    if (isGone) {
        return;
    }
    onMain([this] {
        if (!isBinaryWatched || !binaryIdentity || isBinaryCurrent()) {
            return;
        }
        world.cancelFileWatch();
        isBinaryWatched = false;
        leaveAfter("Our binary was deleted or moved. Handing the fan back and leaving for the new helper.");
    });
}

void Daemon::signal(int number) {
    if (isGone || (number != signalTerminate && number != signalInterrupt)) {
        return;
    }
    onMain([this] { leaveAfter("Asked to stop."); });
}

// Key client.

std::optional<Daemon::KeyInfo> Daemon::keyInfo(const std::string& key) {
    const Record in = request(key, commandKeyInfo);
    Record out{};
    if (!world.exchange(smcConnection, in, out) || out[offsetResult] != 0) {
        return std::nullopt;
    }
    return KeyInfo{get32(out, offsetSize), get32(out, offsetType)};
}

std::optional<std::array<std::uint8_t, 32>> Daemon::readValue(const std::string& key, KeyInfo& info) {
    const std::optional<KeyInfo> found = keyInfo(key);
    if (!found) {
        return std::nullopt;
    }
    info = *found;
    Record in = request(key, commandRead);
    put32(in, offsetSize, info.size);
    Record out{};
    if (!world.exchange(smcConnection, in, out) || out[offsetResult] != 0) {
        return std::nullopt;
    }
    std::array<std::uint8_t, 32> value{};
    std::memcpy(value.data(), &out[offsetBytes], value.size());
    return value;
}

std::optional<std::uint8_t> Daemon::readByte(const std::string& key) {
    KeyInfo info;
    const auto value = readValue(key, info);
    return value ? std::optional<std::uint8_t>((*value)[0]) : std::nullopt;
}

std::optional<double> Daemon::readFloat(const std::string& key) {
    KeyInfo info;
    const auto value = readValue(key, info);
    if (!value) {
        return std::nullopt;
    }
    const auto word = static_cast<std::uint16_t>((*value)[0] << 8 | (*value)[1]);
    if (info.type == typeFloat && info.size == 4) {
        float result = 0.0F;
        std::memcpy(&result, value->data(), sizeof result);
        return static_cast<double>(result);
    }
    if (info.type == typeByte) {
        return (*value)[0];
    }
    if (info.type == typeWord) {
        return word;
    }
    if (info.type == typeFixed) {
        return word >> 2; // the fraction bits are dropped
    }
    return std::nullopt;
}

std::int32_t Daemon::writeValue(const std::string& key, const std::array<std::uint8_t, 32>& value, std::uint32_t size) {
    Record in = request(key, commandWrite);
    put32(in, offsetSize, size); // announced as given, even beyond the 32 bytes there are
    std::memcpy(&in[offsetBytes], value.data(), std::min<std::size_t>(size, value.size()));
    Record out{};
    if (!world.exchange(smcConnection, in, out)) {
        return statusNoExchange;
    }
    return out[offsetResult];
}

std::int32_t Daemon::writeByte(const std::string& key, std::uint8_t value) {
    const std::optional<KeyInfo> info = keyInfo(key);
    if (!info) {
        return statusNoKeyInfo;
    }
    return writeValue(key, {value}, std::max<std::uint32_t>(info->size, 1));
}

std::int32_t Daemon::writeFloat(const std::string& key, float value) {
    const std::optional<KeyInfo> info = keyInfo(key);
    if (!info) {
        return statusNoKeyInfo;
    }
    std::array<std::uint8_t, 32> buffer{};
    if (info->type == typeFixed) {
        const auto bits = static_cast<std::uint32_t>(saturated(value * 4.0F));
        buffer[0] = static_cast<std::uint8_t>(bits >> 8U & 0xFFU);
        buffer[1] = static_cast<std::uint8_t>(bits & 0xFFU);
        return writeValue(key, buffer, 2);
    }
    std::memcpy(buffer.data(), &value, sizeof value);
    return writeValue(key, buffer, 4);
}

// Fans and sensors.

void Daemon::openFans() {
    smcConnection = world.openController();
    if (smcConnection == 0) {
        return;
    }
    fanCount = readByte("FNum").value_or(0);
    if (fanCount == 0) {
        world.closeController(smcConnection);
        smcConnection = 0;
    }
}

std::vector<Daemon::Fan> Daemon::fans() {
    std::vector<Fan> usable;
    for (int index = 0; index < fanCount; ++index) {
        if (const std::optional<Fan> fan = readFan(index)) {
            usable.push_back(*fan);
        }
    }
    return usable;
}

std::optional<Daemon::Fan> Daemon::readFan(int index) {
    const std::optional<double> current = readFloat(fanKey(index, "Ac"));
    if (!current) {
        return std::nullopt;
    }
    const std::optional<double> min = readFloat(fanKey(index, "Mn"));
    if (!min) {
        return std::nullopt;
    }
    const std::optional<double> max = readFloat(fanKey(index, "Mx"));
    if (!max || !(*min < *max)) {
        return std::nullopt;
    }
    const bool isManual = readByte(fanKey(index, "Md")).value_or(0) != 0;
    const double target = readFloat(fanKey(index, "Tg")).value_or(*current);
    return Fan{index, *min, *max, *current, target, isManual};
}

std::optional<double> Daemon::chipTemperature() {
    for (const char* key : {"Tp09", "Tp0T"}) {
        if (const std::optional<double> celsius = readFloat(key)) {
            return *celsius;
        }
    }
    return std::nullopt;
}

std::string Daemon::warmth() {
    const std::optional<double> celsius = chipTemperature();
    return celsius ? warmthText(*celsius) : "cool";
}

Daemon::Refusal Daemon::engageManual(int index, bool& neededUnlock) {
    neededUnlock = false;
    if (!world.isRoot()) {
        return needsRootText;
    }
    const std::string mode = fanKey(index, "Md");
    if (writeByte(mode, 1) == 0) {
        return std::nullopt;
    }
    writeByte("Ftst", 1); // refused or not, the retries below decide
    const std::int64_t deadline = world.nowNanoseconds() + unlockNanoseconds;
    std::int32_t lastCode = 0;
    while (world.nowNanoseconds() < deadline) {
        lastCode = writeByte(mode, 1);
        if (lastCode == 0) {
            neededUnlock = true;
            return std::nullopt;
        }
        world.sleepMicroseconds(retryMicroseconds);
    }
    return modeRejectedText(lastCode); // the unlock switch stays on; handing back clears it
}

Daemon::Refusal Daemon::setTarget(int index, double rpm) {
    if (!world.isRoot()) {
        return needsRootText;
    }
    const std::optional<double> min = readFloat(fanKey(index, "Mn"));
    if (!min) {
        return noFansText;
    }
    const std::optional<double> max = readFloat(fanKey(index, "Mx"));
    if (!max || !(*min < *max)) {
        return noFansText;
    }
    double clamped = rpm;
    if (clamped <= *min) {
        clamped = *min;
    }
    if (clamped > *max) {
        clamped = *max;
    }
    const std::int32_t status = writeFloat(fanKey(index, "Tg"), static_cast<float>(clamped));
    return status == 0 ? Refusal() : targetRejectedText(status);
}

void Daemon::restoreAuto() {
    for (int index = 0; index < std::max(fanCount, 1); ++index) {
        writeByte(fanKey(index, "Md"), 0); // whatever comes of it, the others are tried too
    }
    writeByte("Ftst", 0);
}

// The hold.

void Daemon::emit(const std::string& event) { world.log(serviceCategory, Level::notice, "hold: " + event); }

bool Daemon::gateIsOpen(const Hold& hold) {
    const bool isLidClosed = readsAsClosed(world.lidProperty()); // asked even when sleep alone decides
    return mayHold(hold.isSleeping, isLidClosed, hold.handsBackOnLidClose);
}

Daemon::Refusal Daemon::startHold(Hold& hold) {
    hold.isHolding = true;
    if (gateIsOpen(hold)) {
        bool neededUnlock = false;
        if (const Refusal refusal = engage(hold, neededUnlock)) {
            return refusal;
        }
        hold.isEngaged = true;
        emit("engaged(fraction: " + doubleText(hold.asked) + ", neededUnlock: " + boolText(neededUnlock) + ")");
    } else {
        emit("yielded");
    }
    hold.isRegisteredForPower = world.registerForPower(); // without it the hold runs on, deaf to sleep
    world.armTimer(Timer::repair, repairSeconds, true);
    hold.isTimerArmed = true;
    return std::nullopt;
}

void Daemon::stopHold(Hold& hold) {
    if (!hold.isHolding) {
        return;
    }
    hold.isHolding = false;
    hold.isEngaged = false;
    if (hold.isTimerArmed) {
        world.cancelTimer(Timer::repair);
        hold.isTimerArmed = false;
    }
    if (hold.isRegisteredForPower) {
        world.deregisterPower();
        hold.isRegisteredForPower = false;
    }
    restoreAuto();
    emit("released");
}

Daemon::Refusal Daemon::engage(Hold& hold, bool& neededUnlock) {
    const double fraction = heldFraction(hold);
    neededUnlock = false;
    for (const Fan& fan : fans()) {
        bool usedUnlock = false;
        if (const Refusal refusal = engageManual(fan.index, usedUnlock)) {
            return refusal;
        }
        if (const Refusal refusal = setTarget(fan.index, targetRPM(fan.minRPM, fan.maxRPM, fraction))) {
            return refusal;
        }
        neededUnlock = neededUnlock || usedUnlock;
    }
    return std::nullopt;
}

// One evaluation, which is also one step of easing: every call counts.
double Daemon::heldFraction(Hold& hold) {
    if (const std::optional<double> celsius = chipTemperature()) {
        hold.chipReadings.push_back(*celsius);
        if (hold.chipReadings.size() > smoothingWindow) {
            hold.chipReadings.erase(hold.chipReadings.begin());
        }
    }
    const double candidate = raisedToFloor(hold.asked, smoothedCelsius(hold.chipReadings));
    hold.floor = easedFraction(hold.floor, candidate);
    const double held = hold.asked > hold.floor ? hold.asked : hold.floor;
    const bool isAdding = hold.asked + addingMargin < held;
    if (isAdding != hold.isAddingAir) {
        hold.isAddingAir = isAdding;
        emit(isAdding ? "addingAir(fraction: " + doubleText(held) + ")" : "backToAsked");
    }
    return held;
}

// Brings the fans in line with the gate; true when they are held afterwards.
bool Daemon::follow(Hold& hold) {
    if (!hold.isHolding) {
        return false;
    }
    if (!gateIsOpen(hold)) {
        if (hold.isEngaged) {
            hold.isEngaged = false;
            restoreAuto();
            emit("yielded");
        }
        return false;
    }
    if (!hold.isEngaged) {
        bool neededUnlock = false;
        if (engage(hold, neededUnlock)) {
            return false; // in silence; the next tick tries again
        }
        hold.isEngaged = true;
        emit("resumed");
    }
    return true;
}

bool Daemon::hasDrift(double fraction) {
    for (const Fan& fan : fans()) {
        if (std::fabs(fan.targetRPM - targetRPM(fan.minRPM, fan.maxRPM, fraction)) > driftRPM) {
            return true;
        }
    }
    return false;
}

void Daemon::reassertIfNeeded(Hold& hold) {
    if (!hold.isHolding || !follow(hold)) {
        return;
    }
    bool allManual = true;
    for (const Fan& fan : fans()) {
        allManual = allManual && fan.isManual;
    }
    const double fraction = heldFraction(hold);
    if (!hasDrift(fraction) && allManual) {
        return;
    }
    bool neededUnlock = false;
    engage(hold, neededUnlock); // a failure is tried again at the next tick
    if (!allManual) {
        emit("reasserted");
    }
}

void Daemon::willSleep(Hold& hold) {
    if (!hold.isHolding) {
        return;
    }
    hold.isEngaged = false;
    hold.isSleeping = true;
    restoreAuto();
    emit("sleeping");
}

void Daemon::didWake(Hold& hold) {
    if (!hold.isHolding) {
        return;
    }
    hold.isSleeping = false;
    emit("woke");
    follow(hold);
}

} // namespace kelo::reference
