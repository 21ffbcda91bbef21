#include "platform/macos/ExportedHelper.h"

#include <cstdlib>
#include <limits>
#include <stdexcept>

#include "platform/macos/KeloHelperXPCProtocol.h"
#include "testing/ScriptedHelper.h"
#include "tests/platform/macos/doubles/FailingAllocation.h"
#include "tests/platform/macos/doubles/FoundationDouble.h"
#include "tests/platform/macos/doubles/LogDouble.h"
#include "tests/platform/macos/doubles/ObjCRuntime.h"
#include "tests/platform/macos/doubles/OnDoubles.h"

namespace kelo {
namespace {

using doubles::logEntries;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;
using ::testing::SizeIs;

using DataBlock = void (^)(NSData* _Nullable);
using ErrorBlock = void (^)(NSString* _Nullable);
using VersionBlock = void (^)(NSInteger);
using EmptyBlock = void (^)(void);

/// Looks `selector` up by name at run time, as XPC does.
template <typename Function> Function* implementation(id object, const char* selector) {
    return reinterpret_cast<Function*>(objc_msg_lookup(object, sel_registerName(selector)));
}

class ExportedHelperTest : public doubles::OnDoubles {
  protected:
    void fetchSnapshot() {
        int* const calls = &replies;
        auto* const answers = &texts;
        const char* const selector = "fetchSnapshotWithReply:";
        implementation<void(id, SEL, DataBlock)>(exported.get(),
                                                 selector)(exported.get(), sel_registerName(selector), ^(NSData* data) {
          ++*calls;
          answers->push_back(data == nil ? "nil" : std::string(static_cast<const char*>(data.bytes), data.length));
        });
    }

    void hold(double fraction, BOOL handsBackOnLidClose) {
        const char* const selector = "holdWithFraction:handsBackOnLidClose:reply:";
        implementation<void(id, SEL, double, BOOL, ErrorBlock)>(exported.get(), selector)(
            exported.get(), sel_registerName(selector), fraction, handsBackOnLidClose, errorBlock().get());
    }

    void handBack() {
        const char* const selector = "handBackWithReply:";
        implementation<void(id, SEL, ErrorBlock)>(exported.get(), selector)(exported.get(), sel_registerName(selector),
                                                                            errorBlock().get());
    }

    void helperVersion() {
        int* const calls = &replies;
        auto* const answers = &texts;
        const char* const selector = "helperVersionWithReply:";
        implementation<void(id, SEL, VersionBlock)>(exported.get(), selector)(
            exported.get(), sel_registerName(selector), ^(NSInteger version) {
              ++*calls;
              answers->push_back(std::to_string(version));
            });
    }

    void standDown() {
        int* const calls = &replies;
        const char* const selector = "standDownWithReply:";
        implementation<void(id, SEL, EmptyBlock)>(exported.get(), selector)(exported.get(), sel_registerName(selector),
                                                                            ^{
                                                                              ++*calls;
                                                                            });
    }

    void sendAll() {
        fetchSnapshot();
        hold(0.5, YES);
        handBack();
        helperVersion();
        standDown();
    }

    BlockReference<ErrorBlock> errorBlock() {
        int* const calls = &replies;
        auto* const answers = &texts;
        return BlockReference<ErrorBlock>(^(NSString* error) {
          ++*calls;
          answers->push_back(error == nil ? "nil" : error.UTF8String);
        });
    }

