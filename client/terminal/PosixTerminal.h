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

/// The process's standard streams and signals. Create only one object per process, before opening any file: the
/// constructor redirects closed standard streams to /dev/null, and makes the process ignore SIGPIPE.
///
/// While a view is drawn, the object uses the terminal's alternate screen, hides the cursor, disables echo and reads
/// keys one by one. It restores the screen and the keyboard in `endDrawing`, in its destructor, and while the process
/// is suspended.
class PosixTerminal : public Terminal {
public:
    PosixTerminal();
    ~PosixTerminal() override;

    void print(const std::string& text) override;
    void printError(const std::string& text) override;
    void dropBlockedOutput() override { outputPatience_ = 1; }
    bool isInteractive() const override { return isInteractive_; }
    Style style() const override { return style_; }
    ScreenSize size() const override;
    void draw(const std::vector<Line>& lines) override;
    void endDrawing() override;
    void catchStopSignals() override;
    int stopSignal() const override;
    Woken wait(double seconds) override { return waitForAnswer(-1, seconds); }
    Woken waitForAnswer(int descriptor, double seconds) override;
    Moment now() override;

private:
    struct Stream {
        explicit Stream(int number) : descriptor(number), writer(number) {}
        const int descriptor;
        const NonBlockingWriter writer;
    };

    void send(const Stream& stream, std::string_view text);
    /// Writes as much of the text as possible without waiting, and removes the written part from `text`. Returns
    /// whether all text has been written. Throws `OutputFailed`.
    static bool sendNow(const Stream& stream, std::string_view& text);
    bool sendFrame();
    void takeScreen();
    void restoreScreen();
    void suspend();
    void readKeys();
    /// Waits until `answer` (unless it is -1) or a key can be read, or until `output` (unless it is -1) can be written
    /// to.
    int waitUntilReady(int answer, int output, double seconds);

    const bool areStreamsOpen_; ///< The first member, since the streams must be open before any other file.
    const Stream output_{1};
    const Stream errors_{2};
    const bool isInteractive_;
    const Style style_;
    double outputPatience_ = std::numeric_limits<double>::infinity(); ///< Seconds.
    std::string frame_; ///< The part of the last frame that has not been written yet.
    bool isDrawing_ = false;
    bool hasKeyboard_ = false;
    bool isStopReported_ = false;
    termios modes_{};      ///< The original modes, while a view is drawn.
    sigset_t unblocked_{}; ///< The original signal mask.
};

} // namespace kelo
