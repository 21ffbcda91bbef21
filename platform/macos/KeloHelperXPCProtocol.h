#pragma once

#import <Foundation/Foundation.h>

NS_ASSUME_NONNULL_BEGIN

/// The five requests of a client to the helper: the Objective-C version of kelo::KeloHelperProtocol.
///
/// XPC compares the types of both sides as text and drops a call that differs, so any change here requires a new
/// KeloHelper::interfaceVersion. The run-time name is the mangled name of a protocol KeloHelperProtocol in a module
/// KeloProtocol.
__attribute__((objc_runtime_name("_TtP12KeloProtocol18KeloHelperProtocol_")))
@protocol KeloHelperProtocol

- (void)fetchSnapshotWithReply:(void (^)(NSData* _Nullable))reply;
- (void)holdWithFraction:(double)fraction
     handsBackOnLidClose:(BOOL)handsBackOnLidClose
                   reply:(void (^)(NSString* _Nullable))reply;
- (void)handBackWithReply:(void (^)(NSString* _Nullable))reply;
- (void)helperVersionWithReply:(void (^)(NSInteger))reply;
- (void)standDownWithReply:(void (^)(void))reply;

@end

NS_ASSUME_NONNULL_END
