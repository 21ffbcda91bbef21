#include "prove/life/Coverage.h"

#include <algorithm>
#include <cctype>
#include <cstdio>

namespace kelo {
namespace {

constexpr const char* states[] = {"no hold", "engaged", "engaged, adding air", "yielded", "asleep", "awake again"};

/// Events that must occur. Other events are counted but not required.
///
/// Three log texts never occur here; separate tests cover them. A listener can always be created, since an unsigned
/// helper already covers a scenario without clients (HelperProcessTest.CanBeStoppedWithoutAListener). Signals can
/// always be watched, since a scenario without them might not end (HelperProcessTest.LogsSignalsThatCannotBeWatched).
/// The service reports a controller that it cannot reach as a Mac without fans
/// (FanControllerCreation.ThrowsSmcUnavailableWithoutTheService).
constexpr const char* expected[] = {
    "exchange: done",
    "exchange: failed",
    "exchange: refused",
    "[ERROR] listener: Couldn't find our own executable; an update won't replace this process until restart.",
    "[ERROR] listener: This helper isn't signed, so there is no one it can safely trust.",
    "[ERROR] service: No controllable fan on this Mac — the helper will refuse every request.",
    "[NOTICE] listener: Accepting only app.kelo.Kelo signed by ABCDE#",
    "[NOTICE] listener: Asked to stop.",
    "[NOTICE] listener: Listening on app.kelo.helper",
    "[NOTICE] listener: Our binary was deleted or moved. Handing the fan back and leaving for the new helper.",
    "[NOTICE] listener: Our binary was replaced on disk. Handing the fan back and leaving for the new helper.",
    "[NOTICE] service: A newer Kelo asked us to stand down.",
    "[NOTICE] service: Fan handed back to macOS after the client went away.",
    "[NOTICE] service: Handed the fan back on the way out.",
    "[NOTICE] service: Last client disconnected; handing the fan back shortly.",
    "[NOTICE] service: hold: addingAir(fraction: #)",
    "[NOTICE] service: hold: backToAsked",
    "[NOTICE] service: hold: engaged(fraction: #, neededUnlock: false)",
    "[NOTICE] service: hold: engaged(fraction: #, neededUnlock: true)",
    "[NOTICE] service: hold: engaged(fraction: nan, neededUnlock: false)",
    "[NOTICE] service: hold: reasserted",
    "[NOTICE] service: hold: released",
    "[NOTICE] service: hold: resumed",
    "[NOTICE] service: hold: sleeping",
    "[NOTICE] service: hold: woke",
    "[NOTICE] service: hold: yielded",
    "accepted",
    "allow #",
    "register for power",
    "no power domain",
    "a power message comes while the main thread is blocked",
    "lid?",
    "timer every # s",
    "cancel timer every # s",
    "timer in # s",
    "exit #",
    "reply #, handBack: none",
    "reply #, hold: none",
    "reply #, hold: Changing fan speed needs administrator rights. Run this with sudo.",
    "reply #, hold: The fan speed wasn't accepted (code #x#).",
    "reply #, hold: This Mac has no controllable fan.",
    ("reply #, hold: This Mac refused to hand over the fan (code #x#). It usually means the system is managing cooling "
     "itself right now."),
    "reply #, standDown: done",
    "reply #, version: #",
    "reply, snapshot: none",
    "reply, snapshot: \"fanCount\":0",
    "reply, snapshot: \"underKeloControl\":true",
    "reply, snapshot: \"underKeloControl\":false",
    "reply, snapshot: \"warmth\":\"cool\"",
    "reply, snapshot: \"warmth\":\"warm\"",
    "reply, snapshot: \"warmth\":\"hot\"",
    "reply, snapshot: \"chipCelsius\"",
    "reply, snapshot: \"addingAir\":true",
    "reply, snapshot: \"lidHasFan\":true",
};
constexpr std::string_view snapshotPrefix = "reply, snapshot: ";

bool isDigit(char c) { return std::isdigit(static_cast<unsigned char>(c)) != 0; }
bool continuesNumber(char c) { return isDigit(c) || c == '.' || c == 'e' || c == '-'; }

/// Replaces each number by #.
std::string withoutNumbers(const std::string& text) {
    std::string plain;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool isNegative = text[i] == '-' && i + 1 < text.size() && isDigit(text[i + 1]);
        if (!isDigit(text[i]) && !isNegative) {
            plain += text[i];
            continue;
        }
        while (i + 1 < text.size() && continuesNumber(text[i + 1]))
            ++i;
        plain += '#';
    }
    return plain;
}

/// Whether the event is the refusal of a hold. A refused hold may have logged that it raises the fans for a hot chip,
/// but never logs the end of that.
bool isRefusedHold(const std::string& event) {
    constexpr const char* refusals[] = {", hold: This Mac", ", hold: The fan speed", ", hold: Changing"};
    return std::any_of(std::begin(refusals), std::end(refusals),
                       [&event](const char* refusal) { return event.find(refusal) != std::string::npos; });
}

int printCounts(const char* title, const std::map<std::string, std::uint64_t>& counts) {
    std::printf("\n%s\n", title);
    int missing = 0;
    for (const auto& [text, count] : counts) {
        std::printf("%12llu  %s%s\n", static_cast<unsigned long long>(count), text.c_str(),
                    count == 0 ? "  <- never" : "");
        missing += count == 0 ? 1 : 0;
    }
    return missing;
}

} // namespace

