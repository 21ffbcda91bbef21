#include "tests/e2e/EndToEnd.h"

namespace kelo {
namespace {

class Admission : public EndToEnd {
protected:
    /// Expects that the program is disconnected without a reply.
    void expectRefused(const std::string& program) {
        SCOPED_TRACE(program);
        const auto client = startRawClient(program);
        client->connect(); // any process may connect to the socket
        client->request(requests::HelperVersion{});
        EXPECT_EQ(client->perform("receive"), "ended");
        EXPECT_EQ(client->perform("connect"), "connected");
        EXPECT_EQ(client->perform("receive"), "ended");
    }
};

TEST_F(Admission, AdmitsACorrectlySignedClient) {
    startEverything();
    EXPECT_EQ(connectRawClient()->ask(requests::HelperVersion{}), 6);
}

TEST_F(Admission, DisconnectsUnsignedAlteredAndForeignClients) {
    startEverything();
    addClient("unsigned");
    expectRefused("unsigned");

    // Changes a letter in the name of a section that is never loaded, so that the program still runs.
    auto content = readFile(installation.program("rawclient"));
    const auto at = content.find(".comment");
    ASSERT_NE(at, std::string::npos);
    content[at + 1] = 'C';
    addClient("altered");
    writeFile(installation.program("altered"), content);
    expectRefused("altered");

    simsign({"init", "foreign", "--team", team});
    addClient("foreign-client");
    sign("foreign-client", appIdentifier, team, "foreign");
    expectRefused("foreign-client");
}

TEST_F(Admission, DisconnectsClientsWithADifferentIdentifierOrTeam) {
    startEverything();
    addClient("other");
    const std::pair<std::string, std::string> names[] = {
        {"app.kelo.helper", team},
        {"app.kelo.kelo", team},
        {"app.kelo.Kelo2", team},
        {"", team},
        {"app.kelo.Kelo\" or identifier \"x", team},
        {appIdentifier, "ZZZZZ99999"},
        {appIdentifier, "ABCDE12345\" or anchor apple generic and identifier \"app.kelo.Kelo"}};
    for (const auto& [identifier, byTeam] : names) {
        SCOPED_TRACE(::testing::Message() << identifier << " of " << byTeam);
        sign("other", identifier, byTeam);
        expectRefused("other");
    }
}

TEST_F(Admission, IgnoresAnAnchorReplacedWhileTheHelperRuns) {
    startEverything();
    simsign({"init", "foreign", "--team", team});
    std::filesystem::copy(installation.program("foreign/anchor.pub"), installation.program("simulated-mac/anchor.pub"),
                          std::filesystem::copy_options::overwrite_existing);
    addClient("foreign-client");
    sign("foreign-client", appIdentifier, team, "foreign");
    expectRefused("foreign-client");
    EXPECT_EQ(connectRawClient()->ask(requests::HelperVersion{}), 6);
}

TEST_F(Admission, RefusesAllClientsIfTheTeamContainsADoubleQuote) {
    const std::string quoted = "ABC\"DE";
    sign(Installation::helperName, Installation::helperName, quoted);
    sign("rawclient", appIdentifier, quoted);
    startEverything();
    EXPECT_EQ(installation.helperLog().front(), "[NOTICE] listener: Accepting only app.kelo.Kelo signed by ABC\"DE.");
    expectRefused("rawclient");
}

TEST_F(Admission, RefusedClientsAreNotCounted) {
    startEverything();
    const auto client = startHold();
    addClient("stranger");
    client->signal(SIGKILL);
    ASSERT_TRUE(installation.waitForLog(disconnected));
    // The stranger connects during the grace period. If its connection counted, the grace period would end; if its
    // disconnection counted, the grace period would restart.
    expectRefused("stranger");
    ASSERT_EQ(logTimes(handedBack).size(), 0U);
    ASSERT_TRUE(installation.waitForLog(handedBack, 20));
    expectOneGracePeriod();
    EXPECT_FALSE(installation.isAnyFanManual());
}

} // namespace
} // namespace kelo
