#include "tests/platform/macos/doubles/LogDouble.h"

#include <os/log.h>

#include <cstring>
#include <memory>
#include <mutex>
#include <string_view>

#include "tests/platform/macos/doubles/Journal.h"

struct os_log_s {
    std::string subsystem;
    std::string category;
};

namespace kelo::doubles {

namespace {

std::mutex mutex;
std::vector<std::unique_ptr<os_log_s>> logs; // never freed, like the platform's
std::vector<LogEntry> entries;
std::set<std::uint8_t> disabledTypes;

// The compiler's layout of a log buffer: a summary, the number of arguments, then a descriptor, a size and the bytes of
// each argument.
constexpr std::size_t headerSize = 2;
constexpr std::uint8_t publicFlag = 0x2;
constexpr std::uint8_t stringKind = 2;

/// Reads the next argument, which must be a string, and advances `argument`.
std::string stringArgument(const std::uint8_t*& argument) {
    const std::uint8_t descriptor = argument[0];
    const std::uint8_t size = argument[1];
    const char* text = nullptr;
    if (descriptor >> 4 != stringKind || size != sizeof text)
        return "<not a string>";
    std::memcpy(&text, argument + 2, sizeof text);
    argument += 2 + size;
    return (descriptor & publicFlag) != 0 ? text : "<private>";
}

std::string fillIn(std::string_view format, const std::uint8_t* buffer) {
    const std::uint8_t* argument = buffer + headerSize;
    std::string text;
    while (!format.empty()) {
        const auto percent = format.find('%');
        text += format.substr(0, percent);
        if (percent == std::string_view::npos)
            break;
        text += stringArgument(argument);
        format.remove_prefix(format.find('s', percent) + 1); // only strings are logged
    }
    return text;
}

} // namespace

std::vector<LogEntry> logEntries() {
    const std::lock_guard lock(mutex);
    return entries;
}

void setLogTypeEnabled(std::uint8_t type, bool isEnabled) {
    const std::lock_guard lock(mutex);
    if (isEnabled)
        disabledTypes.erase(type);
    else
        disabledTypes.insert(type);
}

void resetLog() {
    const std::lock_guard lock(mutex);
    entries.clear();
    disabledTypes.clear();
}

} // namespace kelo::doubles

using namespace kelo::doubles;

extern "C" {

os_log_t os_log_create(const char* subsystem, const char* category) {
    journal().add(std::string("os_log_create ") + subsystem + " " + category);
    const std::lock_guard lock(mutex);
    logs.push_back(std::make_unique<os_log_s>(os_log_s{subsystem, category}));
    return logs.back().get();
}

bool os_log_type_enabled(os_log_t, os_log_type_t type) {
    const std::lock_guard lock(mutex);
    return !disabledTypes.contains(type);
}

void _os_log_impl(void*, os_log_t log, os_log_type_t type, const char* format, uint8_t* buffer, uint32_t) {
    const std::lock_guard lock(mutex);
    entries.push_back({log->subsystem, log->category, type, fillIn(format, buffer)});
}

} // extern "C"
