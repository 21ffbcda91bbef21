#pragma once

#include <sys/stat.h>

#include <chrono>
#include <deque>
#include <functional>
#include <mutex>

#include "platform/linux/signing/CodeIdentity.h"
#include "platform/linux/signing/CodeSignature.h"

namespace kelo {

/// Remembers whose executables have been judged, so that one that has not changed since is not read again for every
/// connection.
///
/// Recognised by its device, inode, size, time of modification and time of change, as the open file that is judged has
/// them. That is as good as reading it again, on a file system that keeps its times:
/// - Every change of a file, and a new file in its place with the same inode, moves the time of change to the present.
///   Nobody but the superuser, by way of the system's clock, can put another time there.
/// - Times are coarse: two changes within a clock's tick look like one. So an executable counts only as `settled` if
///   its last change was some seconds ago when it was judged, and it must look the same before and after it was read.
///   What changes it later then shows.
/// - A mapping through which a file was changed before can change it once more without moving its times. The kernel
///   does not let a file run while anybody has it open for writing, though, and a peer's executable runs when it is
///   judged.
/// - A file system that serves other bytes each time it is asked deceives a reader as well.
///
/// Only accepted signatures are remembered, and the last few of them. Any thread.
class JudgedExecutables {
public:
    using Verify = std::function<SignatureVerdict(int executable)>;

    /// `verify` reads the executable and judges it.
    explicit JudgedExecutables(Verify verify, std::chrono::seconds settled = std::chrono::seconds(5))
        : verify_(std::move(verify)), settled_(settled) {}

    /// The verdict on the open file `executable`.
    SignatureVerdict judge(int executable);

private:
    static constexpr std::size_t capacity = 8;

    struct Judged {
        struct stat file;
        CodeIdentity identity;
    };

    const CodeIdentity* find(const struct stat& file) const;
    bool isSettled(const struct stat& file) const;

    const Verify verify_;
    const std::chrono::seconds settled_;
    std::mutex mutex_;
    std::deque<Judged> judged_; ///< The newest last.
};

} // namespace kelo
