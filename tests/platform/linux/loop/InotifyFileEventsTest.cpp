#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/inotify.h>
#include <sys/stat.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <semaphore>
#include <thread>
#include <vector>

#include "core/watch/BinaryWatch.h"
#include "platform/linux/loop/EventLoop.h"
#include "platform/linux/loop/InotifyFileEvents.h"
#include "testing/DescriptorLimit.h"
#include "testing/TemporaryFolder.h"
#include "testing/VirtualLoopTime.h"

namespace kelo {
namespace {

/// A watch on a file in a folder, with real kernel events.
class WatchedFile : public ::testing::Test {
protected:
    WatchedFile() {
        writeFile(file, "old");
        watch = std::make_unique<BinaryWatch>(file.string(), events, [this] {
            ++replacements;
            loop.stop();
        });
    }

    /// Returns whether the watch reports a replacement. Waits long enough for the kernel to send its event.
    bool isReported() {
        loop.postAfter(0.05, [this] { loop.stop(); });
        loop.run();
        return replacements == 1;
    }

    TemporaryFolder folder;
    std::filesystem::path file = folder / "helper";
    EventLoop loop;
    InotifyFileEvents events{loop, InotifyFileEvents::Urgency::urgent};
    int replacements = 0;
    std::unique_ptr<BinaryWatch> watch;
};

struct FileChange {
    const char* name;
    std::function<void(const std::filesystem::path& file, const TemporaryFolder& folder)> make;
    bool isReported;
};

/// The conformance suite replaces, moves and deletes files. These tests cover changes that are harder to classify.
class ChangedFile : public WatchedFile, public ::testing::WithParamInterface<FileChange> {};

TEST_P(ChangedFile, ReportsOnlyReplacementsAndRemovals) {
    GetParam().make(file, folder);
    EXPECT_EQ(isReported(), GetParam().isReported);
    EXPECT_EQ(watch->isCurrent(), !GetParam().isReported);
}

const FileChange fileChanges[] = {
    {"DeletedWhileKeptOpen",
     [](const auto& file, const auto&) {
         const std::ifstream open(file);
         std::filesystem::remove(file);
     },
     true},
    {"RemovedWhileAnotherLinkRemains",
     [](const auto& file, const auto& folder) {
         std::filesystem::create_hard_link(file, folder / "link");
         std::filesystem::remove(file);
     },
     true},
    {"AnotherLinkRemoved",
     [](const auto& file, const auto& folder) {
         std::filesystem::create_hard_link(file, folder / "link");
         std::filesystem::remove(folder / "link");
     },
     false},
    {"RewrittenInPlace", [](const auto& file, const auto&) { writeFile(file, "other"); }, false},
    {"Touched",
     [](const auto& file, const auto&) {
         std::filesystem::last_write_time(file, std::filesystem::file_time_type::clock::now());
         std::filesystem::permissions(file, std::filesystem::perms::owner_all);
     },
     false},
    {"MovedAwayAndBack",
     [](const auto& file, const auto& folder) {
         std::filesystem::rename(file, folder / "elsewhere");
         std::filesystem::rename(folder / "elsewhere", file);
     },
     false},
};
INSTANTIATE_TEST_SUITE_P(InEveryWay, ChangedFile, ::testing::ValuesIn(fileChanges),
                         [](const auto& given) { return given.param.name; });

TEST_F(WatchedFile, NoticesARenamedFolderOnlyInAnExplicitCheck) {
    std::filesystem::create_directory(folder / "inner");
    std::filesystem::rename(file, folder / "inner/helper");
    watch = std::make_unique<BinaryWatch>(folder / "inner/helper", events, [this] { ++replacements; });
    std::filesystem::rename(folder / "inner", folder / "moved");
    EXPECT_FALSE(isReported());
    EXPECT_FALSE(watch->isCurrent());
}

TEST_F(WatchedFile, ADeletedFileHasNoIdentityWhileItIsOpen) {
    const FileDescriptor open(::open(file.c_str(), O_PATH | O_CLOEXEC));
    const auto path = "/proc/self/fd/" + std::to_string(open.get());
    EXPECT_NE(events.identify(path), std::nullopt);
    std::filesystem::remove(file);
    EXPECT_EQ(events.identify(path), std::nullopt); // although the path still leads to the file
}

// --- the checks that follow an event, in virtual time

class FileChecks : public ::testing::Test {
protected:
    FileChecks() { writeFile(file, ""); }

    void runFor(double seconds) {
        loop.postAfter(seconds, [this] { loop.stop(); });
        loop.run();
    }
    void changePermissions() const { std::filesystem::permissions(file, std::filesystem::perms::owner_all); }

