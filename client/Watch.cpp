#include "client/Commands.h"

#include "client/LiveView.h"
#include "client/Readings.h"
#include "client/view/FanText.h"

namespace kelo::commands {
namespace {

class Watcher {
public:
    Watcher(const Surroundings& surroundings, Terminal& terminal, WatchForm form)
        : terminal_(terminal), form_(form), isDrawn_(form == WatchForm::live && terminal.isInteractive()),
          view_(surroundings, terminal, isDrawn_,
                {[] { return "kelo watch"; }, "q or Ctrl-C ends the view; the fans stay as they are"}, 0) {}

    void run(double interval) {
        terminal_.catchStopSignals();
        update();
        for (;;) {
            if (terminal_.stopSignal() == 0)
                view_.pause(interval);
            if (terminal_.stopSignal() != 0)
                return;
            updateOrReport();
        }
    }

private:
    void update() {
        const auto [json, snapshot] = fetchReading(view_.helper());
        view_.observe(snapshot);
        const auto time = terminal_.now().utc;
        if (form_ == WatchForm::json)
            terminal_.print("{\"time\":\"" + time + "\"," + json.substr(json.find('{') + 1) + "\n");
        else if (!isDrawn_)
            terminal_.print(time + "  " + summary(snapshot) + "\n");
    }

    void updateOrReport() {
        try {
            update();
        } catch (const HelperRefused& refused) {
            reportFailure(refused.what());
        } catch (const HelperUnreachable& unreachable) {
            reportFailure(std::string(unreachable.what()) + " Waiting for the helper.");
        }
    }

    void reportFailure(const std::string& reason) {
        if (terminal_.stopSignal() != 0 || view_.observeFailure(reason).empty() || isDrawn_)
            return;
        if (form_ == WatchForm::json) // programs read standard output
            terminal_.printError("kelo: " + visible(reason) + "\n");
        else
            terminal_.print(visible(reason) + "\n");
    }

    Terminal& terminal_;
    const WatchForm form_;
    const bool isDrawn_;
    LiveView view_;
};

} // namespace

void watch(const Surroundings& surroundings, Terminal& terminal, WatchForm form, double interval) {
    Watcher(surroundings, terminal, form).run(interval);
}

} // namespace kelo::commands
