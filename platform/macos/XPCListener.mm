#include "platform/macos/XPCListener.h"

#import <Foundation/Foundation.h>

#include "platform/macos/FoundationText.h"
#include "platform/macos/ObjCException.h"
#include "platform/macos/ObjCReference.h"
#include "platform/macos/RequirementSyntax.h"
#include "platform/macos/XPCIncomingConnection.h"
#include "platform/posix/Containment.h"

@interface KeloListenerDelegate : NSObject <NSXPCListenerDelegate> {
  @public
    kelo::ConnectionAdmission admission_;
    BOOL hasRequirement_;
}
@end

@implementation KeloListenerDelegate

- (BOOL)listener:(NSXPCListener*)listener shouldAcceptNewConnection:(NSXPCConnection*)newConnection {
    static_cast<void>(listener);
    bool isAccepted = false;
    kelo::contain("admitting a connection", [&] {
        if (!hasRequirement_)
            return;
        kelo::XPCIncomingConnection connection(newConnection);
        isAccepted = admission_(connection);
    });
    return isAccepted;
}

@end

namespace kelo {

namespace {

class XPCListener : public Listener {
  public:
    explicit XPCListener(const std::string& machServiceName)
        : listener_(adopt([[NSXPCListener alloc] initWithMachServiceName:makeNSString(machServiceName).get()])),
          delegate_(adopt([[KeloListenerDelegate alloc] init])) {}

    // Clears the delegate, since the listener does not retain it.
    ~XPCListener() override {
        listener_.get().delegate = nil;
        [listener_.get() invalidate];
    }

    void setAdmission(ConnectionAdmission admission) override {
        delegate_.get()->admission_ = std::move(admission);
        listener_.get().delegate = delegate_.get();
    }

    void setConnectionCodeSigningRequirement(const std::string& requirement) override {
        delegate_.get()->hasRequirement_ = NO;
        // Check the syntax first: an exception raised by the listener would pass through stack frames that cannot
        // handle exceptions.
        if (!isWellFormedRequirement(requirement)) {
            reportFault("the code-signing requirement", "it does not parse; every client is refused");
            return;
        }
        const auto text = makeNSString(requirement);
        const auto reason = raisedBy([&] { [listener_.get() setConnectionCodeSigningRequirement:text.get()]; });
        if (reason)
            reportFault("the code-signing requirement", reason->c_str());
        else
            delegate_.get()->hasRequirement_ = YES;
    }

    bool resume() override {
        if (!delegate_.get()->hasRequirement_) {
            reportFault("the listener", "it has no code-signing requirement and is not resumed");
            return false;
        }
        [listener_.get() resume];
        return true;
    }

  private:
    const ObjCReference<NSXPCListener*> listener_;
    const ObjCReference<KeloListenerDelegate*> delegate_;
};

} // namespace

std::unique_ptr<Listener> makeXPCListener(const std::string& machServiceName) {
    return std::make_unique<XPCListener>(machServiceName);
}

} // namespace kelo
