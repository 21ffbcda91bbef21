#include "platform/macos/XPCHelperConnection.h"

#import <Foundation/Foundation.h>

#include "platform/macos/FoundationText.h"
#include "platform/macos/HelperInterface.h"
#include "platform/macos/KeloHelperXPCProtocol.h"
#include "platform/macos/ObjCException.h"
#include "platform/macos/ObjCReference.h"
#include "platform/posix/Containment.h"

namespace kelo {

namespace {

/// The outcome of one request: of the reply and the error, the system calls exactly one. Shared with the blocks, so
/// that one that is called late finds it.
template <typename Value> struct Outcome {
    std::optional<Value> value;
    std::string error = "the helper gave no reply";

    /// For a block that the system calls: what `make` throws goes no further.
    template <typename Make> void set(const Make& make) {
        contain("a reply", [&] { value.emplace(make()); });
    }

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
        @autoreleasepool { // a command-line program's main thread has no other
            connection_.get().remoteObjectInterface = helperInterface();
        }
        const auto text = makeNSString(requirement);
        const auto reason = raisedBy([&] { [connection_.get() setCodeSigningRequirement:text.get()]; });
        [connection_.get() resume]; // also a refused one: only a resumed connection may be invalidated and released
        if (!reason)
            return;
        [connection_.get() invalidate];
        throw HelperUnreachable("The helper cannot be told from an impostor: " + *reason);
    }

    ~XPCHelperConnection() override { [connection_.get() invalidate]; }

    std::optional<Data> fetchSnapshot() override {
        return request<std::optional<Data>>([](id<KeloHelperProtocol> helper, auto outcome) {
            [helper fetchSnapshotWithReply:^(NSData* _Nullable data) {
              outcome->set([&] { return dataFromNSData(data); });
            }];
        });
    }

    std::optional<std::string> hold(double fraction, bool handsBackOnLidClose) override {
        return request<std::optional<std::string>>([=](id<KeloHelperProtocol> helper, auto outcome) {
            [helper holdWithFraction:fraction
                 handsBackOnLidClose:handsBackOnLidClose
                               reply:^(NSString* _Nullable error) {
                                 outcome->set([&] { return textFromNSString(error); });
                               }];
        });
    }

    std::optional<std::string> handBack() override {
        return request<std::optional<std::string>>([](id<KeloHelperProtocol> helper, auto outcome) {
            [helper handBackWithReply:^(NSString* _Nullable error) {
              outcome->set([&] { return textFromNSString(error); });
            }];
        });
    }

    std::int64_t helperVersion() override {
        return request<std::int64_t>([](id<KeloHelperProtocol> helper, auto outcome) {
            [helper helperVersionWithReply:^(NSInteger version) {
              outcome->value.emplace(version);
            }];
        });
    }

    void standDown() override {
        request<Empty>([](id<KeloHelperProtocol> helper, auto outcome) {
            [helper standDownWithReply:^{
              outcome->value.emplace();
            }];
        });
    }

  private:
    /// `send` makes the request; by when it returns, the system has called the reply or the error handler, on this
    /// thread.
    template <typename Value, typename Send> Value request(Send send) {
        const auto outcome = std::make_shared<Outcome<Value>>();
        @autoreleasepool { // as above
            send([connection_.get() synchronousRemoteObjectProxyWithErrorHandler:^(NSError* error) {
                   contain("an error",
                           [&] { outcome->error = textFromNSString(error.localizedDescription).value_or(""); });
                 }],
                 outcome);
        }
        return outcome->take();
    }

    const ObjCReference<NSXPCConnection*> connection_;
};

} // namespace

std::unique_ptr<HelperConnection> makeXPCHelperConnection(const std::string& machServiceName,
                                                          const std::string& requirement) {
    return std::make_unique<XPCHelperConnection>(machServiceName, requirement);
}

} // namespace kelo
