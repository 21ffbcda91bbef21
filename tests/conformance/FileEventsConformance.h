#pragma once

#include <gmock/gmock.h>

#include <memory>
#include <optional>
#include <string>
#include <thread>

#include "core/watch/FileEvents.h"

namespace kelo {

/// Tests every source of file events, in a separate folder. The test's thread is the main thread. The harness is a
/// `RealFolder` or imitates one in memory:
///
///     FileEvents& fileEvents();
///     void run();                          // runs the main thread until all events are delivered
///     std::string expectedOwnExecutable(); // empty if the implementation cannot find it in the test
template <typename Harness>
class FileEventsConformance : public ::testing::Test {
protected:
    FileEventsConformance() { harness.write(file, "the first"); }

    FileEvents& files() { return harness.fileEvents(); }
    std::string path(const std::string& name) const { return harness.path(name); }
    void write(const std::string& name, const std::string& text) { harness.write(name, text); }
    void rename(const std::string& from, const std::string& to) { harness.rename(from, to); }
    void remove(const std::string& name) { harness.remove(name); }

    std::unique_ptr<FileEventSource> watch(const std::string& name) {
        return files().watch(path(name), [this] {
            ++events;
            reportedOn = std::this_thread::get_id();
        });
    }

    const std::string file = "executable";
    int events = 0;
    std::thread::id reportedOn;
    Harness harness;
};

TYPED_TEST_SUITE_P(FileEventsConformance);

// --- identity

TYPED_TEST_P(FileEventsConformance, AllPathsOfAFileHaveTheSameIdentity) {
    this->harness.hardLink(this->file, "hard link");
    this->harness.symbolicLink(this->file, "symbolic link");
    const auto identity = this->files().identify(this->path(this->file));
    ASSERT_TRUE(identity.has_value());
    EXPECT_EQ(this->files().identify(this->path("hard link")), identity);
    EXPECT_EQ(this->files().identify(this->path("symbolic link")), identity);
}

TYPED_TEST_P(FileEventsConformance, AReplacementHasADifferentIdentity) {
    const auto before = this->files().identify(this->path(this->file));
    this->write("new", "the second");
    this->rename("new", this->file);
    const auto after = this->files().identify(this->path(this->file));
    ASSERT_TRUE(before.has_value() && after.has_value());
    EXPECT_NE(*before, *after);
}

TYPED_TEST_P(FileEventsConformance, AFileKeepsItsIdentityWhenItIsWrittenOrMoved) {
    const auto before = this->files().identify(this->path(this->file));
    this->write(this->file, "rewritten in place");
    EXPECT_EQ(this->files().identify(this->path(this->file)), before);
    this->rename(this->file, "moved");
    EXPECT_EQ(this->files().identify(this->path("moved")), before);
}

TYPED_TEST_P(FileEventsConformance, AMissingFileHasNoIdentity) {
    EXPECT_EQ(this->files().identify(this->path("nothing")), std::nullopt);
    EXPECT_EQ(this->files().identify(""), std::nullopt);
}

TYPED_TEST_P(FileEventsConformance, IdentifiesFilesOnAnyThread) {
    const auto here = this->files().identify(this->path(this->file));
    std::optional<FileIdentity> elsewhere;
    std::thread other([&] { elsewhere = this->files().identify(this->path(this->file)); });
    other.join();
    EXPECT_EQ(elsewhere, here);
}

// --- events

TYPED_TEST_P(FileEventsConformance, ReportsARemoval) {
    const auto source = this->watch(this->file);
    ASSERT_NE(source, nullptr);
    this->harness.run();
    EXPECT_EQ(this->events, 0);
    this->remove(this->file);
    this->harness.run();
    EXPECT_GE(this->events, 1);
    EXPECT_EQ(this->reportedOn, std::this_thread::get_id());
}

TYPED_TEST_P(FileEventsConformance, ReportsAReplacement) {
    const auto source = this->watch(this->file);
    this->write("new", "the second");
    this->rename("new", this->file);
    this->harness.run();
    EXPECT_GE(this->events, 1);
}

TYPED_TEST_P(FileEventsConformance, ReportsAMoveAndKeepsWatching) {
    const auto source = this->watch(this->file);
    this->rename(this->file, "moved");
    this->harness.run();
    const int before = this->events;
    EXPECT_GE(before, 1);
    this->remove("moved");
    this->harness.run();
    EXPECT_GT(this->events, before);
}

TYPED_TEST_P(FileEventsConformance, IgnoresOtherFiles) {
    this->write("neighbour", "");
    const auto source = this->watch(this->file);
    this->rename("neighbour", "moved");
    this->remove("moved");
    this->harness.run();
    EXPECT_EQ(this->events, 0);
}

TYPED_TEST_P(FileEventsConformance, ACancelledWatchReportsNothing) {
    const auto source = this->watch(this->file);
    this->remove(this->file);
    source->cancel();
    source->cancel();
    this->harness.run();
    EXPECT_EQ(this->events, 0);
}

TYPED_TEST_P(FileEventsConformance, ADestroyedWatchReportsNothing) {
    auto source = this->watch(this->file);
    source.reset();
    this->remove(this->file);
    this->harness.run();
    EXPECT_EQ(this->events, 0);
}

TYPED_TEST_P(FileEventsConformance, AHandlerMayCancelItsWatch) {
    std::unique_ptr<FileEventSource> source;
    source = this->files().watch(this->path(this->file), [&] {
        ++this->events;
        source->cancel();
    });
    this->rename(this->file, "moved");
    this->harness.run();
    this->remove("moved");
    this->harness.run();
    EXPECT_EQ(this->events, 1);
}

TYPED_TEST_P(FileEventsConformance, AHandlerMayDestroyItsWatch) {
    const auto held = std::make_shared<int>();
    std::unique_ptr<FileEventSource> source;
    source = this->files().watch(this->path(this->file), [&source, held, this] {
        source.reset();
        this->events += static_cast<int>(held.use_count()) > 1 ? 1 : 100;
    });
    this->remove(this->file);
    this->harness.run();
    this->harness.run();
    EXPECT_EQ(this->events, 1);
    EXPECT_EQ(held.use_count(), 1);
}

TYPED_TEST_P(FileEventsConformance, DoesNotWatchAFileThatCannotBeOpened) { EXPECT_EQ(this->watch("nothing"), nullptr); }

// --- the running executable

TYPED_TEST_P(FileEventsConformance, FindsTheRunningExecutable) {
    const auto expected = this->harness.expectedOwnExecutable();
    if (expected.empty())
        GTEST_SKIP() << "this implementation cannot know its executable in a test";
    EXPECT_EQ(this->files().ownExecutable(), expected);
}

REGISTER_TYPED_TEST_SUITE_P(FileEventsConformance, AllPathsOfAFileHaveTheSameIdentity,
                            AReplacementHasADifferentIdentity, AFileKeepsItsIdentityWhenItIsWrittenOrMoved,
                            AMissingFileHasNoIdentity, IdentifiesFilesOnAnyThread, ReportsARemoval, ReportsAReplacement,
                            ReportsAMoveAndKeepsWatching, IgnoresOtherFiles, ACancelledWatchReportsNothing,
                            ADestroyedWatchReportsNothing, AHandlerMayCancelItsWatch, AHandlerMayDestroyItsWatch,
                            DoesNotWatchAFileThatCannotBeOpened, FindsTheRunningExecutable);

} // namespace kelo
