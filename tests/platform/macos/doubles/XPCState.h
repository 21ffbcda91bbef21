#pragma once

#import <Foundation/Foundation.h>

#include <Block.h>

#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tests/platform/macos/doubles/FoundationDouble.h"
#include "tests/platform/macos/doubles/SerialQueue.h"
#include "tests/platform/macos/doubles/XPCDouble.h"

namespace kelo::doubles {

// The state that the doubles of XPC's classes share.

using EmptyBlock = void (^)(void);
using ErrorBlock = void (^)(NSError*);

constexpr NSInteger connectionInterrupted = 4097;
constexpr NSInteger connectionInvalid = 4099;
constexpr NSInteger replyInvalid = 4101;
constexpr NSInteger requirementFailure = 4102;

/// Owns one reference to an object. Each copy owns another reference.
class Strong {
  public:
    Strong() = default;
    explicit Strong(NSObject* object) : object_([object retain]) {}
    Strong(const Strong& other) : object_([other.object_ retain]) {}
    Strong& operator=(Strong other) {
        std::swap(object_, other.object_);
        return *this;
    }
    ~Strong() { [object_ release]; }
    id get() const { return object_; }

  private:
    NSObject* object_ = nil;
};

/// Owns one reference to a heap block. Each copy owns another reference.
template <typename Block> class Copied {
  public:
    Copied() = default;
    explicit Copied(Block block) {
        if (block != nullptr)
            block_ = Block_copy(block);
    }
    Copied(const Copied& other) : Copied(other.block_) {}
    Copied& operator=(Copied other) {
        std::swap(block_, other.block_);
        return *this;
    }
    ~Copied() {
        if (block_ != nullptr)
            Block_release(block_);
    }
    Block get() const { return block_; }

  private:
    Block block_ = nullptr;
};

/// A request that waits for its reply.
class Pending {
  public:
    /// Stores the first reply and ignores the others. `deliver` runs on the client's thread.
    void reply(std::function<void()> deliver);
    void fail(NSInteger code);
    /// Waits for the reply or an error, then delivers it on the calling thread.
    void finish(ErrorBlock errorHandler);

  private:
    std::mutex mutex_;
    std::condition_variable done_;
    std::function<void()> deliver_;
    NSInteger error_ = 0;
    bool isDone_ = false;
    int replies_ = 0;
};

/// Each reply block owns a token. If the block is dropped without being called, the token fails the request.
struct ReplyToken {
    explicit ReplyToken(std::shared_ptr<Pending> request) : pending(std::move(request)) {}
    ~ReplyToken() { pending->fail(replyInvalid); }
    ReplyToken(const ReplyToken&) = delete;
    ReplyToken& operator=(const ReplyToken&) = delete;
    const std::shared_ptr<Pending> pending;
};

struct Interface {
    Protocol* protocol;
};

struct ListenerState {
    std::mutex mutex;
    std::string name;
    NSXPCListener* listener = nil; // not retained
    NSObject* delegate = nil;      // not retained
    std::optional<std::string> requirement;
    bool isResumed = false;
    bool isInvalid = false;
    SerialQueue& queue = SerialQueue::make();
};

struct ConnectionState {
    explicit ConnectionState(bool isOfClient) : isClient(isOfClient) {}

    const bool isClient;
    pid_t process = 0; // set on the helper's end: the client's process
    std::string name;
    NSUInteger options = 0;
    std::mutex mutex; // guards the members below
    Strong exportedInterface;
    Strong exportedObject;
    Strong remoteInterface;
    Copied<EmptyBlock> interruptionHandler;
    Copied<EmptyBlock> invalidationHandler;
    std::optional<std::string> requirement;
    bool isResumed = false;
    bool isInvalid = false;
    Strong server;                               // set on the client's end: the helper's end
    std::weak_ptr<ConnectionState> client;       // set on the helper's end
    SerialQueue* queue = nullptr;                // set on the helper's end
    std::set<std::shared_ptr<Pending>> requests; // set on the helper's end: requests that wait for a reply
};

using ConnectionRef = std::shared_ptr<ConnectionState>;

/// The listeners by service, and the helper's ends of accepted connections.
struct XPCWorld {
    std::mutex mutex;
    std::map<std::string, std::shared_ptr<ListenerState>> listeners;
    std::vector<ConnectionRef> servers;
    std::vector<std::string> replyOrigins;
};

XPCWorld& xpcWorld();

ConnectionRef stateOf(NSXPCConnection* connection);
std::shared_ptr<ListenerState> stateOf(NSXPCListener* listener);

void refuseMalformed(NSString* requirement);

void endServer(const ConnectionRef& server);

/// Makes one request, connecting first if necessary, and waits for its reply or error. `invoke` sends the request to
/// the exported object, on the connection's queue.
void request(const ConnectionRef& client, ErrorBlock errorHandler, SEL selector,
             const std::function<void(id exported, std::shared_ptr<ReplyToken> token)>& invoke);

/// Creates the result of synchronousRemoteObjectProxyWithErrorHandler.
id makeProxy(NSXPCConnection* connection, ErrorBlock errorHandler);

} // namespace kelo::doubles
