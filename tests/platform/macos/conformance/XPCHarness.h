#pragma once

#include <memory>
#include <string>

#include "client/HelperConnection.h"
#include "platform/macos/XPCListener.h"
#include "protocol/KeloHelper.h"
#include "protocol/SigningIdentity.h"
#include "tests/platform/macos/doubles/OnDoubles.h"
#include "tests/platform/macos/doubles/SecurityDouble.h"
#include "tests/platform/macos/doubles/XPCDouble.h"

namespace kelo {

/// Runs both ends of XPC in one process, with test doubles: `connectToHelper` and the listener.
class XPCHarness {
public:
    XPCHarness() { doubles::ownSignature().team = "TEAM"; }

    Listener& listener() { return *listener_; }
    std::string requirement() { return SigningIdentity::requirement(SigningIdentity::appIdentifier, "TEAM"); }

    std::unique_ptr<HelperConnection> connectTrusted() {
        doubles::xpc().client = {SigningIdentity::appIdentifier, "TEAM"};
        return connectToHelper();
    }
    std::unique_ptr<HelperConnection> connectUntrusted() {
        doubles::xpc().client = {SigningIdentity::appIdentifier, "OTHERS"};
        return connectToHelper();
    }

    void endConnections() { doubles::endConnections(); }
    void settle() { doubles::settleXPC(); }

private:
    doubles::DoublesScope scope_;
    std::unique_ptr<Listener> listener_ = makeXPCListener(KeloHelper::machServiceName);
};

} // namespace kelo
