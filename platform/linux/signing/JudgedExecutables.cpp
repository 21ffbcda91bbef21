#include "platform/linux/signing/JudgedExecutables.h"

#include <ctime>

namespace kelo {
namespace {

bool isSameTime(const timespec& a, const timespec& b) { return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec; }

bool isSameFile(const struct stat& a, const struct stat& b) {
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino && a.st_size == b.st_size && isSameTime(a.st_mtim, b.st_mtim) &&
           isSameTime(a.st_ctim, b.st_ctim);
}

} // namespace

SignatureVerdict JudgedExecutables::judge(int executable) {
    struct stat before {};
    if (fstat(executable, &before) != 0)
        return verify_(executable);
    const std::lock_guard lock(mutex_);
    if (const auto* identity = find(before))
        return {*identity, {}};
    const bool wasSettled = isSettled(before);
    auto verdict = verify_(executable);
    struct stat after {};
    if (verdict.identity && wasSettled && fstat(executable, &after) == 0 && isSameFile(before, after)) {
        judged_.push_back({after, *verdict.identity});
        if (judged_.size() > capacity)
            judged_.pop_front();
    }
    return verdict;
}

const CodeIdentity* JudgedExecutables::find(const struct stat& file) const {
    for (const auto& [known, identity] : judged_)
        if (isSameFile(known, file))
            return &identity;
    return nullptr;
}

/// By the clock that the file system's times are taken from.
bool JudgedExecutables::isSettled(const struct stat& file) const {
    timespec now{};
    clock_gettime(CLOCK_REALTIME_COARSE, &now);
    return now.tv_sec - file.st_ctim.tv_sec >= settled_.count();
}

} // namespace kelo
