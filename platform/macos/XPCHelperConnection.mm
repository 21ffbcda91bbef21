#include "platform/macos/XPCHelperConnection.h"

#import <Foundation/Foundation.h>

#include "platform/macos/FoundationText.h"
#include "platform/macos/HelperInterface.h"
#include "platform/macos/KeloHelperXPCProtocol.h"
#include "platform/macos/ObjCException.h"
#include "platform/macos/ObjCReference.h"

namespace kelo {

namespace {

/// What came of one request: of the reply and the error, the system calls exactly one. Shared with the blocks, so that
/// one that is called late finds it.
template <typename Value> struct Outcome {
    std::optional<Value> value;
    std::string error = "the helper gave no reply";

    Value take() {
        if (!value)
            throw HelperUnreachable("The helper cannot be reached: " + error);
        return std::move(*value);
    }
};

struct Empty {};

class XPCHelperConnection : public HelperConnection {
  public:
    XPCHelperConnection(const std::string& machServiceName, const std::string& requirement)
        : connection_(adopt([[NSXPCConnection alloc] initWithMachServiceName:makeNSString(machServiceName).get()
                                                                     options:NSXPCConnectionPrivileged])) {
        connection_.get().remoteObjectInterface = helperInterface();
        const auto text = makeNSString(requirement);
        const auto reason = raisedBy([&] { [connection_.get() setCodeSigningRequirement:text.get()]; });
        [connection_.get() resume]; // also a refused one: only a resumed connection may be invalidated and let go
        if (!reason)
            return;
        [connection_.get() invalidate];
        throw HelperUnreachable("The helper cannot be told from an impostor: " + *reason);
    }

    ~XPCHelperConnection() override { [connection_.get() invalidate]; }

    std::optional<Data> fetchSnapshot() override {
        const auto outcome = std::make_shared<Outcome<std::optional<Data>>>();
        [helper(outcome) fetchSnapshotWithReply:^(NSData* _Nullable data) {
          outcome->value.emplace(dataFromNSData(data));
        }];
        return outcome->take();
    }

    std::optional<std::string> hold(double fraction, bool handsBackOnLidClose) override {
        const auto outcome = std::make_shared<Outcome<std::optional<std::string>>>();
        [helper(outcome) holdWithFraction:fraction
                      handsBackOnLidClose:handsBackOnLidClose
                                    reply:^(NSString* _Nullable error) {
                                      outcome->value.emplace(textFromNSString(error));
                                    }];
        return outcome->take();
    }

    std::optional<std::string> handBack() override {
        const auto outcome = std::make_shared<Outcome<std::optional<std::string>>>();
        [helper(outcome) handBackWithReply:^(NSString* _Nullable error) {
          outcome->value.emplace(textFromNSString(error));
        }];
        return outcome->take();
    }

    std::int64_t helperVersion() override {
        const auto outcome = std::make_shared<Outcome<std::int64_t>>();
        [helper(outcome) helperVersionWithReply:^(NSInteger version) {
          outcome->value.emplace(version);
        }];
        return outcome->take();
    }

    void standDown() override {
        const auto outcome = std::make_shared<Outcome<Empty>>();
        [helper(outcome) standDownWithReply:^{
          outcome->value.emplace();
        }];
        outcome->take();
    }

  private:
    /// Calls one of its blocks on this thread before a request returns.
    template <typename Value> id<KeloHelperProtocol> helper(const std::shared_ptr<Outcome<Value>>& outcome) {
        const auto shared = outcome; // the block copies it, not the reference
        return [connection_.get() synchronousRemoteObjectProxyWithErrorHandler:^(NSError* error) {
          shared->error = textFromNSString(error.localizedDescription).value_or("");
        }];
    }

    const ObjCReference<NSXPCConnection*> connection_;
};

} // namespace

std::unique_ptr<HelperConnection> makeXPCHelperConnection(const std::string& machServiceName,
                                                          const std::string& requirement) {
    return std::make_unique<XPCHelperConnection>(machServiceName, requirement);
}

} // namespace kelo
