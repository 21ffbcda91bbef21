#include "helper/ListenerDelegate.h"

#include <gmock/gmock.h>

#include <new>

#include "core/watch/BinaryWatch.h"
#include "testing/CodeOf.h"
#include "testing/FailingMemory.h"
#include "testing/FullQueue.h"
#include "testing/ScriptedFileEvents.h"
#include "testing/ScriptedListener.h"
#include "testing/ServiceFixture.h"

namespace kelo {
namespace {

using ::testing::IsEmpty;

class AdmissionTest : public ServiceFixture {
protected:
    AdmissionTest() {
        makeService();
        takeTrace();
        listener.setAdmission(
            [this](IncomingConnection& connection) { return delegate().shouldAcceptNewConnection(connection); });
        static_cast<void>(listener.resume());
    }

    ListenerDelegate& delegate() {
        if (!delegate_)
            delegate_ = std::make_unique<ListenerDelegate>(
                service, hasWatch ? std::make_shared<BinaryWatch>(*events.executable, events, [] {}) : nullptr, queue,
                [this](const char* notice) { note(std::string("leave: ") + notice); });
        return *delegate_;
    }

    void holdWith(ScriptedConnection& connection) {
        ReplyProbe<std::optional<std::string>> probe("hold");
        connection.object->perform(requests::Call{requests::Hold{0.5, false}, probe.reply()});
        queue.runReady();
        EXPECT_EQ(probe.value(), std::nullopt);
        takeTrace();
    }

    const Trace lastClientLeft = {"[NOTICE] service: Last client disconnected; handing the fan back shortly."};
    bool hasWatch = true;
    ScriptedFileEvents events;
    ScriptedListener listener;
    std::unique_ptr<ListenerDelegate> delegate_;
};

TEST_F(AdmissionTest, ConfiguresAndCountsAConnectionBeforeResumingIt) {
    ScriptedConnection connection;
    connection.onStep = [this](const std::string& step) {
        note(step + (queue.pendingTasks() == 1 ? ", counted" : ""));
    };
    EXPECT_TRUE(delegate().shouldAcceptNewConnection(connection));
    EXPECT_EQ(takeTrace(), Trace({"export", "invalidation handler", "interruption handler", "resume, counted"}));
    EXPECT_TRUE(connection.isResumed);
}

TEST_F(AdmissionTest, ExportsTheSameServiceToEveryConnection) {
    const auto first = listener.connect();
    const auto second = listener.connect();
    EXPECT_EQ(first->object, service);
    EXPECT_EQ(second->object, service);
}

TEST_F(AdmissionTest, CountsConnectionsAndInvalidations) {
    const auto first = listener.connect();
    const auto second = listener.connect();
    holdWith(*first);
    first->onInvalidation();
    queue.runFor(60);
    EXPECT_THAT(takeLogs(), IsEmpty());
    second->onInvalidation();
    queue.runReady();
    EXPECT_EQ(takeLogs(), lastClientLeft);
}

TEST_F(AdmissionTest, CountsAnInterruptionAndAnInvalidationAsTwoDepartures) {
    const auto first = listener.connect();
    const auto second = listener.connect();
    holdWith(*second);
    first->onInterruption();
    queue.runReady();
    EXPECT_THAT(takeLogs(), IsEmpty());
    first->onInvalidation();
    queue.runReady();
    EXPECT_EQ(takeLogs(), lastClientLeft);
    second->onInterruption(); // the count stays at zero
    second->onInvalidation();
    const auto third = listener.connect();
    const auto fourth = listener.connect();
    queue.runReady();
    takeTrace();
    third->onInvalidation();
    queue.runFor(60);
    EXPECT_THAT(takeLogs(), IsEmpty()); // one of two clients is left
    fourth->onInvalidation();
    queue.runReady();
    EXPECT_EQ(takeLogs(), lastClientLeft);
}

TEST_F(AdmissionTest, CountsEveryInterruption) {
    const auto first = listener.connect();
    const auto second = listener.connect();
    const auto third = listener.connect();
    holdWith(*first);
    for (int i = 0; i < 3; ++i) {
        queue.runReady();
        EXPECT_THAT(takeLogs(), IsEmpty());
        second->onInterruption();
    }
    queue.runReady();
    EXPECT_EQ(takeLogs(), lastClientLeft);
}

TEST_F(AdmissionTest, DoesNotCountTheDepartureOfAConnectionThatFailsBeforeItIsCounted) {
    const auto client = listener.connect();
    holdWith(*client);
    ScriptedConnection failing;
    failing.onStep = [](const std::string& step) {
        if (step == "interruption handler")
            throw std::bad_alloc();
    };
    EXPECT_THROW(delegate().shouldAcceptNewConnection(failing), std::bad_alloc);
    failing.onInvalidation();
    queue.runReady();
    EXPECT_THAT(takeLogs(), IsEmpty());
}

TEST_F(AdmissionTest, CountsDeparturesWithoutMemory) {
    FullQueue full(now);
    makeServiceOn(full);
    ListenerDelegate delegate(service, nullptr, full, [](const char*) {});
    ScriptedConnection connection;
    EXPECT_TRUE(delegate.shouldAcceptNewConnection(connection));
    {
        const CodeOf helper(CodeOf::Owner::daemon);
        FailingMemory::beginCounting();
        FailingMemory::inject({0, true});
        connection.onInterruption();
        connection.onInvalidation();
        EXPECT_EQ(FailingMemory::endCounting(), 0);
    }
    EXPECT_EQ(full.pendingTasks(), 3U); // the arrival and both departures
}

TEST_F(AdmissionTest, CountsADepartureOnTheMainQueue) {
    const auto connection = listener.connect();
    holdWith(*connection);
    connection->onInvalidation();
    EXPECT_THAT(takeTrace(), IsEmpty());
    queue.runReady();
    EXPECT_FALSE(takeTrace().empty());
}

TEST_F(AdmissionTest, RefusesConnectionsAndExitsAfterTheExecutableIsReplaced) {
    const auto client = listener.connect();
    holdWith(*client);
    events.place(FileIdentity{1, 101});
    ScriptedConnection late;
    late.onStep = [this](const std::string& step) { note(step); };
    EXPECT_FALSE(delegate().shouldAcceptNewConnection(late));
    EXPECT_EQ(late.object, nullptr);
    EXPECT_THAT(takeTrace(), IsEmpty()); // the refusal is immediate
    queue.runReady();
    EXPECT_EQ(takeTrace(),
              Trace({"leave: Our binary was replaced on disk. Handing the fan back and leaving for the new helper."}));
}

TEST_F(AdmissionTest, ExaminesTheExecutableForEachConnection) {
    EXPECT_NE(listener.connect(), nullptr);
    events.place(std::nullopt);
    EXPECT_EQ(listener.connect(), nullptr);
    events.place(FileIdentity{1, 100});
    EXPECT_NE(listener.connect(), nullptr);
}

class AdmissionWithoutWatchTest : public AdmissionTest {
protected:
    AdmissionWithoutWatchTest() {
        hasWatch = false;
        delegate_.reset();
        listener.setAdmission(
            [this](IncomingConnection& connection) { return delegate().shouldAcceptNewConnection(connection); });
    }
};

TEST_F(AdmissionWithoutWatchTest, NeverRefusesAConnection) {
    events.place(std::nullopt);
    EXPECT_NE(listener.connect(), nullptr);
    queue.runFor(60);
    EXPECT_THAT(takeTrace(), IsEmpty());
}

} // namespace
} // namespace kelo
