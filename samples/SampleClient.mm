// The least that a program needs to talk to the helper: asks for its version, prints the fans, holds them for a while
// and hands them back. docs/protocol.md explains each step.
//
// usage: sample-client TEAM FRACTION SECONDS: the team that signed both programs, what to hold (0 to 1), how long
//
// To build it on a Mac, from the top of the repository:
//   clang++ -std=c++20 -fno-objc-arc -I. -framework Foundation -arch arm64 -arch x86_64 samples/SampleClient.mm \
//     -o sample-client
//   codesign --force --options runtime --identifier app.kelo.Kelo --sign "Developer ID Application: NAME (TEAM)" \
//     sample-client

#import <Foundation/Foundation.h>

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "platform/macos/KeloHelperXPCProtocol.h"

namespace {

constexpr NSInteger interfaceVersion = 6;

/// Owned by the caller.
NSString* makeText(const std::string& text) {
    return [[NSString alloc] initWithBytes:text.data() length:text.size() encoding:NSUTF8StringEncoding];
}

/// Owned by the caller, who invalidates it, too.
NSXPCConnection* makeConnection(const std::string& team) {
    NSString* const service = makeText("app.kelo.helper");
    // The helper checks who we are; this is how we check that it is the helper.
    NSString* const requirement = makeText("anchor apple generic and identifier \"app.kelo.helper\" and "
                                           "certificate leaf[subject.OU] = \"" +
                                           team + "\"");
    // Privileged: the service is the system's, not the user's.
    NSXPCConnection* const connection = [[NSXPCConnection alloc] initWithMachServiceName:service
                                                                                 options:NSXPCConnectionPrivileged];
    connection.remoteObjectInterface = [NSXPCInterface interfaceWithProtocol:@protocol(KeloHelperProtocol)];
    [connection setCodeSigningRequirement:requirement];
    [connection resume];
    [requirement release];
    [service release];
    return connection;
}

/// Of the reply and the error handler, exactly one is called: here on this thread, before the call returns. A program
/// with windows calls remoteObjectProxyWithErrorHandler: instead, which does not wait.
bool talk(NSXPCConnection* connection, double fraction, unsigned seconds) {
    __block bool isFine = true;
    const id<KeloHelperProtocol> helper = [connection synchronousRemoteObjectProxyWithErrorHandler:^(NSError* error) {
      std::fprintf(stderr, "sample-client: %s\n", error.localizedDescription.UTF8String);
      isFine = false;
    }];

    [helper helperVersionWithReply:^(NSInteger version) {
      if (version == interfaceVersion)
          return;
      std::fprintf(stderr, "sample-client: the helper's interface version is %ld\n", long{version});
      isFine = false;
    }];
    if (!isFine)
        return false;

    [helper fetchSnapshotWithReply:^(NSData* _Nullable json) {
      const int length = static_cast<int>(json.length); // 0 for nil
      std::printf("%.*s\n", length, length > 0 ? static_cast<const char*>(json.bytes) : "");
    }];
    [helper holdWithFraction:fraction
         handsBackOnLidClose:YES
                       reply:^(NSString* _Nullable error) {
                         if (error == nil)
                             return;
                         std::fprintf(stderr, "sample-client: %s\n", error.UTF8String);
                         isFine = false;
                       }];
    if (!isFine)
        return false;

    sleep(seconds); // the hold lasts while this program is connected
    [helper handBackWithReply:^(NSString* _Nullable){
    }];
    return isFine;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        std::fprintf(stderr, "usage: sample-client TEAM FRACTION SECONDS\n");
        return 2;
    }
    bool isFine = false;
    @autoreleasepool {
        NSXPCConnection* const connection = makeConnection(argv[1]);
        isFine = talk(connection, std::atof(argv[2]), static_cast<unsigned>(std::atoi(argv[3])));
        [connection invalidate]; // before the last release
        [connection release];
    }
    return isFine ? 0 : 1;
}
