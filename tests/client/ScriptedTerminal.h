#pragma once

#include <gmock/gmock.h>
#include <poll.h>

#include <csignal>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "client/Terminal.h"

namespace kelo {

/// A terminal in virtual time that records printed text and drawn views. The user asks to stop at wait number
/// `waitsUntilStop`.
class ScriptedTerminal : public Terminal {
public:
    // Set before a command runs.
    bool canDraw = false;
    Style shown;
    ScreenSize screen;
    int waitsUntilStop = 2;
    int asksToStopBy = SIGINT;
    std::optional<OutputFailed> outputFails;
    /// Called with the number of each wait before its time passes. Returns the result of the wait.
    std::function<Woken(int wait)> onWait = [](int) { return Woken::byTime; };
    /// If set, simulates a helper that does not answer: each wait for an answer lasts until its timeout and returns
    /// what this function returns.
    std::function<Woken()> onSilence;
    double answerDelay = 0; ///< Seconds.

    // Results.
    std::string printed;
    std::string errors;
    std::vector<std::vector<std::string>> drawings;
    bool isDrawing = false;
    bool catchesStopSignals = false;
    bool dropsBlockedOutput = false;
    int waits = 0;
    int signal = 0;
    double seconds = 1000;

    void print(const std::string& text) override {
        EXPECT_FALSE(isDrawing) << text;
        if (outputFails)
            throw OutputFailed(*outputFails);
        printed += text;
    }
    void printError(const std::string& text) override {
        EXPECT_FALSE(isDrawing) << text;
        errors += text;
    }
    void dropBlockedOutput() override { dropsBlockedOutput = true; }
    bool isInteractive() const override { return canDraw; }
    Style style() const override { return shown; }
    ScreenSize size() const override { return screen; }
    void draw(const std::vector<Line>& lines) override {
        EXPECT_TRUE(canDraw);
        EXPECT_LE(lines.size(), screen.rows);
        isDrawing = true;
        drawings.emplace_back();
        for (const auto& line : lines)
            drawings.back().push_back(painted(line, shown));
    }
    void endDrawing() override { isDrawing = false; }
    void catchStopSignals() override { catchesStopSignals = true; }
    int stopSignal() const override { return signal; }
    Woken wait(double time) override {
        EXPECT_TRUE(catchesStopSignals) << "the user's signal would end the process";
        EXPECT_GE(time, 0);
        if (++waits == waitsUntilStop)
            return stopped();
        const auto woken = onWait(waits);
        if (woken == Woken::byTime)
            seconds += time;
        return woken;
    }
    Woken waitForAnswer(int descriptor, double time) override {
        if (onSilence) {
            seconds += time;
            const auto woken = onSilence();
            return woken == Woken::byStop ? stopped() : woken;
        }
        pollfd answer{.fd = descriptor, .events = POLLIN, .revents = 0};
        EXPECT_EQ(poll(&answer, 1, -1), 1);
        seconds += answerDelay;
        return Woken::byAnswer;
    }
    Moment now() override {
        const auto second = std::to_string(static_cast<int>(seconds) % 60);
        return {seconds, "12:00:" + second, "2026-11-22T11:00:" + second + "Z"};
    }

private:
    Woken stopped() {
        signal = asksToStopBy;
        return Woken::byStop;
    }
};

} // namespace kelo
