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

} // namespace

} // namespace kelo::doubles

using namespace kelo::doubles;

@interface KeloProxyDouble : NSObject <KeloHelperProtocol>
@end

@implementation KeloProxyDouble

- (void)fetchSnapshotWithReply:(void (^)(NSData*))reply {
    auto& proxy = payload<Proxy>(self);
    request(proxy.client(), proxy.errorHandler.get(), sel_registerName("fetchSnapshotWithReply:"),
            [reply](id helper, std::shared_ptr<ReplyToken> token) {
                const Copied client(reply); // it is to outlive the block below, which would hold it unowned
                [static_cast<id<KeloHelperProtocol>>(helper) fetchSnapshotWithReply:^(NSData* data) {
                  const Strong carried(data);
                  token->pending->reply([client, carried] { client.get()(carried.get()); });
                }];
            });
}

- (void)holdWithFraction:(double)fraction
     handsBackOnLidClose:(BOOL)handsBackOnLidClose
                   reply:(void (^)(NSString*))reply {
    auto& proxy = payload<Proxy>(self);
    request(proxy.client(), proxy.errorHandler.get(), sel_registerName("holdWithFraction:handsBackOnLidClose:reply:"),
            [=](id helper, std::shared_ptr<ReplyToken> token) {
                const Copied client(reply); // it is to outlive the block below, which would hold it unowned
                [static_cast<id<KeloHelperProtocol>>(helper)
                       holdWithFraction:fraction
                    handsBackOnLidClose:handsBackOnLidClose
                                  reply:^(NSString* error) {
                                    const Strong carried(error);
                                    token->pending->reply([client, carried] { client.get()(carried.get()); });
                                  }];
            });
}

- (void)handBackWithReply:(void (^)(NSString*))reply {
    auto& proxy = payload<Proxy>(self);
    request(proxy.client(), proxy.errorHandler.get(), sel_registerName("handBackWithReply:"),
            [reply](id helper, std::shared_ptr<ReplyToken> token) {
                const Copied client(reply); // it is to outlive the block below, which would hold it unowned
                [static_cast<id<KeloHelperProtocol>>(helper) handBackWithReply:^(NSString* error) {
                  const Strong carried(error);
                  token->pending->reply([client, carried] { client.get()(carried.get()); });
                }];
            });
}

- (void)helperVersionWithReply:(void (^)(NSInteger))reply {
    auto& proxy = payload<Proxy>(self);
    request(proxy.client(), proxy.errorHandler.get(), sel_registerName("helperVersionWithReply:"),
            [reply](id helper, std::shared_ptr<ReplyToken> token) {
                const Copied client(reply); // it is to outlive the block below, which would hold it unowned
                [static_cast<id<KeloHelperProtocol>>(helper) helperVersionWithReply:^(NSInteger version) {
                  token->pending->reply([client, version] { client.get()(version); });
                }];
            });
}

- (void)standDownWithReply:(void (^)(void))reply {
    auto& proxy = payload<Proxy>(self);
    request(proxy.client(), proxy.errorHandler.get(), sel_registerName("standDownWithReply:"),
            [reply](id helper, std::shared_ptr<ReplyToken> token) {
                const Copied client(reply); // it is to outlive the block below, which would hold it unowned
                [static_cast<id<KeloHelperProtocol>>(helper) standDownWithReply:^{
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
