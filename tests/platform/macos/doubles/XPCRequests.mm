#include <chrono>

#include "tests/platform/macos/doubles/FailingAllocation.h"
#include "tests/platform/macos/doubles/Journal.h"
#include "tests/platform/macos/doubles/MainLoop.h"
#include "tests/platform/macos/doubles/ObjCRuntime.h"
#include "tests/platform/macos/doubles/XPCState.h"

namespace kelo::doubles {

namespace {

bool satisfies(const CodeSignature& signature, const std::string& requirement) {
    return !signature.team.empty() && requirement == "anchor apple generic and identifier \"" + signature.identifier +
                                                         "\" and certificate leaf[subject.OU] = \"" + signature.team +
                                                         "\"";
}

/// Asks the delegate on the listener's queue. Returns the helper's end of the connection, or nothing if the delegate
/// refuses it.
Strong present(const std::shared_ptr<ListenerState>& listener, const ConnectionRef& client) {
    std::unique_lock lock(listener->mutex);
    if (listener->requirement && !satisfies(xpc().client, *listener->requirement))
        return {};
    if (listener->delegate == nil || listener->isInvalid)
        return {};
    const Strong delegate(listener->delegate);
    lock.unlock();

    NSXPCConnection* const connection = [[NSXPCConnection alloc] init];
    const Strong server(connection);
    [connection release];
    const auto state = std::make_shared<ConnectionState>(false);
    state->client = client;
    state->process = xpc().clientProcess;
    state->queue = &SerialQueue::make();
    setPayload(connection, state);
    bool isAccepted = false;
    callWithMemory(xpc().isHelperShortOfMemory, [&] {
        isAccepted = [delegate.get() listener:listener->listener shouldAcceptNewConnection:connection] != NO;
    });
    if (isAccepted && !state->isResumed)
        journal().misuse("a connection was accepted but not resumed");
    if (!isAccepted && state->isResumed)
        journal().misuse("a connection was resumed but not accepted");
    if (!isAccepted) {
        endServer(state);
        return {};
    }
    const std::lock_guard worldLock(xpcWorld().mutex);
    xpcWorld().servers.push_back(state);
    return server;
}

/// Returns the privileged listener of the service that `client` names.
std::shared_ptr<ListenerState> listenerOf(const ConnectionState& client) {
    const std::lock_guard lock(xpcWorld().mutex);
    const auto found = xpcWorld().listeners.find(client.name);
    const bool isPrivileged = (client.options & NSXPCConnectionPrivileged) != 0;
    return isPrivileged && found != xpcWorld().listeners.end() ? found->second : nullptr;
}

/// Connects for the first request, and for the first request after an interruption. Returns 0 and the helper's end in
/// `server`, or the connection's error code.
NSInteger connect(const ConnectionRef& connection, Strong& server) {
    ConnectionState& client = *connection;
    const std::lock_guard lock(client.mutex);
    if (client.isInvalid)
        return connectionInvalid;
    if (!client.isResumed) {
        journal().misuse("a request over a connection that was not resumed");
        return connectionInvalid;
    }
    if (client.remoteInterface.get() == nil)
        journal().misuse("a request over a connection without a remote interface");
    server = client.server;
    if (server.get() != nil)
        return 0;
    const auto listener = listenerOf(client);
    if (!listener)
        return connectionInvalid;
    if (client.requirement && !satisfies(xpc().helper, *client.requirement))
        return requirementFailure;
    if (!listener->isResumed)
        return connectionInterrupted; // on the platform the request waits for the listener to resume
    std::mutex answered;              // released on the listener's queue
    std::condition_variable answer;
    bool isAnswered = false;
    listener->queue.async([&] {
        client.server = present(listener, connection);
        const std::lock_guard answerLock(answered);
        isAnswered = true;
        answer.notify_all();
    });
    std::unique_lock answerLock(answered);
    answer.wait(answerLock, [&] { return isAnswered; });
    server = client.server;
    return server.get() != nil ? 0 : connectionInterrupted;
}

/// Whether the exported interface declares the request and the object implements it with exactly the same types.
bool isExported(const ConnectionState& server, SEL selector) {
    if (server.exportedInterface.get() == nil || server.exportedObject.get() == nil)
        return false;
    Protocol* const protocol = payload<Interface>(server.exportedInterface.get()).protocol;
    const auto request = protocol_getMethodDescription(protocol, selector, true, true);
    const Method method = class_getInstanceMethod(object_getClass(server.exportedObject.get()), selector);
    return request.types != nullptr && method != nullptr &&
           std::string(request.types) == method_getTypeEncoding(method);
}

void noteOrigin() {
    const std::lock_guard lock(xpcWorld().mutex);
    xpcWorld().replyOrigins.emplace_back(mainLoop().isOnMainThread() ? "main thread"
                                         : isOnXPCQueue()            ? "XPC queue"
                                                                     : "another thread");
}

} // namespace

void Pending::reply(std::function<void()> deliver) {
    noteOrigin();
    [[[NSObject alloc] init] autorelease]; // encoding a message may also autorelease
    const std::lock_guard lock(mutex_);
    if (++replies_ > 1)
        journal().misuse("a request was replied to twice");
    if (isDone_)
        return;
    deliver_ = std::move(deliver);
    isDone_ = true;
    done_.notify_all();
}

void Pending::fail(NSInteger code) {
    const std::lock_guard lock(mutex_);
    if (isDone_)
        return;
    error_ = code;
    isDone_ = true;
    done_.notify_all();
}

void Pending::finish(ErrorBlock errorHandler) {
    std::unique_lock lock(mutex_);
    if (!done_.wait_for(lock, std::chrono::seconds(10), [this] { return isDone_; })) {
        journal().misuse("a request was never replied to");
        error_ = replyInvalid;
    }
    const auto deliver = std::exchange(deliver_, nullptr);
    lock.unlock();
    if (error_ == 0)
        return callWithMemory(xpc().isClientShortOfMemory, deliver);
    NSError* const error = makeError(error_, "error " + std::to_string(error_));
    errorHandler(error);
    [error release];
}

void request(const ConnectionRef& client, ErrorBlock errorHandler, SEL selector,
             const std::function<void(id exported, std::shared_ptr<ReplyToken> token)>& invoke) {
    const auto pending = std::make_shared<Pending>();
    Strong connected;
    if (const NSInteger code = connect(client, connected); code != 0) {
        pending->fail(code);
        pending->finish(errorHandler);
        return;
    }
    const auto server = stateOf(static_cast<NSXPCConnection*>(connected.get()));
    server->queue->async([server, pending, selector, invoke] {
        std::unique_lock lock(server->mutex);
        if (server->isInvalid || !isExported(*server, selector)) {
            pending->fail(server->isInvalid ? connectionInterrupted : replyInvalid);
            return;
        }
        server->requests.insert(pending);
        const Strong object = server->exportedObject;
        lock.unlock();
        invoke(object.get(), std::make_shared<ReplyToken>(pending));
    });
    pending->finish(errorHandler);
    const std::lock_guard lock(server->mutex);
    server->requests.erase(pending);
}

} // namespace kelo::doubles
