// A minimal client of the helper. Asks an older helper to stand down, prints the fans, holds them for a while, even if
// the helper is restarted meanwhile, and hands them back. docs/protocol.md explains each step.
//
// usage: sample-client TEAM FRACTION SECONDS: the team that signed both programs, the fraction to hold (0 to 1), the
// duration of the hold
//
// To build it on a Mac, from the top of the repository:
//   clang++ -std=c++20 -fno-objc-arc -I. -framework Foundation -arch arm64 -arch x86_64 samples/SampleClient.mm \
//     -o sample-client
//   codesign --force --options runtime --identifier app.kelo.Kelo --sign "Developer ID Application: NAME (TEAM)" \
//     sample-client

#import <Foundation/Foundation.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include "platform/macos/KeloHelperXPCProtocol.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr NSInteger interfaceVersion = 6;

/// Records whether the helper has exited since the last call of `waitUntil`.
class Interruption {
  public:
    /// Any thread.
    void notify() {
        const std::lock_guard lock(mutex_);
        hasHappened_ = true;
        changed_.notify_all();
    }

    /// Waits until the helper has exited, at most until `end`. Returns whether it has exited.
    bool waitUntil(Clock::time_point end) {
        std::unique_lock lock(mutex_);
        changed_.wait_until(lock, end, [this] { return hasHappened_; });
        return std::exchange(hasHappened_, false);
    }

  private:
    std::mutex mutex_;
    std::condition_variable changed_;
    bool hasHappened_ = false;
};

/// Returns a string that the caller must release.
NSString* makeText(const std::string& text) {
    return [[NSString alloc] initWithBytes:text.data() length:text.size() encoding:NSUTF8StringEncoding];
}

/// Returns a connection that the caller must invalidate and release.
NSXPCConnection* makeConnection(const std::string& team, const std::shared_ptr<Interruption>& interruption) {
    NSString* const service = makeText("app.kelo.helper");
    // The helper checks our signature, and this requirement checks the helper's.
    NSString* const requirement = makeText("anchor apple generic and identifier \"app.kelo.helper\" and "
                                           "certificate leaf[subject.OU] = \"" +
                                           team + "\"");
    // Privileged: the service is in the system's domain, not the user's.
    NSXPCConnection* const connection = [[NSXPCConnection alloc] initWithMachServiceName:service
                                                                                 options:NSXPCConnectionPrivileged];
    connection.remoteObjectInterface = [NSXPCInterface interfaceWithProtocol:@protocol(KeloHelperProtocol)];
    const auto shared =
        interruption; // the block copies this; capturing the connection, which owns the block, would leak both
    connection.interruptionHandler = ^{ // runs on a queue of the connection
      shared->notify();
    };
    [connection setCodeSigningRequirement:requirement];
    [connection resume];
    [requirement release];
    [service release];
    return connection;
}

class Client {
  public:
    explicit Client(const std::string& team) : connection_(makeConnection(team, interruption_)) {}
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;
    ~Client() {
        [connection_ invalidate]; // must precede the last release
        [connection_ release];
    }

    /// Returns whether all requests have succeeded so far.
    bool hasSucceeded() const { return hasSucceeded_; }

    /// Asks an older helper to hand the fans back and exit. The next request starts the new helper.
    void checkVersion() {
        NSInteger version = helperVersion();
        if (hasSucceeded_ && version < interfaceVersion) {
            [helper() standDownWithReply:^{
            }];
            interruption_->waitUntil(Clock::now() + std::chrono::seconds(5));
            version = helperVersion();
        }
        if (hasSucceeded_ && version != interfaceVersion)
            fail("the helper's interface version is " + std::to_string(version));
    }

    void printFans() {
        [helper() fetchSnapshotWithReply:^(NSData* _Nullable json) {
          const int length = static_cast<int>(json.length); // 0 for nil
          std::printf("%.*s\n", length, length > 0 ? static_cast<const char*>(json.bytes) : "");
        }];
    }

    /// Holds the fans until `end`, as long as this program is connected. If the helper exits or crashes, asks the new
    /// helper for the hold again. A crash leaves the fans as they were.
    void hold(double fraction, Clock::time_point end) {
        do
            [helper() holdWithFraction:fraction
                   handsBackOnLidClose:YES
                                 reply:^(NSString* _Nullable error) {
                                   if (error != nil)
                                       fail(error.UTF8String);
                                 }];
        while (hasSucceeded_ && interruption_->waitUntil(end));
    }

    void handBack() {
        [helper() handBackWithReply:^(NSString* _Nullable){
        }];
    }

  private:
    /// Returns a proxy. Each request to the proxy calls either the reply or the error handler once, on this thread,
    /// before the request returns. A program with windows should use remoteObjectProxyWithErrorHandler: instead, which
    /// does not block.
    id<KeloHelperProtocol> helper() {
        return [connection_ synchronousRemoteObjectProxyWithErrorHandler:^(NSError* error) {
          fail(error.localizedDescription.UTF8String);
        }];
    }

    NSInteger helperVersion() {
        __block NSInteger answer = 0;
        [helper() helperVersionWithReply:^(NSInteger version) {
          answer = version;
        }];
        return answer;
    }

    void fail(const std::string& why) {
        std::fprintf(stderr, "sample-client: %s\n", why.c_str());
        hasSucceeded_ = false;
    }

    const std::shared_ptr<Interruption> interruption_ = std::make_shared<Interruption>();
    NSXPCConnection* const connection_;
    bool hasSucceeded_ = true;
};

} // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        std::fprintf(stderr, "usage: sample-client TEAM FRACTION SECONDS\n");
        return 2;
    }
    @autoreleasepool {
        Client client(argv[1]);
        client.checkVersion();
        if (client.hasSucceeded())
            client.printFans();
        if (client.hasSucceeded())
            client.hold(std::atof(argv[2]), Clock::now() + std::chrono::seconds(std::atoi(argv[3])));
        if (client.hasSucceeded())
            client.handBack();
        return client.hasSucceeded() ? 0 : 1;
    }
}
