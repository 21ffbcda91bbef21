#include "platform/macos/ExportedHelper.h"

#include "platform/macos/FoundationText.h"
#include "platform/macos/KeloHelperXPCProtocol.h"
#include "platform/posix/Containment.h"
#include "platform/posix/OneReply.h"

namespace kelo {

namespace {

using DataBlock = void (^)(NSData* _Nullable);
using ErrorBlock = void (^)(NSString* _Nullable);
using VersionBlock = void (^)(NSInteger);
using EmptyBlock = void (^)(void);

constexpr const char* brokenHelper = "The helper could not carry out the request because of an internal error.";

KeloHelperProtocol::DataReply dataReply(DataBlock reply) {
    return OneReply<std::optional<Data>>::through(
        [block = BlockReference<DataBlock>(reply)](const std::optional<Data>& data) { block(makeNSData(data).get()); },
        std::nullopt);
}

KeloHelperProtocol::ErrorReply errorReply(ErrorBlock reply) {
    return OneReply<std::optional<std::string>>::through(
        [block = BlockReference<ErrorBlock>(reply)](const std::optional<std::string>& error) {
            block(makeNSString(error).get());
        },
        brokenHelper);
}

KeloHelperProtocol::VersionReply versionReply(VersionBlock reply) {
    return OneReply<std::int64_t>::through(
        [block = BlockReference<VersionBlock>(reply)](std::int64_t version) { block(version); }, 0);
}

KeloHelperProtocol::EmptyReply emptyReply(EmptyBlock reply) {
    return OneReply<>::through([block = BlockReference<EmptyBlock>(reply)] { block(); });
}

} // namespace

} // namespace kelo

@interface KeloExportedHelper : NSObject <KeloHelperProtocol> {
  @public
    std::shared_ptr<kelo::KeloHelperProtocol> helper_;
}
@end

@implementation KeloExportedHelper

- (void)fetchSnapshotWithReply:(kelo::DataBlock)reply {
    auto& helper = *helper_;
    kelo::contain("fetchSnapshot", [&] { helper.fetchSnapshot(kelo::dataReply(reply)); });
}

- (void)holdWithFraction:(double)fraction handsBackOnLidClose:(BOOL)handsBackOnLidClose reply:(kelo::ErrorBlock)reply {
    auto& helper = *helper_;
    kelo::contain("hold", [&] { helper.hold(fraction, handsBackOnLidClose != NO, kelo::errorReply(reply)); });
}

- (void)handBackWithReply:(kelo::ErrorBlock)reply {
    auto& helper = *helper_;
    kelo::contain("handBack", [&] { helper.handBack(kelo::errorReply(reply)); });
}

- (void)helperVersionWithReply:(kelo::VersionBlock)reply {
    auto& helper = *helper_;
    kelo::contain("helperVersion", [&] { helper.helperVersion(kelo::versionReply(reply)); });
}

- (void)standDownWithReply:(kelo::EmptyBlock)reply {
    auto& helper = *helper_;
    kelo::contain("standDown", [&] { helper.standDown(kelo::emptyReply(reply)); });
}

@end

namespace kelo {

ObjCReference<id> makeExportedHelper(std::shared_ptr<KeloHelperProtocol> helper) {
    KeloExportedHelper* const exported = [[KeloExportedHelper alloc] init];
    exported->helper_ = std::move(helper);
    return adopt<id>(exported);
}

} // namespace kelo