Coverage::Coverage() {
    for (const auto* text : expected)
        events_[text] = 0;
    for (const auto* state : states)
        states_[state] = 0;
}

void Coverage::see(const Input& input, const std::vector<TapeEntry>& events) {
    ++inputs_[static_cast<std::size_t>(input.action)];
    ++states_[state_ == "engaged" && isAddingAir_ ? "engaged, adding air" : state_];
    for (const auto& entry : events)
        see(entry);
}

void Coverage::see(const TapeEntry& entry) {
    if (entry.isExchange()) {
        const auto& reply = entry.smc.reply;
        ++events_[!reply ? "exchange: failed" : reply->result == 0 ? "exchange: done" : "exchange: refused"];
        return;
    }
    follow(entry.event);
    if (entry.event.find(", snapshot: ") != std::string::npos)
        seeSnapshot(entry.event);
    else
        ++events_[withoutNumbers(entry.event)];
}

void Coverage::seeSnapshot(const std::string& reply) {
    for (const auto* text : expected)
        if (std::string_view(text).starts_with(snapshotPrefix) &&
            reply.find(text + snapshotPrefix.size()) != std::string::npos)
            ++events_[text];
}

/// Updates the state of the hold from a log line.
void Coverage::follow(const std::string& event) {
    const auto contains = [&event](const char* text) { return event.find(text) != std::string::npos; };
    if (contains("hold: engaged") || contains("hold: resumed"))
        state_ = "engaged";
    else if (contains("hold: yielded"))
        state_ = "yielded";
    else if (contains("hold: sleeping"))
        state_ = "asleep";
    else if (contains("hold: woke") && state_ == "asleep")
        state_ = "awake again";
    else if (contains("hold: released"))
        state_ = "no hold";
    if (contains("hold: addingAir"))
        isAddingAir_ = true;
    else if (contains("hold: backToAsked") || contains("hold: released") || isRefusedHold(event))
        isAddingAir_ = false;
}

int Coverage::print() const {
    std::map<std::string, std::uint64_t> inputs;
    for (int action = 0; action < Input::actions; ++action)
        inputs[Input::name(static_cast<Input::Action>(action))] = inputs_[static_cast<std::size_t>(action)];
    return printCounts("inputs", inputs) + printCounts("states in which inputs arrived", states_) +
           printCounts("events, with # for numbers", events_);
}

} // namespace kelo
