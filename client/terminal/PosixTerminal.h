#pragma once

#include <csignal>
#include <string>
#include <termios.h>
#include <vector>

#include "client/Terminal.h"

namespace kelo {

/// The process's standard streams and its signals, among them SIGALRM. There is one of it in a process.
///
/// While it draws, it has the terminal's alternate screen, without cursor and echo. It gives them back with
/// `endDrawing`, when it is destroyed, and for as long as the user has suspended the process.
class PosixTerminal : public Terminal {
public:
    PosixTerminal();
    ~PosixTerminal() override;

    void print(const std::string& text) override;
    void complain(const std::string& text) override;
    bool isInteractive() const override { return isInteractive_; }
    Style style() const override { return style_; }
    ScreenSize size() const override;
    void draw(const std::vector<Line>& lines) override;
    void endDrawing() override;
    void catchStops(unsigned patience, int status) override;
    Woken wait(double seconds) override;
    Moment now() override;

private:
    void takeScreen();
    void giveScreenBack();
    void suspend();
    static void rememberStop(int signal);
    static void leave(int signal);

    static PosixTerminal* catching; ///< The one that catches stops.
    const bool isInteractive_;
    const Style style_;
    bool isDrawing_ = false;
    termios modes_{};       ///< The terminal's own, while something is drawn.
    unsigned patience_ = 0; ///< Seconds.
    int statusWhenStuck_ = 0;
    sigset_t unblocked_{}; ///< The signals that were blocked before any was caught.
};

} // namespace kelo
