#pragma once

// Source of unmarked declarations: B (bindings generated from the vendor's headers, macOS 14).

#include <CoreFoundation/CoreFoundation.h>
#include <stddef.h>
#include <sys/types.h>

#ifndef __OBJC__
#error "Foundation is for Objective-C++"
#endif

// Sources: V (objc4, runtime/objc.h), and C for the type encodings of BOOL ("B" and "c").
#if defined(__arm64__) || defined(__aarch64__)
typedef bool BOOL;
#else
typedef signed char BOOL;
#endif
#define YES ((BOOL)1)
#define NO ((BOOL)0)
#ifndef nil
#define nil nullptr // V objc4, runtime/objc.h, for C++11 and later
#endif

typedef long NSInteger;           // C: encoding q
typedef unsigned long NSUInteger; // C: encoding Q

#define NS_ASSUME_NONNULL_BEGIN _Pragma("clang assume_nonnull begin")
#define NS_ASSUME_NONNULL_END _Pragma("clang assume_nonnull end")

@class NSString, NSXPCConnection, NSXPCListener;

NS_ASSUME_NONNULL_BEGIN

@protocol NSObject
- (oneway void)release; // V objc4, runtime/NSObject.h
@end

__attribute__((objc_root_class))
@interface NSObject<NSObject> {
    Class isa;
#ifndef __APPLE__
  @public
    void* double_; // the state of the test double
#endif
}
+ (instancetype)alloc;
- (instancetype)init;
@end

typedef NSUInteger NSStringEncoding;
static const NSStringEncoding NSUTF8StringEncoding = 4;      // G
static const NSStringEncoding NSISOLatin1StringEncoding = 5; // G: accepts every byte

@interface NSString : NSObject
- (nullable instancetype)initWithBytes:(const void*)bytes
                                length:(NSUInteger)len
                              encoding:(NSStringEncoding)encoding; // G; nil if the bytes are invalid in the encoding
@property(nullable, readonly) const char* UTF8String;              // G; valid as long as the string
@end

@interface NSData : NSObject
- (instancetype)initWithBytes:(nullable const void*)bytes length:(NSUInteger)length; // G
@property(readonly) const void* bytes;                                               // G; may be null if empty
@property(readonly) NSUInteger length;                                               // G
@end

@interface NSError : NSObject
@property(readonly, copy) NSString* localizedDescription; // G
@end

@interface NSException : NSObject
@property(nullable, readonly, copy) NSString* reason; // G
@end

@interface NSXPCInterface : NSObject
+ (NSXPCInterface*)interfaceWithProtocol:(Protocol*)protocol;
@end

@protocol NSXPCListenerDelegate <NSObject>
@optional
- (BOOL)listener:(NSXPCListener*)listener shouldAcceptNewConnection:(NSXPCConnection*)newConnection;
@end

@interface NSXPCListener : NSObject
- (instancetype)initWithMachServiceName:(NSString*)name;
@property(nullable, weak) id<NSXPCListenerDelegate> delegate; // D: keep the delegate alive yourself
- (void)resume;
- (void)invalidate;
- (void)setConnectionCodeSigningRequirement:(NSString*)requirement; // macOS 13; before resume; raises on malformed text
@end

typedef NSUInteger NSXPCConnectionOptions;
static const NSXPCConnectionOptions NSXPCConnectionPrivileged = 1 << 12;

@interface NSXPCConnection : NSObject
- (instancetype)initWithMachServiceName:(NSString*)name options:(NSXPCConnectionOptions)options;
@property(nullable, retain) NSXPCInterface* exportedInterface;
@property(nullable, retain) id exportedObject;
@property(nullable, retain) NSXPCInterface* remoteObjectInterface;
- (id)synchronousRemoteObjectProxyWithErrorHandler:(void (^)(NSError* error))handler; // 10.11
@property(readonly) pid_t processIdentifier;
@property(nullable, copy) void (^interruptionHandler)(void);
@property(nullable, copy) void (^invalidationHandler)(void);
- (void)resume;
- (void)invalidate;
- (void)setCodeSigningRequirement:(NSString*)requirement; // macOS 13; once, before resume; raises on malformed text
@end

NS_ASSUME_NONNULL_END
