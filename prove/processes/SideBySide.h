#pragma once

#include <functional>

namespace kelo {

/// Runs tries 0 to `tries` - 1 on the threads of `width` workers. Calls `makeWorker` on each thread with the worker's
/// number; the returned function performs a try. An exception ends its worker and is rethrown when all workers have
/// ended.
void sideBySide(int tries, int width, const std::function<std::function<void(int)>(int)>& makeWorker);

} // namespace kelo
