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

/// The outcome of one request: the system calls either the reply block or the error handler. Both blocks share the
/// outcome, so that it is still valid if a call comes late.
template <typename Value> struct Outcome {
    std::optional<Value> value;
    std::string error = "the helper gave no reply";

    /// Sets the value to the result of `make`. Catches the exceptions of `make`, since the system runs the block that
    /// calls this function.
    template <typename Make> void set(const Make& make) {
        contain("a reply", [&] { value.emplace(make()); });
    }

    Value take() {
        if (!value)
            throw HelperUnreachable("The helper cannot be reached: " + error);
        return std::move(*value);
    }
};

template <typename Request> using OutcomeOf = std::shared_ptr<Outcome<typename Request::Answer>>;

// The functions below send a request. Before they return, the system calls the reply block or the error handler on this
// thread.

void send(const requests::FetchSnapshot&, id<KeloHelperProtocol> helper, OutcomeOf<requests::FetchSnapshot> outcome) {
    [helper fetchSnapshotWithReply:^(NSData* _Nullable data) {
      outcome->set([&] { return dataFromNSData(data); });
    }];
}

void send(const requests::Hold& hold, id<KeloHelperProtocol> helper, OutcomeOf<requests::Hold> outcome) {
    [helper holdWithFraction:hold.fraction
         handsBackOnLidClose:hold.handsBackOnLidClose
                       reply:^(NSString* _Nullable error) {
                         outcome->set([&] { return textFromNSString(error); });
                       }];
}

void send(const requests::HandBack&, id<KeloHelperProtocol> helper, OutcomeOf<requests::HandBack> outcome) {
    [helper handBackWithReply:^(NSString* _Nullable error) {
      outcome->set([&] { return textFromNSString(error); });
    }];
}

void send(const requests::HelperVersion&, id<KeloHelperProtocol> helper, OutcomeOf<requests::HelperVersion> outcome) {
    [helper helperVersionWithReply:^(NSInteger version) {
      outcome->value.emplace(version);
    }];
}

void send(const requests::StandDown&, id<KeloHelperProtocol> helper, OutcomeOf<requests::StandDown> outcome) {
    [helper standDownWithReply:^{
      outcome->value.emplace();
    }];
}

class XPCHelperConnection : public HelperConnection {
  public:
    XPCHelperConnection(const std::string& machServiceName, const std::string& requirement)
        : connection_(adopt([[NSXPCConnection alloc] initWithMachServiceName:makeNSString(machServiceName).get()
                                                                     options:NSXPCConnectionPrivileged])) {
        @autoreleasepool { // the main thread of a command-line program has no other pool
            connection_.get().remoteObjectInterface = helperInterface();
        }
        const auto text = makeNSString(requirement);
        const auto reason = raisedBy([&] { [connection_.get() setCodeSigningRequirement:text.get()]; });
        [connection_.get() resume]; // even after a refusal: only a resumed connection may be invalidated and released
        if (!reason)
            return;
        [connection_.get() invalidate];
        throw HelperUnreachable("The helper's identity cannot be checked: " + *reason);
    }

    ~XPCHelperConnection() override { [connection_.get() invalidate]; }

    void perform(const requests::AnyCall& call) override {
        std::visit([this](const auto& typed) { typed.reply(answerTo(typed.request)); }, call);
    }

  private:
    template <typename Request> typename Request::Answer answerTo(const Request& request) {
        const auto outcome = std::make_shared<Outcome<typename Request::Answer>>();
        @autoreleasepool { // the calling thread may have no other pool
            send(request, [connection_.get() synchronousRemoteObjectProxyWithErrorHandler:^(NSError* error) {
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
