#include "helper/HelperLog.h"

#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <utility>

#include "helper/LogOutput.h"

namespace kelo {
namespace {

/// The UTC time in ISO 8601 format, rounded down to whole seconds.
std::string timestamp(double wallClock) {
    using namespace std::chrono;
    const sys_seconds time{seconds(static_cast<std::int64_t>(std::floor(wallClock)))};
    const auto day = floor<days>(time);
    const year_month_day date{day};
    const hh_mm_ss clock{time - day};
    char text[64];
    std::snprintf(text, sizeof text, "%04d-%02u-%02uT%02d:%02d:%02dZ", static_cast<int>(date.year()),
                  static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                  static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
                  static_cast<int>(clock.seconds().count()));
    return text;
}

/// Ignores exceptions: a failing log must not prevent the hand-back, and a logging error cannot be reported anywhere
/// else.
template <typename Write>
void ignoringErrors(Write write) noexcept {
    try {
        write();
    } catch (...) { // NOLINT(bugprone-empty-catch)
    }
}

} // namespace

HelperLog::HelperLog(std::shared_ptr<SystemLog> logger, std::string category, LogOutput& output)
    : logger_(std::move(logger)), category_(std::move(category)), output_(&output) {}

void HelperLog::error(std::string_view message) const noexcept { log(LogLevel::error, "ERROR", message); }

void HelperLog::notice(std::string_view message) const noexcept { log(LogLevel::notice, "NOTICE", message); }

void HelperLog::log(LogLevel level, const char* word, std::string_view message) const noexcept {
    ignoringErrors([&] {
        if (logger_->isEnabled(level))
            logger_->write(level, std::string(message));
    });
    ignoringErrors([&] { echo(word, message); }); // even if the system's log drops messages of this level
}

void HelperLog::echo(const char* word, std::string_view message) const {
    auto line = timestamp(output_->wallClock()) + " [" + word + "] " + category_ + ": ";
    output_->writeStandardError(line.append(message).append("\n"));
}

} // namespace kelo
