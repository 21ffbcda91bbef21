#pragma once

#include <csignal>
#include <limits>
#include <string>
#include <string_view>
#include <termios.h>
#include <vector>

#include "client/Terminal.h"
#include "platform/posix/NonBlockingWriter.h"

namespace kelo {

/// The process's standard streams and its signals. Only one may exist in a process, made before any file is opened:
/// it opens standard streams that are closed on /dev/null, and ignores SIGPIPE.
///
/// While it draws, it has the terminal's alternate screen, without cursor and echo, and reads keys one by one. It
/// restores the screen and the keyboard in `endDrawing`, when it is destroyed, and while the process is suspended.
class PosixTerminal : public Terminal {
public:
    PosixTerminal();
    ~PosixTerminal() override;

    void print(const std::string& text) override;
    void complain(const std::string& text) override;
    void dropStuckOutput() override { outputPatience_ = 1; }
    bool isInteractive() const override { return isInteractive_; }
    Style style() const override { return style_; }
    ScreenSize size() const override;
    void draw(const std::vector<Line>& lines) override;
    void endDrawing() override;
    void catchStops() override;
    int stopSignal() const override;
    Woken wait(double seconds) override { return waitForAnswer(-1, seconds); }
    Woken waitForAnswer(int descriptor, double seconds) override;
    Moment now() override;

private:
    /// Standard output or standard error.
    struct Stream {
        explicit Stream(int number) : descriptor(number), writer(number) {}
        const int descriptor;
        const NonBlockingWriter writer;
    };

    void send(const Stream& stream, std::string_view text);
    /// Writes what the stream takes at once, and removes it from the text. Returns whether that was all. Throws
    /// `OutputFailed`.
    static bool sendNow(const Stream& stream, std::string_view& text);
    bool sendFrame();
    void takeScreen();
    void giveScreenBack();
    void suspend();
    void readKeys();
    /// Waits until `answer` (if not -1) or a key can be read, or `room` (if not -1) can be written to.
    int waitUntilReady(int answer, int room, double seconds);

    const bool areStreamsOpen_; ///< First, since the streams must be open before anything else is.
    const Stream output_{1};
    const Stream errors_{2};
    const bool isInteractive_;
    const Style style_;
    double outputPatience_ = std::numeric_limits<double>::infinity(); ///< Seconds.
    std::string frame_; ///< What the output has not taken of the last frame.
    bool isDrawing_ = false;
    bool hasKeyboard_ = false;
    bool isStopReported_ = false;
    termios modes_{};      ///< The terminal's own, while something is drawn.
    sigset_t unblocked_{}; ///< The signals that were blocked before any was caught.
};

} // namespace kelo
