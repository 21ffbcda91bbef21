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

/// Forwards the request; `send` passes the answer to the block. Copies the block because the reply may come after this
/// function has returned. Exceptions from the copy do not reach XPC: the block is then dropped, and XPC answers the
/// request with an error.
template <typename Request, typename Block, typename Send>
void perform(KeloHelperProtocol& helper, Request request, Block block, Send send) {
    contain(Request::selector, [&] {
        helper.perform(requests::Call{
            request, [send, copied = BlockReference<Block>(block)](const auto& answer) { send(copied, answer); }});
    });
}

constexpr auto sendError = [](const auto& block, const auto& error) { block(makeNSString(error).get()); };

} // namespace

} // namespace kelo

@interface KeloExportedHelper : NSObject <KeloHelperProtocol> {
  @public
    std::shared_ptr<kelo::KeloHelperProtocol> helper_;
}
@end

@implementation KeloExportedHelper

- (void)fetchSnapshotWithReply:(kelo::DataBlock)reply {
    kelo::perform(*helper_, kelo::requests::FetchSnapshot{}, reply,
                  [](const auto& block, const auto& data) { block(kelo::makeNSData(data).get()); });
}

- (void)holdWithFraction:(double)fraction handsBackOnLidClose:(BOOL)handsBackOnLidClose reply:(kelo::ErrorBlock)reply {
    kelo::perform(*helper_, kelo::requests::Hold{fraction, handsBackOnLidClose != NO}, reply, kelo::sendError);
}

- (void)handBackWithReply:(kelo::ErrorBlock)reply {
    kelo::perform(*helper_, kelo::requests::HandBack{}, reply, kelo::sendError);
}

- (void)helperVersionWithReply:(kelo::VersionBlock)reply {
    kelo::perform(*helper_, kelo::requests::HelperVersion{}, reply,
                  [](const auto& block, std::int64_t version) { block(version); });
}

- (void)standDownWithReply:(kelo::EmptyBlock)reply {
    kelo::perform(*helper_, kelo::requests::StandDown{}, reply,
                  [](const auto& block, kelo::requests::Nothing) { block(); });
}

@end

namespace kelo {

ObjCReference<id> makeExportedHelper(std::shared_ptr<KeloHelperProtocol> helper) {
    KeloExportedHelper* const exported = [[KeloExportedHelper alloc] init];
    exported->helper_ = std::move(helper);
    return adopt<id>(exported);
}

} // namespace kelo
