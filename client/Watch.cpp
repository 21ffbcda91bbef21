#include "client/Watch.h"

#include <utility>

#include "client/ExitStatus.h"
#include "client/LiveView.h"
#include "client/Readings.h"
#include "client/view/FanText.h"

namespace kelo {
namespace {

constexpr double refreshInterval = 1.0; // seconds
constexpr unsigned patience = 1;        // seconds; no reading is worth more to a user who wants to go

class Watcher {
public:
    Watcher(Connect connect, Terminal& terminal, commands::WatchForm form)
        : connect_(std::move(connect)), terminal_(terminal), form_(form),
          view_(terminal, isLive(), "Ctrl-C ends the view; the fan stays as it is.") {}

    void run() {
        terminal_.catchStops(patience, exit_status::done); // before anything is drawn
        look();
        while (view_.wait(refreshInterval))
            lookOrWait();
    }

private:
    bool isLive() const { return form_ == commands::WatchForm::live && terminal_.isInteractive(); }

    void look() {
        if (!helper_)
            helper_ = connect_();
        const auto json = fetchJSON(*helper_);
        const auto snapshot = decodedReading(json);
        view_.observe(snapshot);
        if (form_ == commands::WatchForm::json)
            terminal_.print(json + "\n");
        else if (!isLive())
            terminal_.print(summary(snapshot) + "\n");
    }

    void lookOrWait() {
        try {
            look();
        } catch (const HelperRefused& refused) {
            lack(refused.what());
        } catch (const HelperUnreachable& unreachable) {
            helper_.reset();
            lack(std::string(unreachable.what()) + " Waiting for it.");
        }
    }

    void lack(const std::string& reason) {
        if (view_.lack(reason).empty() || isLive())
            return;
        if (form_ == commands::WatchForm::json) // its lines are for programs
            terminal_.complain("kelo: " + reason + "\n");
        else
            terminal_.print(reason + "\n");
    }

    const Connect connect_;
    Terminal& terminal_;
    const commands::WatchForm form_;
    LiveView view_;
    std::unique_ptr<HelperConnection> helper_;
};

} // namespace

void commands::watch(const Connect& connect, Terminal& terminal, WatchForm form) {
    Watcher(connect, terminal, form).run();
}

} // namespace kelo
