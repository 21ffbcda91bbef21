#pragma once

#include <functional>

namespace kelo {

/// Does tries 0 to `tries` - 1, `width` of them at a time, each on the thread of one worker. `makeWorker` is called on
/// that thread with the worker's number and returns what does a try. What it throws ends the worker's part, and is
/// thrown on when all have ended.
void sideBySide(int tries, int width, const std::function<std::function<void(int)>(int)>& makeWorker);

} // namespace kelo
