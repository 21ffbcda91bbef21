#pragma once

#include <memory>
#include <vector>

#include "helper/HelperLog.h"
#include "helper/Leave.h"

namespace kelo {

class BinaryWatch;
class HelperService;
class Listener;
class ListenerDelegate;
struct Platform;
class SignalSource;

/// The few objects that live as long as the daemon's process, and the order in which they are made.
class HelperProcess {
public:
    /// `platform` is borrowed and outlives the process's objects.
    explicit HelperProcess(const Platform& platform);
    HelperProcess(const HelperProcess&) = delete;
    HelperProcess& operator=(const HelperProcess&) = delete;
    ~HelperProcess();

    /// Builds everything up to listening. Nothing that it finds missing ends the process: it goes on in a reduced mode.
    /// Without memory for that it leaves. Main thread, once, before the main loop runs.
    void start() noexcept;

private:
    HelperLog makeLog(const char* category);
    void makeService();
    void watchOwnBinary();
    void makeListener();
    bool requireSignatureOfOurTeam();
    void handleStopSignals();
    void listenWhenStoppable();
    /// The one way out of the process: notice, hand-back, exit. A failing log does not prevent the hand-back.
    void leave(const char* notice) noexcept;

    const Platform& platform_;
    HelperLog log_;
    const Leave leave_; ///< `leave`, for all who may end the process.
    std::shared_ptr<HelperService> service_;
    std::shared_ptr<BinaryWatch> binary_; ///< Null when our executable could not be found.
    std::unique_ptr<ListenerDelegate> delegate_;
    std::unique_ptr<Listener> listener_;                       ///< Null when it could not be made.
    bool isTrusted_ = false;                                   ///< The listener requires our team's signature.
    std::vector<std::unique_ptr<SignalSource>> signalSources_; ///< Null where one could not be made.
    std::size_t unreadySources_ = 0;
};

} // namespace kelo
