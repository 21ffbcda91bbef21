#include "platform/linux/signing/PeerCodeCheck.h"

#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <iterator>
#include <memory>

#include "platform/linux/signing/PeerProcess.h"
#include "platform/linux/signing/SignatureRefused.h"
#include "protocol/SigningIdentity.h"
#include "tests/platform/linux/signing/SigningFixture.h"

namespace kelo {
namespace {

using ::testing::AnyOf;
using ::testing::HasSubstr;

const std::string endedReason = "The peer has ended.";
const std::string hungUpReason = "The peer has hung up.";
const std::string foreignNamespaceReason =
    "The peer runs in another user namespace, where it may forge its executable.";

std::size_t openDescriptors() {
    return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}));
}

/// A listening socket, and separate programs that connect to it.
class PeerCodeCheckTest : public SigningFixture {
protected:
    PeerCodeCheckTest() {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, socketPath.c_str(), sizeof address.sun_path - 1);
        EXPECT_EQ(::bind(listener.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        EXPECT_EQ(::listen(listener.get(), 8), 0);
    }

    /// Starts the program with `command` and accepts its connection.
    void start(const Path& program, const std::string& command, const std::vector<std::string>& more = {}) {
        std::vector<std::string> arguments{command, socketPath};
        arguments.insert(arguments.end(), more.begin(), more.end());
        peer = startProgram(program, arguments);
        socket = FileDescriptor(::accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC));
        ASSERT_TRUE(socket.isValid());
        reported = peer->readLine(); // printed when the peer has reached the state that the test needs
    }

    std::optional<std::string> check() const { return codeCheck.check(socket.get(), requirement); }

    /// Checks the peer by its process ID, as on a kernel whose sockets do not return a pidfd.
    std::optional<std::string> checkByNumber() const {
        try {
            return codeCheck.check(PeerProcess::ofSocketByNumber(socket.get()), requirement);
        } catch (const SignatureRefused& refused) {
            return refused.what();
        }
    }

    std::optional<std::string> checkOf(const Path& program) {
        start(program, "connect");
        const auto reason = check();
        EXPECT_EQ(checkByNumber(), reason);
        return reason;
    }

    const std::string socketPath = folder / "socket";
    const FileDescriptor listener{::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0)};
    const PeerCodeCheck codeCheck{installedAnchor()};
    std::string requirement = SigningIdentity::requirement(identity.identifier, identity.team);
    std::unique_ptr<ChildProcess> peer;
    std::string reported;
    FileDescriptor socket;
};

TEST_F(PeerCodeCheckTest, AcceptsTheRightProgramOfTheRightTeam) {
    EXPECT_EQ(checkOf(programSignedAs(identity)), std::nullopt);
}

TEST_F(PeerCodeCheckTest, RefusesAnUnsignedProgram) { EXPECT_EQ(checkOf(unsignedProgram()), unsignedReason); }

TEST_F(PeerCodeCheckTest, RefusesAProgramAlteredAfterSigning) {
    const auto program = programSignedAs(identity);
    auto bytes = readFile(program);
    const std::string marker = "still runs"; // text in the program that can be altered without breaking the program
    bytes[bytes.find(marker)] = 'S';
    writeFile(program, bytes);
    EXPECT_EQ(checkOf(program), alteredReason);
}

TEST_F(PeerCodeCheckTest, RefusesAProgramSignedUnderAForeignAnchor) {
    const auto program = unsignedProgram();
    KeyFolder foreign(folder / "foreign");
    foreign.makeAnchor();
    signExecutable(program, identity.identifier, foreign.team(identity.team));
    EXPECT_EQ(checkOf(program), foreignReason);
}

TEST_F(PeerCodeCheckTest, RefusesADifferentIdentifier) {
    EXPECT_EQ(checkOf(programSignedAs({"app.kelo.helper", identity.team})),
              "The peer is \"app.kelo.helper\" of team \"ABCDE12345\", which does not satisfy the requirement.");
}

