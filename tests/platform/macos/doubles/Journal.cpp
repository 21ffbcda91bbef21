#include "tests/platform/macos/doubles/Journal.h"

#include <sstream>
#include <utility>

namespace kelo::doubles {

void Journal::add(std::string entry) {
    const std::lock_guard lock(mutex_);
    entries_.push_back(std::move(entry));
}

std::vector<std::string> Journal::entries() const {
    const std::lock_guard lock(mutex_);
    return entries_;
}

std::vector<std::string> Journal::take() {
    const std::lock_guard lock(mutex_);
    std::vector<std::string> news(entries_.begin() + static_cast<std::ptrdiff_t>(taken_), entries_.end());
    taken_ = entries_.size();
    return news;
}

void Journal::created(const std::string& kind) {
    const std::lock_guard lock(mutex_);
    ++live_[kind];
}

void Journal::destroyed(const std::string& kind) {
    const std::lock_guard lock(mutex_);
    --live_[kind];
}

int Journal::live(const std::string& kind) const {
    const std::lock_guard lock(mutex_);
    const auto found = live_.find(kind);
    return found == live_.end() ? 0 : found->second;
}

std::vector<std::string> Journal::live() const {
    const std::lock_guard lock(mutex_);
    std::vector<std::string> held;
    for (const auto& [kind, count] : live_)
        if (count != 0)
            held.push_back(kind + ": " + std::to_string(count));
    return held;
}

void Journal::misuse(std::string what) {
    const std::lock_guard lock(mutex_);
    misuses_.push_back(std::move(what));
}

std::vector<std::string> Journal::misuses() const {
    const std::lock_guard lock(mutex_);
    return misuses_;
}

std::vector<std::string> Journal::takeMisuses() {
    const std::lock_guard lock(mutex_);
    return std::exchange(misuses_, {});
}

void Journal::reset() {
    const std::lock_guard lock(mutex_);
    entries_.clear();
    taken_ = 0;
    live_.clear();
    misuses_.clear();
}

Journal& journal() {
    static Journal theJournal;
    return theJournal;
}

std::string hex(unsigned long long value) {
    std::ostringstream text;
    text << "0x" << std::hex << value;
    return text.str();
}

} // namespace kelo::doubles
