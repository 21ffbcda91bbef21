#include "platform/macos/ExportedHelper.h"

#include "platform/macos/FoundationText.h"
#include "platform/macos/KeloHelperXPCProtocol.h"
#include "platform/posix/Containment.h"

namespace kelo {

namespace {

using DataBlock = void (^)(NSData* _Nullable);
using ErrorBlock = void (^)(NSString* _Nullable);
using VersionBlock = void (^)(NSInteger);
using EmptyBlock = void (^)(void);

KeloHelperProtocol::ErrorReply errorReply(ErrorBlock reply) {
    return [block = BlockReference<ErrorBlock>(reply)](const auto& error) { block(makeNSString(error).get()); };
}

} // namespace

} // namespace kelo

@interface KeloExportedHelper : NSObject <KeloHelperProtocol> {
  @public
    std::shared_ptr<kelo::KeloHelperProtocol> helper_;
}
@end

// A block is copied for as long as its reply may come. What copies it is made where nothing that it throws reaches XPC,
// which answers a request whose block is dropped with an error.
@implementation KeloExportedHelper

- (void)fetchSnapshotWithReply:(kelo::DataBlock)reply {
    kelo::contain("fetchSnapshot", [&] {
        helper_->fetchSnapshot([block = kelo::BlockReference<kelo::DataBlock>(reply)](const auto& data) {
            block(kelo::makeNSData(data).get());
        });
    });
}

- (void)holdWithFraction:(double)fraction handsBackOnLidClose:(BOOL)handsBackOnLidClose reply:(kelo::ErrorBlock)reply {
    kelo::contain("hold", [&] { helper_->hold(fraction, handsBackOnLidClose != NO, kelo::errorReply(reply)); });
}

- (void)handBackWithReply:(kelo::ErrorBlock)reply {
    kelo::contain("handBack", [&] { helper_->handBack(kelo::errorReply(reply)); });
}

- (void)helperVersionWithReply:(kelo::VersionBlock)reply {
    kelo::contain("helperVersion", [&] {
        helper_->helperVersion(
            [block = kelo::BlockReference<kelo::VersionBlock>(reply)](std::int64_t version) { block(version); });
    });
}

- (void)standDownWithReply:(kelo::EmptyBlock)reply {
    kelo::contain("standDown",
                  [&] { helper_->standDown([block = kelo::BlockReference<kelo::EmptyBlock>(reply)] { block(); }); });
}

@end

namespace kelo {

ObjCReference<id> makeExportedHelper(std::shared_ptr<KeloHelperProtocol> helper) {
    KeloExportedHelper* const exported = [[KeloExportedHelper alloc] init];
    exported->helper_ = std::move(helper);
    return adopt<id>(exported);
}

} // namespace kelo
