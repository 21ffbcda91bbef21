#include "platform/macos/KeloHelperXPCProtocol.h"
#include "tests/platform/macos/doubles/ObjCRuntime.h"
#include "tests/platform/macos/doubles/XPCState.h"

namespace kelo::doubles {

namespace {

struct Proxy {
    Strong connection;
    Copied<ErrorBlock> errorHandler;
    ConnectionRef client() const { return stateOf(static_cast<NSXPCConnection*>(connection.get())); }
};

/// Returns the reply block for the helper. The block passes an object on to the client's `reply`.
/// `token` is passed by value: a block does not copy the target of a reference.
template <typename Object> Copied<void (^)(Object*)> passOn(void (^reply)(Object*), std::shared_ptr<ReplyToken> token) {
    const Copied client(reply); // must outlive the block below, which does not own it
    return Copied<void (^)(Object*)>(^(Object* object) {
      const Strong carried(object);
      token->pending->reply([client, carried] { client.get()(carried.get()); });
    });
}

using Sender = std::function<void(id<KeloHelperProtocol> helper, std::shared_ptr<ReplyToken> token)>;

/// Makes one request; `send` sends it to the exported object.
void perform(NSObject* object, const char* selector, const Sender& send) {
    const auto& proxy = payload<Proxy>(object);
    request(proxy.client(), proxy.errorHandler.get(), sel_registerName(selector),
            [send](id helper, const std::shared_ptr<ReplyToken>& token) { send(helper, token); });
}

} // namespace

} // namespace kelo::doubles

using namespace kelo::doubles;

@interface KeloProxyDouble : NSObject <KeloHelperProtocol>
@end

@implementation KeloProxyDouble

- (void)fetchSnapshotWithReply:(void (^)(NSData*))reply {
    perform(self, "fetchSnapshotWithReply:", [reply](auto helper, const auto& token) {
        [helper fetchSnapshotWithReply:passOn(reply, token).get()];
    });
}

- (void)holdWithFraction:(double)fraction
     handsBackOnLidClose:(BOOL)handsBackOnLidClose
                   reply:(void (^)(NSString*))reply {
    perform(self, "holdWithFraction:handsBackOnLidClose:reply:", [=](auto helper, const auto& token) {
        [helper holdWithFraction:fraction handsBackOnLidClose:handsBackOnLidClose reply:passOn(reply, token).get()];
    });
}

- (void)handBackWithReply:(void (^)(NSString*))reply {
    perform(self, "handBackWithReply:", [reply](auto helper, const auto& token) {
        [helper handBackWithReply:passOn(reply, token).get()];
    });
}

- (void)helperVersionWithReply:(void (^)(NSInteger))reply {
    perform(self, "helperVersionWithReply:", [reply](auto helper, std::shared_ptr<ReplyToken> token) {
        const Copied client(reply); // as in passOn
        [helper helperVersionWithReply:^(NSInteger version) {
          token->pending->reply([client, version] { client.get()(version); });
        }];
    });
}

- (void)standDownWithReply:(void (^)(void))reply {
    perform(self, "standDownWithReply:", [reply](auto helper, std::shared_ptr<ReplyToken> token) {
        const Copied client(reply); // as in passOn
        [helper standDownWithReply:^{
          token->pending->reply([client] { client.get()(); });
        }];
    });
}

@end

namespace kelo::doubles {

id makeProxy(NSXPCConnection* connection, ErrorBlock errorHandler) {
    KeloProxyDouble* const proxy = [[KeloProxyDouble alloc] init];
    setPayload(proxy, std::make_shared<Proxy>(Proxy{Strong(connection), Copied<ErrorBlock>(errorHandler)}));
    return [proxy autorelease];
}

} // namespace kelo::doubles