TEST_F(PeerCodeCheckTest, RefusesADifferentTeam) {
    EXPECT_EQ(checkOf(programSignedAs({identity.identifier, "OTHERTEAM1"})),
              "The peer is \"app.kelo.Kelo\" of team \"OTHERTEAM1\", which does not satisfy the requirement.");
}

TEST_F(PeerCodeCheckTest, RefusesADoubleQuoteInANameEvenIfTheRequirementContainsIt) {
    const std::string doesNotParse = "The requirement does not parse, so no peer satisfies it.";
    for (const CodeIdentity& odd :
         {CodeIdentity{"app.kelo.\"Kelo", identity.team}, CodeIdentity{identity.identifier, "ABCDE\"12345"}}) {
        requirement = SigningIdentity::requirement(identity.identifier, identity.team);
        const auto reason = checkOf(programSignedAs(odd));
        ASSERT_TRUE(reason);
        EXPECT_THAT(*reason, HasSubstr("does not satisfy the requirement"));
        requirement = SigningIdentity::requirement(odd.identifier, odd.team);
        EXPECT_EQ(check(), doesNotParse);
    }
    requirement = "";
    EXPECT_EQ(checkOf(programSignedAs(identity)), doesNotParse);
}

TEST_F(PeerCodeCheckTest, RefusesAPeerThatHasEnded) {
    start(programSignedAs(identity), "connect");
    ASSERT_EQ(check(), std::nullopt);
    peer->closeInput();
    ASSERT_EQ(peer->waitForEnd(60), 0);
    EXPECT_EQ(check(), endedReason);
    EXPECT_EQ(checkByNumber(), endedReason);
}

TEST_F(PeerCodeCheckTest, RefusesAnExitedPeerThatIsNotYetReaped) {
    start(programSignedAs(identity), "connect");
    peer->closeInput();
    siginfo_t information{};
    ASSERT_EQ(::waitid(P_PID, static_cast<id_t>(peer->number()), &information, WEXITED | WNOWAIT), 0);
    // The process ID still exists, so older kernels report only that the peer has hung up.
    EXPECT_THAT(check(), AnyOf(endedReason, hungUpReason));
    EXPECT_EQ(checkByNumber(), hungUpReason);
}

TEST_F(PeerCodeCheckTest, RefusesAPeerThatHasHungUpIfThereIsNoPidfd) {
    start(programSignedAs(identity), "hang-up");
    EXPECT_EQ(checkByNumber(), hungUpReason);
}

TEST_F(PeerCodeCheckTest, AcceptsAPeerThatHasHungUpIfThereIsAPidfd) {
    start(programSignedAs(identity), "hang-up");
    int pidfd = -1;
    socklen_t size = sizeof pidfd;
    constexpr int peerPidfdOption = 77;
    if (::getsockopt(socket.get(), SOL_SOCKET, peerPidfdOption, &pidfd, &size) != 0)
        GTEST_SKIP() << "this kernel's sockets do not return a pidfd";
    const FileDescriptor owned(pidfd);
    EXPECT_EQ(check(), std::nullopt);
}

TEST_F(PeerCodeCheckTest, ChecksTheProgramThatThePeerRunsNow) {
    start(programSignedAs(identity), "become", {unsignedProgram()});
    EXPECT_EQ(check(), unsignedReason);
}

TEST_F(PeerCodeCheckTest, ChecksTheRunningFileEvenIfAnotherFileIsAtItsPath) {
    const auto program = programSignedAs(identity);
    start(program, "connect");
    std::filesystem::rename(unsignedProgram(), program);
    EXPECT_EQ(check(), std::nullopt);
    std::filesystem::remove(program);
    EXPECT_EQ(check(), std::nullopt);

    const auto other = unsignedProgram();
    start(other, "connect");
    std::filesystem::rename(programSignedAs(identity), other);
    EXPECT_EQ(check(), unsignedReason);
}

