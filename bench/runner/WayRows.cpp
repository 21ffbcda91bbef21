#include <algorithm>
#include <chrono>
#include <csignal>

#include "bench/limits/BareMac.h"
#include "bench/runner/Rows.h"

namespace kelo::bench {
namespace {

using Clock = std::chrono::steady_clock;

double microsecondsSince(Clock::time_point start) {
    return std::chrono::duration<double, std::micro>(Clock::now() - start).count();
}

/// From exec to the line on standard error that contains `text`.
double startOf(const std::vector<std::string>& command, const std::string& text) {
    const auto start = Clock::now();
    PipedProcess process(command);
    std::string line;
    do {
        line = process.readErrorLine();
        if (line.empty())
            throw std::runtime_error(command[0] + " does not say \"" + text + "\"");
    } while (line.find(text) == std::string::npos);
    return microsecondsSince(start);
}

} // namespace

void measureStart(const Scene& scene, Figures& figures) {
    const auto world = scene.startMac();
    std::vector<double> helper;
    std::vector<double> limit;
    for (int i = 0; i < scene.count(200, 20); ++i) {
        helper.push_back(startOf({scene.helper()}, "Listening on"));
        limit.push_back(startOf({scene.program("bench_empty")}, "main"));
    }
    figures.compare("start.p50", median(helper) / 1000, median(limit) / 1000, "ms", 1.5);
    figures.add("start.p99", percentile99(helper) / 1000, "ms");
}

namespace {

/// What the simulated Mac notes of the writes to its controller, by our clock.
class WriteLog {
public:
    explicit WriteLog(const Scene& scene) : link_(scene.linkToMac()) {
        // A write of our own shows what the Mac's clock says now.
        BareMac(scene.openMacFolder().get()).exchange("Ftst", SMCCommand::writeBytes, 1);
        markedAt_ = Clock::now();
        mark_ = secondsOfLastWrite("Ftst");
    }

    /// From `start` to the last write to a key of that ending; microseconds.
    double lastWriteSince(Clock::time_point start, const std::string& keyEnding) const {
        return (secondsOfLastWrite(keyEnding) - mark_) * 1e6 -
               std::chrono::duration<double, std::micro>(start - markedAt_).count();
    }

private:
    double secondsOfLastWrite(const std::string& keyEnding) const {
        double seconds = 0;
        for (const auto& write : link_->call(hardware_calls::Show{}).writes)
            if (write.key.ends_with(keyEnding))
                seconds = write.time;
        return seconds;
    }

    std::unique_ptr<HardwareLink> link_;
    Clock::time_point markedAt_;
    double mark_ = 0;
};

struct Ends {
    std::vector<double> fans; ///< Microseconds from SIGTERM to the last fan's being automatic.
    std::vector<double> exit; ///< Microseconds from SIGTERM to the end of the process.
};

void waitForLine(PipedProcess& process, const std::string& text) {
    for (auto line = process.readErrorLine(); line.find(text) == std::string::npos; line = process.readErrorLine())
        if (line.empty())
            throw std::runtime_error("the helper does not say \"" + text + "\"");
}

/// A helper, and a client of its that holds the fans if asked to.
struct Session {
    Session(const Scene& scene, bool isHolding) : helper({scene.helper()}) {
        waitForLine(helper, "Listening on");
        if (!isHolding)
            return;
        client = scene.hold();
        waitForLine(helper, "engaged");
    }

    PipedProcess helper;
    std::unique_ptr<PipedProcess> client;
};

void endOnce(const Scene& scene, const WriteLog& log, bool isHolding, Ends& ends) {
    Session session(scene, isHolding);
    const auto start = Clock::now();
    kill(session.helper.pid(), SIGTERM);
    session.helper.wait();
    ends.exit.push_back(microsecondsSince(start));
    ends.fans.push_back(log.lastWriteSince(start, "Md"));
}

/// From SIGTERM to the end of a program that does nothing and watches as many files; so many times, microseconds.
std::vector<double> bareEnds(const Scene& scene, int count) {
    std::vector<double> times;
    for (int i = 0; i < count; ++i) {
        PipedProcess empty({scene.program("bench_empty"), "watch"});
        waitForLine(empty, "main");
        const auto start = Clock::now();
        kill(empty.pid(), SIGTERM);
        empty.wait();
        times.push_back(microsecondsSince(start));
    }
    return times;
}

/// From the announcement that the Mac will sleep to its last acknowledgement, so many times; microseconds.
std::vector<double> acknowledgements(const Scene& scene, int count) {
    Session session(scene, true);
    const auto link = scene.linkToMac();
    std::vector<double> times;
    for (int i = 0; i < count; ++i) {
        times.push_back(link->call(hardware_calls::Sleep{.now = true}).seconds * 1e6);
        link->call(hardware_calls::Wake{});
        waitForLine(session.helper, "resumed");
    }
    return times;
}

/// What so many bare exchanges take; microseconds.
double bareExchanges(const Scene& scene, int count) {
    const BareMac mac(scene.openMacFolder().get());
    std::vector<double> times;
    for (int i = 0; i < 200; ++i) {
        const auto start = Clock::now();
        for (int n = 0; n < count; ++n)
            mac.exchange("FNum", SMCCommand::readKeyInfo, 0);
        times.push_back(microsecondsSince(start));
    }
    return median(times);
}

void addEnds(Figures& figures, const std::string& name, const std::vector<double>& microseconds) {
    figures.add(name + ".p50", median(microseconds) / 1000, "ms");
    figures.add(name + ".p99", percentile99(microseconds) / 1000, "ms");
    figures.add(name + ".worst", *std::max_element(microseconds.begin(), microseconds.end()) / 1000, "ms");
}

} // namespace

void measureHandBack(const Scene& scene, Figures& figures) {
    const auto world = scene.startMac();
    const WriteLog log(scene);
    const int count = scene.count(1000, 20);
    Ends idle;
    Ends holding;
    for (int i = 0; i < count; ++i) {
        endOnce(scene, log, false, idle);
        endOnce(scene, log, true, holding);
    }
    // Stopping the hold hands back, and so does leaving; sleep only suspends the hold.
    const double sixExchanges = bareExchanges(scene, 6) / 1000;
    figures.add("hand-back.six-bare-exchanges", sixExchanges, "ms");
    addEnds(figures, "hand-back.idle.last-fan", idle.fans);
    addEnds(figures, "hand-back.idle.exit", idle.exit);
    addEnds(figures, "hand-back.holding.last-fan", holding.fans);
    figures.addWithTarget("hand-back.holding.last-fan.beyond-exchanges",
                          percentile99(holding.fans) / 1000 - 2 * sixExchanges, "ms", 1);
    addEnds(figures, "hand-back.holding.exit", holding.exit);
    const auto limit = bareEnds(scene, count);
    addEnds(figures, "hand-back.exit-limit", limit);
    figures.addWithTarget("hand-back.holding.exit.p99.ratio", percentile99(holding.exit) / percentile99(limit), "ratio",
                          1.1);
    const auto asleep = acknowledgements(scene, count);
    addEnds(figures, "hand-back.sleep.acknowledgement", asleep);
    figures.addWithTarget("hand-back.sleep.beyond-exchanges", percentile99(asleep) / 1000 - sixExchanges, "ms", 1);
}

} // namespace kelo::bench