    const TemporaryFolder folder;
    const std::filesystem::path file = folder / "helper";
    VirtualLoopTime time;
    EventLoop loop{time};
    InotifyFileEvents events{loop, InotifyFileEvents::Urgency::urgent};
};

/// The kernel sends the event for a deletion before it removes the name, so a single check could miss the deletion.
TEST_F(FileChecks, ChecksAgainForAWhileAfterAnEvent) {
    const auto start = time.now();
    std::vector<double> checks;
    const auto source =
        events.watch(file, [&] { checks.push_back(std::chrono::duration<double>(time.now() - start).count()); });
    changePermissions();
    runFor(60);
    ASSERT_GE(checks.size(), 3U);
    EXPECT_EQ(checks.front(), 0);
    EXPECT_GE(checks.back(), 1) << "the process that deletes the file may be delayed";
    EXPECT_LE(checks.size(), 10U);
}

TEST_F(FileChecks, StopsCheckingOnceTheSourceIsCancelled) {
    int checks = 0;
    std::unique_ptr<FileEventSource> source;
    source = events.watch(file, [&] {
        if (++checks == 2)
            source->cancel();
    });
    changePermissions();
    runFor(60);
    EXPECT_EQ(checks, 2);
}

TEST_F(FileChecks, NoticesAReplacementWithoutInotify) {
    int replacements = 0;
    std::optional<BinaryWatch> watch;
    // Uses the objects once, because a sanitizer needs free descriptors when it first checks an object.
    watch.emplace(file, events, [] {});
    loop.scheduleTimer(1, false, [] {})->invalidate();
    watch.reset();
    {
        const DescriptorLimit none;
        ASSERT_LT(inotify_init1(IN_CLOEXEC), 0);
        watch.emplace(file, events, [&] { ++replacements; });
    }
    runFor(60);
    EXPECT_EQ(replacements, 0);
    writeFile(folder / "new", "new");
    std::filesystem::rename(folder / "new", file);
    runFor(11);
    EXPECT_EQ(replacements, 1);
    runFor(60);
    EXPECT_EQ(replacements, 1);
}

/// Repeatedly deletes a file that is watched and kept open, like a running executable. The kernel takes some
/// milliseconds to end a watch, so several objects of this class run at once.
class Deletions {
public:
    explicit Deletions(bool hasAnotherName) : hasAnotherName_(hasAnotherName) {}

    /// Deletes the file `number` times and returns the number of missed deletions.
    int missedOf(int number) {
        int missed = 0;
        std::jthread deleter([this] { keepDeleting(); });
        for (int i = 0; i < number; ++i)
            missed += isNoticed() ? 0 : 1;
        isOver_ = true;
        deletions_.release();
        return missed;
    }

private:
    bool isNoticed() {
        writeFile(file_, "");
        const FileDescriptor alive(open(file_.c_str(), O_PATH | O_CLOEXEC));
        if (hasAnotherName_)
            std::filesystem::create_hard_link(file_, folder_ / "another name");
        bool isReported = false;
        const BinaryWatch watch(file_, events_, [&] {
            isReported = true;
            loop_.stop();
        });
        const auto timeout = loop_.scheduleTimer(5, false, [this] { loop_.stop(); });
        deletions_.release();
        loop_.run();
        std::filesystem::remove(folder_ / "another name");
        return isReported;
    }

    void keepDeleting() {
        while (true) {
            deletions_.acquire();
            if (isOver_)
                return;
            unlink(file_.c_str());
        }
    }

    const bool hasAnotherName_;
    TemporaryFolder folder_;
    std::filesystem::path file_ = folder_ / "helper";
    EventLoop loop_;
    InotifyFileEvents events_{loop_, InotifyFileEvents::Urgency::urgent};
    std::counting_semaphore<> deletions_{0};
    std::atomic<bool> isOver_ = false;
};

/// Returns the number of deletions that were not reported. KELO_DELETIONS sets the number of attempts: finding a bug
/// that affects one deletion in thousands takes more attempts than the default.
int missedDeletions(bool hasAnotherName) {
    constexpr int atOnce = 16;
    const char* const wanted = std::getenv("KELO_DELETIONS");
    const int number = wanted != nullptr ? std::atoi(wanted) : 800;
    std::atomic<int> missed = 0;
    std::vector<std::jthread> threads;
    for (int i = 0; i < atOnce; ++i)
        threads.emplace_back([&] { missed += Deletions(hasAnotherName).missedOf(number / atOnce); });
    threads.clear();
    return missed;
}

TEST(InotifyFileEvents, NoticesEveryDeletion) { EXPECT_EQ(missedDeletions(false), 0); }

TEST(InotifyFileEvents, NoticesEveryDeletionEvenIfTheFileHasAnotherName) { EXPECT_EQ(missedDeletions(true), 0); }

} // namespace
} // namespace kelo
