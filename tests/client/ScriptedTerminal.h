#pragma once

#include <gmock/gmock.h>

#include <functional>
#include <string>
#include <vector>

#include "client/Terminal.h"

namespace kelo {

/// A terminal in virtual time that keeps what is printed and drawn. The user asks to stop at the `waitsUntilStop`-th
/// wait.
class ScriptedTerminal : public Terminal {
public:
    // Set before a command runs.
    bool takesDrawing = false;
    Style shown;
    ScreenSize screen;
    int waitsUntilStop = 2;
    /// Called with the number of each wait before its time passes, and says how it ends.
    std::function<Woken(int wait)> onWait = [](int) { return Woken::byTime; };

    // What came of it.
    std::string printed;
    std::string complaints;
    std::vector<std::vector<std::string>> drawings;
    bool isDrawing = false;
    bool isCatchingStops = false;
    int waits = 0;
    double seconds = 1000;

    void print(const std::string& text) override {
        EXPECT_FALSE(isDrawing) << text;
        printed += text;
    }
    void complain(const std::string& text) override {
        EXPECT_FALSE(isDrawing) << text;
        complaints += text;
    }
    bool isInteractive() const override { return takesDrawing; }
    Style style() const override { return shown; }
    ScreenSize size() const override { return screen; }
    void draw(const std::vector<Line>& lines) override {
        EXPECT_TRUE(takesDrawing);
        EXPECT_LE(lines.size(), screen.rows);
        isDrawing = true;
        drawings.emplace_back();
        for (const auto& line : lines)
            drawings.back().push_back(painted(line, shown));
    }
    void endDrawing() override { isDrawing = false; }
    void catchStops(unsigned, int) override { isCatchingStops = true; }
    Woken wait(double time) override {
        EXPECT_TRUE(isCatchingStops) << "the user's wish would end the process";
        EXPECT_GE(time, 0);
        if (++waits >= waitsUntilStop)
            return Woken::byStop;
        const auto woken = onWait(waits);
        if (woken == Woken::byTime)
            seconds += time;
        return woken;
    }
    Moment now() override { return {seconds, "12:00:" + std::to_string(static_cast<int>(seconds) % 60)}; }
};

} // namespace kelo
