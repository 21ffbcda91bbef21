#include <memory>
#include <set>
#include <string>
#include <thread>

#include "testing/LoopbackConnection.h"
#include "testing/ScriptedListener.h"
#include "tests/conformance/HelperConnectionConformance.h"
#include "tests/conformance/ListenerConformance.h"

namespace kelo {
namespace {

/// The listener and clients in memory must behave like those over sockets and XPC.
class LoopbackHarness {
public:
    Listener& listener() { return listener_; }
    std::string requirement() { return "signed by us"; }

    std::unique_ptr<HelperConnection> connectTrusted() { return connectAs(requirement()); }
    std::unique_ptr<HelperConnection> connectUntrusted() { return connectAs("signed by others"); }

    void endConnections() {
        for (auto* const connection : std::set(live_))
            connection->end();
    }

    void settle() {} // all calls are synchronous

private:
    std::unique_ptr<HelperConnection> connectAs(const std::string& satisfied) {
        std::unique_ptr<ScriptedConnection> accepted;
        std::thread([&] { accepted = listener_.connect(satisfied); }).join();
        if (!accepted)
            throw HelperUnreachable("The helper has refused the connection.");
        auto connection = std::make_unique<LoopbackConnection>(
            accepted->object, [this, tell = accepted->onInvalidation](LoopbackConnection& ended) {
                live_.erase(&ended);
                tell();
            });
        live_.insert(connection.get());
        return connection;
    }

    ScriptedListener listener_;
    std::set<LoopbackConnection*> live_;
};

INSTANTIATE_TYPED_TEST_SUITE_P(InMemory, ListenerConformance, LoopbackHarness);
INSTANTIATE_TYPED_TEST_SUITE_P(InMemory, HelperConnectionConformance, LoopbackHarness);

} // namespace
} // namespace kelo