TEST_F(PeerCodeCheckTest, RefusesAPeerInASeparateUserNamespace) {
    start(programSignedAs(identity), "enter-namespace");
    if (reported != "entered")
        GTEST_SKIP() << "no user namespace can be created here: " << reported;
    EXPECT_EQ(check(), foreignNamespaceReason);
    EXPECT_EQ(checkByNumber(), foreignNamespaceReason);
}

TEST_F(PeerCodeCheckTest, RefusesAPeerThatForgesItsExecutable) {
    const auto honest = programSignedAs(identity);
    start(unsignedProgram(), "forge", {honest});
    if (reported != "forged")
        GTEST_SKIP() << "the kernel does not allow the forgery: " << reported;
    ASSERT_EQ(std::filesystem::read_symlink("/proc/" + std::to_string(peer->number()) + "/exe"), honest);
    EXPECT_EQ(check(), foreignNamespaceReason);
    EXPECT_EQ(checkByNumber(), foreignNamespaceReason);
}

TEST_F(PeerCodeCheckTest, ImmediatelyRefusesAPeerThatLeasesItsExecutable) {
    const auto leased = programSignedAs(identity);
    start(unsignedProgram(), "forge-leased", {leased});
    if (reported != "forged")
        GTEST_SKIP() << "the kernel does not allow the lease: " << reported;
    const auto before = std::chrono::steady_clock::now();
    EXPECT_EQ(check(), "The peer's executable is leased by a process that would have to release it first.");
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(20)) << "the kernel waits for 45";
}

TEST_F(PeerCodeCheckTest, RefusesADescriptorWithoutAPeer) {
    const FileDescriptor unconnected(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
    const FileDescriptor network(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const FileDescriptor file(::open("/dev/null", O_RDONLY | O_CLOEXEC));
    for (const int descriptor : {-1, unconnected.get(), network.get(), file.get()}) {
        EXPECT_THROW(PeerProcess::ofSocket(descriptor), SignatureRefused);
        EXPECT_THROW(PeerProcess::ofSocketByNumber(descriptor), SignatureRefused);
        EXPECT_TRUE(codeCheck.check(descriptor, requirement));
    }
}

TEST_F(PeerCodeCheckTest, RefusesEveryPeerIfNoAnchorIsTrusted) {
    start(programSignedAs(identity), "connect");
    std::filesystem::permissions(keys.anchorFile(), std::filesystem::perms(0666));
    EXPECT_EQ(PeerCodeCheck(installedAnchor()).check(socket.get(), requirement),
              "The trust anchor can be written to by others.");
    std::filesystem::remove(keys.anchorFile());
    EXPECT_EQ(PeerCodeCheck(installedAnchor()).check(socket.get(), requirement),
              "The trust anchor cannot be opened (No such file or directory).");
}

TEST_F(PeerCodeCheckTest, IgnoresAnAnchorInstalledLater) {
    const auto honest = programSignedAs(identity);
    keys.makeAnchor();
    EXPECT_EQ(checkOf(programSignedAs(identity)), foreignReason);
    EXPECT_EQ(checkOf(honest), std::nullopt);
}

TEST_F(PeerCodeCheckTest, LeavesNoDescriptorOpen) {
    start(programSignedAs(identity), "connect");
    const auto before = openDescriptors();
    for (int i = 0; i < 20; ++i) {
        check();
        checkByNumber();
        codeCheck.check(socket.get(), SigningIdentity::requirement("other", identity.team));
    }
    EXPECT_EQ(openDescriptors(), before);
    peer->closeInput();
    ASSERT_EQ(peer->waitForEnd(60), 0);
    const auto afterEnd = openDescriptors();
    for (int i = 0; i < 20; ++i) {
        check();
        checkByNumber();
    }
    EXPECT_EQ(openDescriptors(), afterEnd);
}

} // namespace
} // namespace kelo