    const std::shared_ptr<ScriptedHelper> helper = std::make_shared<ScriptedHelper>();
    const ObjCReference<id> exported = makeExportedHelper(helper);
    int replies = 0;
    std::vector<std::string> texts;
};

TEST_F(ExportedHelperTest, ForwardsEachSelectorAndItsReplyOnce) {
    sendAll();
    EXPECT_THAT(helper->requests(), ElementsAre("fetchSnapshot", "hold", "handBack", "helperVersion", "standDown"));
    EXPECT_EQ(replies, 5);
    EXPECT_THAT(texts, ElementsAre("nil", "nil", "nil", "6"));
    EXPECT_THAT(logEntries(), IsEmpty());
}

TEST_F(ExportedHelperTest, ForwardsNonNilRepliesUnchanged) {
    helper->snapshot = Data{'{', '}'};
    helper->error = "Der Lüfter lässt sich nicht steuern.";
    helper->version = std::numeric_limits<std::int64_t>::min();
    sendAll();
    EXPECT_THAT(texts, ElementsAre("{}", *helper->error, *helper->error, "-9223372036854775808"));
}

TEST_F(ExportedHelperTest, ForwardsTheArgumentsOfAHold) {
    hold(0.25, YES);
    hold(-1.5, NO);
    EXPECT_THAT(helper->holds(), ElementsAre(Pair(0.25, true), Pair(-1.5, false)));
}

TEST_F(ExportedHelperTest, ForwardsRepliesAfterTheRequestHasReturned) {
    std::vector<std::function<void()>> late;
    helper->answer = [&](std::function<void()> reply) { late.push_back(std::move(reply)); };
    sendAll();
    EXPECT_EQ(replies, 0);
    for (const auto& reply : late)
        reply();
    EXPECT_EQ(replies, 5);
}

TEST_F(ExportedHelperTest, DropsTheReplyBlockWhenMemoryRunsOut) {
    const std::function<void()> requests[] = {[this] { fetchSnapshot(); }, [this] { hold(0.5, YES); },
                                              [this] { handBack(); }, [this] { helperVersion(); },
                                              [this] { standDown(); }};
    for (const auto& request : requests)
        doubles::callWithMemory(true, request);
    EXPECT_EQ(replies, 0);
    EXPECT_THAT(logEntries(), SizeIs(5));
    sendAll();
    EXPECT_EQ(replies, 5);
}

TEST_F(ExportedHelperTest, OnlyTheExportedObjectRetainsTheHelper) {
    const auto other = std::make_shared<ScriptedHelper>();
    {
        const auto reference = makeExportedHelper(other);
        EXPECT_EQ(other.use_count(), 2);
    }
    EXPECT_EQ(other.use_count(), 1);
}

// XPC compares the type encodings of the requests as text.

/// The size of an argument on the stack and its type encoding. This runtime has no extended encodings; encodings.sh
/// checks them for Apple's processors.
struct Argument {
    int size;
    const char* letter;
};
constexpr Argument argument(double) {
    return { 8, @encode(double) };
}
constexpr Argument argument(bool) {
    return { 4, @encode(BOOL) };
}

/// Returns the compiler's encoding of a method with the arguments of `Request` and a reply block.
template <typename Request> std::string encoding() {
    int offset = 16; // after self and the selector
    std::string types = "@0:8";
    const auto add = [&](Argument added) {
        types += added.letter + std::to_string(offset);
        offset += added.size;
    };
    std::apply([&](auto... each) { (add(argument(each)), ...); }, Request().arguments());
    add({8, "@?"});
    return "v" + std::to_string(offset) + types;
}

/// Calls `visit` with the selector and the encoding of each request.
template <typename Visit, typename... Requests>
void forEachRequest(const std::variant<Requests...>*, const Visit& visit) {
    (visit(Requests::selector, encoding<Requests>()), ...);
}
constexpr requests::Any* all = nullptr;

TEST_F(ExportedHelperTest, TheProtocolDeclaresExactlyTheRequests) {
    Protocol* const protocol = objc_getProtocol("KeloHelperProtocol");
    ASSERT_NE(protocol, nil);
    forEachRequest(all, [&](const char* selector, const std::string& types) {
        const auto found = protocol_getMethodDescription(protocol, sel_registerName(selector), true, true);
        ASSERT_NE(found.types, nullptr) << selector;
        EXPECT_EQ(found.types, types) << selector;
    });
    unsigned int count = 0;
    std::free(protocol_copyMethodDescriptionList(protocol, true, true, &count));
    EXPECT_EQ(count, std::variant_size_v<requests::Any>);
}

TEST_F(ExportedHelperTest, TheExportedClassImplementsTheRequestsWithTheSameTypes) {
    forEachRequest(all, [&](const char* selector, const std::string& types) {
        const Method method = class_getInstanceMethod(object_getClass(exported.get()), sel_registerName(selector));
        ASSERT_NE(method, nullptr) << selector;
        EXPECT_EQ(method_getTypeEncoding(method), types) << selector;
    });
}

} // namespace
} // namespace kelo
