#include "core/watch/BinaryWatch.h"

#include <utility>

namespace kelo {

std::optional<std::string> BinaryWatch::ownExecutable(FileEvents& events) { return events.ownExecutable(); }

BinaryWatch::BinaryWatch(std::string path, FileEvents& events, std::function<void()> onReplaced)
    : path_(std::move(path)), events_(events), identity_(events.identify(path_)), onReplaced_(std::move(onReplaced)),
      // The watch owns the source and both stay on the main thread, so no event arrives after the watch is destroyed.
      source_(events.watch(path_, [this] { check(); })) {}

BinaryWatch::~BinaryWatch() = default;

bool BinaryWatch::isCurrent() const { return !identity_ || events_.identify(path_) == identity_; }

void BinaryWatch::check() {
    if (isReplaced_ || isCurrent())
        return;
    isReplaced_ = true;
    if (source_)
        source_->cancel();
    onReplaced_();
}

} // namespace kelo
