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

/// Creates the objects that the daemon needs while it runs, in the required order, and owns them.
class HelperProcess {
public:
    /// `platform` is borrowed and must outlive this object.
    explicit HelperProcess(const Platform& platform);
    HelperProcess(const HelperProcess&) = delete;
    HelperProcess& operator=(const HelperProcess&) = delete;
    ~HelperProcess();

    /// Creates all objects and starts listening. If a part is unavailable, the process continues in a reduced mode. If
    /// memory runs out, the process exits. Call it once, on the main thread, before the main loop runs.
    void start() noexcept;

private:
    HelperLog makeLog(const char* category);
    void makeService();
    void watchOwnBinary();
    void makeListener();
    void requireSignatureOfOurTeam();
    void handleStopSignals();
    void listenWhenStoppable();
    /// Logs the notice, hands the fan back and exits. This is the only way in which the process exits. A failing log
    /// does not prevent the hand-back.
    void leave(const char* notice) noexcept;

    const Platform& platform_;
    HelperLog log_;
    const Leave leave_; ///< Calls `leave`; passed to every object that may end the process.
    std::shared_ptr<HelperService> service_;
    std::shared_ptr<BinaryWatch> binary_; ///< Null if our executable could not be found.
    std::unique_ptr<ListenerDelegate> delegate_;
    std::unique_ptr<Listener> listener_;                       ///< Null if it could not be created.
    bool isTrusted_ = false;                                   ///< The listener requires our team's signature.
    std::vector<std::unique_ptr<SignalSource>> signalSources_; ///< Null where a source could not be created.
    std::size_t readySources_ = 0;
};

} // namespace kelo
