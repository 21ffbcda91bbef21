#include "client/PatientConnection.h"

#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <future>
#include <system_error>
#include <thread>
#include <utility>

#include "platform/posix/FileDescriptor.h"

namespace kelo {
namespace {

constexpr double firstNotice = 2; // seconds
constexpr double noticeInterval = 1;

/// Runs `work`, which must own everything that it uses, on a separate thread. Returns a descriptor that becomes
/// readable when the work is done. Throws `std::system_error` if the system has run out of a resource.
FileDescriptor start(std::packaged_task<void()> work) {
    std::array<int, 2> ends{};
    if (pipe(ends.data()) != 0)
        throw std::system_error(errno, std::generic_category(), "pipe");
    FileDescriptor done(ends[0]);
    FileDescriptor writing(ends[1]);
    // Blocks signals in the new thread: they must reach the main thread, whose waits they end.
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, &before);
    std::thread([work = std::move(work), writing = std::move(writing)]() mutable {
        // Destroys the work before `writing`: the work must release the connection and everything else that it owns
        // before the caller learns that the work is done.
        std::exchange(work, {})();
    }).detach();
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return done;
}

} // namespace

PatientConnection::PatientConnection(Connect connect, Terminal& terminal, Patience patience)
    : connect_(std::move(connect)), terminal_(terminal), patience_(std::move(patience)) {}

void PatientConnection::perform(const requests::AnyCall& call) {
    std::visit([this](const auto& made) { made.reply(answerTo(made.request)); }, call);
}

template <typename Request>
typename Request::Answer PatientConnection::answerTo(const Request& request) {
    std::packaged_task<typename Request::Answer()> task([shared = shared_, connect = connect_, request] {
        if (!shared->helper)
            shared->helper = connect();
        return shared->helper->ask(request);
    });
    auto answer = task.get_future();
    try {
        const auto done = start(std::packaged_task<void()>([task = std::move(task)]() mutable { task(); }));
        await(done.get());
        return answer.get();
    } catch (...) { // the thread may still use the connection
        shared_ = std::make_shared<Shared>();
        throw;
    }
}

void PatientConnection::await(int answer) {
    const double begin = terminal_.now().seconds;
    double nextNotice = firstNotice;
    for (;;) {
        const double waited = terminal_.now().seconds - begin;
        const double limit =
            stoppedAt_ ? std::max(*stoppedAt_ - begin, 0.0) + patience_.limitAfterStop : patience_.limit;
        if (waited >= limit)
            throw HelperSilent("The helper does not answer.");
        if (waited >= nextNotice) {
            if (nextNotice == firstNotice)
                patience_.onSilence();
            patience_.onChange();
            nextNotice = waited + noticeInterval;
        }
        switch (terminal_.waitForAnswer(answer, std::min(limit, nextNotice) - waited)) {
        case Woken::byAnswer:
            return;
        case Woken::byStop:
            stoppedAt_ = stoppedAt_.value_or(terminal_.now().seconds);
            break;
        case Woken::byResize:
            patience_.onChange();
            break;
        case Woken::byTime:
            break;
        }
    }
}

} // namespace kelo
