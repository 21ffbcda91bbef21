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

// What the doubles of XPC's classes share.

using EmptyBlock = void (^)(void);
using ErrorBlock = void (^)(NSError*);

constexpr NSInteger connectionInterrupted = 4097;
constexpr NSInteger connectionInvalid = 4099;
constexpr NSInteger replyInvalid = 4101;
constexpr NSInteger requirementFailure = 4102;

/// Owns one reference to an object; copies of it own one each.
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

/// Owns one reference to a block on the heap; copies of it own one each.
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

/// One request that waits for its reply.
class Pending {
  public:
    /// The first one counts; `deliver` then runs on the client's thread.
    void reply(std::function<void()> deliver);
    void fail(NSInteger code);
    /// Waits, and calls the reply or the error handler on the calling thread.
    void finish(ErrorBlock errorHandler);

  private:
    std::mutex mutex_;
    std::condition_variable done_;
    std::function<void()> deliver_;
    NSInteger error_ = 0;
    bool isDone_ = false;
    int replies_ = 0;
};

/// Owned by a request's reply block. Fails the request when the block is dropped without a call.
struct ReplyToken {
    explicit ReplyToken(std::shared_ptr<Pending> request) : pending(std::move(request)) {}
    ~ReplyToken() { pending->fail(replyInvalid); }
    ReplyToken(const ReplyToken&) = delete;
    ReplyToken& operator=(const ReplyToken&) = delete;
    const std::shared_ptr<Pending> pending;
};

/// The state of an NSXPCInterface.
struct Interface {
    Protocol* protocol;
};

/// The state of an NSXPCListener.
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

/// The state of an NSXPCConnection, at either end.
struct ConnectionState {
    explicit ConnectionState(bool isOfClient) : isClient(isOfClient) {}

    const bool isClient;
    pid_t process = 0; // of the helper's end: the client's
    std::string name;
    NSUInteger options = 0;
    std::mutex mutex; // guards what follows
    Strong exportedInterface;
    Strong exportedObject;
    Strong remoteInterface;
    Copied<EmptyBlock> interruptionHandler;
    Copied<EmptyBlock> invalidationHandler;
    std::optional<std::string> requirement;
    bool isResumed = false;
    bool isInvalid = false;
    Strong server;                               // of a client: the helper's end
    std::weak_ptr<ConnectionState> client;       // of the helper's end
    SerialQueue* queue = nullptr;                // of the helper's end
    std::set<std::shared_ptr<Pending>> requests; // of the helper's end: waiting for a reply
};

using ConnectionRef = std::shared_ptr<ConnectionState>;

/// The listeners by service, and the helper's ends of connections that were accepted.
struct XPCWorld {
    std::mutex mutex;
    std::map<std::string, std::shared_ptr<ListenerState>> listeners;
    std::vector<ConnectionRef> servers;
    std::vector<std::string> replyOrigins;
};

XPCWorld& xpcWorld();

ConnectionRef stateOf(NSXPCConnection* connection);
std::shared_ptr<ListenerState> stateOf(NSXPCListener* listener);

/// Raises what the platform raises for a requirement that does not parse.
void refuseMalformed(NSString* requirement);

/// Ends the helper's end of a connection, on its queue.
void endServer(const ConnectionRef& server);

/// Makes one request and waits for its reply or error; connects first if necessary. `invoke` sends the request to the
/// exported object, on the connection's queue.
void request(const ConnectionRef& client, ErrorBlock errorHandler, SEL selector,
             const std::function<void(id exported, std::shared_ptr<ReplyToken> token)>& invoke);

/// What synchronousRemoteObjectProxyWithErrorHandler returns.
id makeProxy(NSXPCConnection* connection, ErrorBlock errorHandler);

} // namespace kelo::doubles
