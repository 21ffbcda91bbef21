#include "prove/processes/SideBySide.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <exception>
#include <mutex>
#include <thread>
#include <vector>

namespace kelo {

void sideBySide(int tries, int width, const std::function<std::function<void(int)>(int)>& makeWorker) {
    std::atomic<int> next = 0;
    std::mutex mutex;
    std::exception_ptr failure;
    const auto work = [&](int worker) {
        try {
            const auto doTry = makeWorker(worker);
            for (int i = next++; i < tries; i = next++)
                doTry(i);
        } catch (...) {
            const std::lock_guard lock(mutex);
            failure = std::current_exception();
        }
    };
    std::vector<std::thread> workers;
    const int count = std::min(width, tries);
    workers.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i)
        workers.emplace_back(work, i);
    for (auto& worker : workers)
        worker.join();
    if (failure)
        std::rethrow_exception(failure);
}

} // namespace kelo
