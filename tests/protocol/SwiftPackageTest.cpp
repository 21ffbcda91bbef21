#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "protocol/KeloHelper.h"
#include "protocol/SigningIdentity.h"
#include "testing/TemporaryFolder.h"

namespace kelo {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

std::string read(const std::string& file) { return readFile(KELO_SWIFT_PACKAGE "/" + file); }

void replace(std::string& text, const std::string& from, const std::string& to) {
    for (auto found = text.find(from); found != std::string::npos; found = text.find(from, found + to.size()))
        text.replace(found, from.size(), to);
}

/// Returns each text between `begin` and `end`.
std::vector<std::string> between(const std::string& text, const std::string& begin, const std::string& end) {
    std::vector<std::string> found;
    for (auto at = text.find(begin); at != std::string::npos; at = text.find(begin, at)) {
        at += begin.size();
        found.push_back(text.substr(at, text.find(end, at) - at));
    }
    return found;
}

// Compares the declarations as text. Without a Swift compiler for the Mac, only clients would notice a change.
class SwiftPackage : public ::testing::Test {
protected:
    const std::string source = read("Sources/KeloProtocol/KeloHelperProtocol.swift");
};

TEST_F(SwiftPackage, DeclaresRequestsThatMapToTheFiveSelectors) {
    auto requests = between(source, "@objc public protocol KeloHelperProtocol {", "}");
    ASSERT_EQ(requests.size(), 1U);
    for (const std::string attribute : {"@escaping ", "@Sendable "}) // not part of a selector or type
        replace(requests[0], attribute, "");
    EXPECT_THAT(between(requests[0], "func ", "\n"),
                ElementsAre("fetchSnapshot(reply: (Data?) -> Void)", // fetchSnapshotWithReply:
                                                                     // holdWithFraction:handsBackOnLidClose:reply:
                            "hold(fraction: Double, handsBackOnLidClose: Bool, reply: (String?) -> Void)",
                            "handBack(reply: (String?) -> Void)",  // handBackWithReply:
                            "helperVersion(reply: (Int) -> Void)", // helperVersionWithReply:
                            "standDown(reply: () -> Void)"));      // standDownWithReply:
}

TEST_F(SwiftPackage, ModuleNameMatchesTheProtocolsRuntimeName) {
    EXPECT_THAT(read("Package.swift"), HasSubstr(".target(name: \"KeloProtocol\")"));
}

TEST_F(SwiftPackage, RequiresTheSameHelperSignatureAsOtherClients) {
    auto requirement = between(source, "func requirement(team: String) -> String {\n        \"", "\"\n");
    ASSERT_EQ(requirement.size(), 1U);
    replace(requirement[0], "\\\"", "\"");
    replace(requirement[0], "\\(machServiceName)", KeloHelper::machServiceName);
    replace(requirement[0], "\\(team)", "TEAM");
    EXPECT_EQ(requirement[0], SigningIdentity::requirement(KeloHelper::machServiceName, "TEAM"));
}

TEST_F(SwiftPackage, NamesTheServiceAndTheInterfaceVersion) {
    EXPECT_THAT(between(source, "machServiceName = \"", "\""), ElementsAre(KeloHelper::machServiceName));
    EXPECT_THAT(between(source, "interfaceVersion = ", "\n"),
                ElementsAre(std::to_string(KeloHelper::interfaceVersion)));
}

} // namespace
} // namespace kelo
