#include "simulator/link/HardwareCalls.h"

#include <gmock/gmock.h>

#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>
#include <set>
#include <stdexcept>
#include <utility>

namespace kelo::hardware_calls {
namespace {

using Bytes = std::vector<std::uint8_t>;
using Message = nlohmann::json;

template <typename Any>
using WireForms = std::vector<std::pair<Any, Message>>;

WireForms<AnyCall> calls() {
    const Message none = Message::object();
    const Message null;
    return {
        {Show{}, {{"show", none}}},
        {SetLid{{}}, {{"setLid", {{"state", null}}}}},
        {SetLid{true}, {{"setLid", {{"state", true}}}}},
        {SetLid{2.5}, {{"setLid", {{"state", 2.5}}}}},
        {SetLid{UnconvertibleProperty{}}, {{"setLid", {{"state", "text"}}}}},
        {Sleep{true}, {{"sleep", {{"now", true}}}}},
        {Wake{}, {{"wake", none}}},
        {SetLoad{0.75}, {{"setLoad", {{"load", 0.75}}}}},
        {SetKey{"Tp09", 96.5}, {{"setKey", {{"key", "Tp09"}, {"value", 96.5}}}}},
        {SetKey{"Tp09", {}}, {{"setKey", {{"key", "Tp09"}, {"value", null}}}}},
        {Interfere{1, 2000.0}, {{"interfere", {{"fan", 1}, {"rpm", 2000.0}}}}},
        {FailExchange{3}, {{"failExchange", {{"n", 3}}}}},
        {AnswerWith{"F0Md", SMCCommand::writeBytes, 0x82},
         {{"answerWith", {{"key", "F0Md"}, {"command", "write"}, {"result", 0x82}}}}},
        {AnswerWith{{}, {}, 0x84}, {{"answerWith", {{"key", null}, {"command", null}, {"result", 0x84}}}}},
        {ReportSize{"F0Ac", 9}, {{"reportSize", {{"key", "F0Ac"}, {"size", 9}}}}},
        {ReportType{"F0Ac", "ui8"}, {{"reportType", {{"key", "F0Ac"}, {"type", "ui8"}}}}},
        {RemoveKey{"Ftst"}, {{"removeKey", {{"key", "Ftst"}}}}},
        {AnswerSlowly{0.5}, {{"answerSlowly", {{"seconds", 0.5}}}}},
        {ClearFaults{}, {{"clearFaults", none}}},
    };
}

WireForms<AnyAnswer> answers() {
    const Message null;
    const FanState fan{0, 1200.5, 1000.0, {}, 1300.0, true};
    const Message fanOnTheWire = {{"index", 0},     {"currentRPM", 1200.5}, {"minRPM", 1000.0},
                                  {"maxRPM", null}, {"targetRPM", 1300.0},  {"isManual", true}};
    return {
        {Done{}, {{"done", Message::object()}}},
        {Refused{"It is late."}, {{"refused", {{"sentence", "It is late."}}}}},
        {MacState{{fan}, {{"Tp09", 45.5}}, true, true, 2, 0.5, 2, {{1.5, "F0Md", {1, 255}}}},
         {{"macState",
           {{"fans", Message::array({fanOnTheWire})},
            {"temperatures", {{"Tp09", 45.5}}},
            {"lidClosed", true},
            {"asleep", true},
            {"powerClients", 2},
            {"load", 0.5},
            {"time", 2.0},
            {"writes", Message::array({{{"time", 1.5}, {"key", "F0Md"}, {"bytes", {1, 255}}}})}}}}},
        {SleepReport{2.5, 1, 2, {fan}},
         {{"sleepReport",
           {{"seconds", 2.5}, {"acknowledged", 1}, {"missing", 2}, {"fans", Message::array({fanOnTheWire})}}}}},
    };
}

template <typename Any>
void expectRoundTrips(const WireForms<Any>& forms, Any (*decode)(std::span<const std::uint8_t>)) {
    std::set<std::size_t> seen;
    for (const auto& [said, onTheWire] : forms) {
        EXPECT_EQ(Message::from_cbor(encode(said)), onTheWire);
        const auto decoded = decode(Message::to_cbor(onTheWire));
        EXPECT_EQ(decoded.index(), said.index()) << onTheWire;
        EXPECT_EQ(encode(decoded), encode(said)) << onTheWire;
        seen.insert(said.index());
    }
    EXPECT_EQ(seen.size(), std::variant_size_v<Any>) << "one is missing in the list";
}

TEST(HardwareCallsTest, DecodesEveryCallAsItWasEncoded) { expectRoundTrips(calls(), decodeCall); }

TEST(HardwareCallsTest, DecodesEveryAnswerAsItWasEncoded) { expectRoundTrips(answers(), decodeAnswer); }

TEST(HardwareCallsTest, TransmitsEveryDoubleExactly) {
    for (const double value : {std::numeric_limits<double>::infinity(), -0.0, 0.1, 1e300}) {
        const auto call = decodeCall(encode(AnyCall(SetKey{"Tp09", value})));
        EXPECT_EQ(std::get<SetKey>(call).value, value);
    }
    const auto call = decodeCall(encode(AnyCall(SetKey{"Tp09", std::nan("")})));
    EXPECT_TRUE(std::isnan(std::get<SetKey>(call).value.value()));
}

std::string errorOf(const Bytes& bytes) {
    try {
        decodeCall(bytes);
        return "none";
    } catch (const std::invalid_argument& error) {
        return error.what();
    }
}

TEST(HardwareCallsTest, RejectsAMessageThatIsNotOneNameWithItsMembers) {
    const std::string error = "the message is not one name with its members";
    EXPECT_EQ(errorOf({}), error);
    EXPECT_EQ(errorOf({0xFF, 0x00, 0x17}), error);
    EXPECT_EQ(errorOf(Message::to_cbor(Message::array({"show"}))), error);
    EXPECT_EQ(errorOf(Message::to_cbor(Message::object())), error);
    EXPECT_EQ(errorOf(Message::to_cbor({{"show", Message::object()}, {"wake", Message::object()}})), error);
}

TEST(HardwareCallsTest, RejectsAnUnknownNameAndAnAnswerInsteadOfACall) {
    const std::string error = "the name of the message is unknown";
    EXPECT_EQ(errorOf(Message::to_cbor({{"explode", Message::object()}})), error);
    EXPECT_EQ(errorOf(encode(AnyAnswer(Done{}))), error);
}

TEST(HardwareCallsTest, RejectsMissingAndUnknownMembersAndWrongTypes) {
    const std::pair<std::string, Message> hostile[] = {
        {"show", nullptr},
        {"show", 5},
        {"show", Message::array()},
        {"show", {{"extra", 1}}},
        {"setKey", Message::object()},
        {"setKey", {{"key", "Tp09"}}},
        {"setKey", {{"key", 1}, {"value", 2.5}}},
        {"setKey", {{"key", "Tp09"}, {"value", "hot"}}},
        {"setKey", {{"key", "Tp09"}, {"value", 1.5}, {"extra", nullptr}}},
        {"setLid", {{"state", "ajar"}}},
        {"setLid", {{"state", Message::object()}}},
        {"sleep", {{"now", 1}}},
        {"interfere", {{"fan", 0.5}, {"rpm", nullptr}}},
        {"interfere", {{"fan", true}, {"rpm", nullptr}}},
        {"interfere", {{"fan", 1LL << 40}, {"rpm", nullptr}}},
        {"answerWith", {{"key", nullptr}, {"command", nullptr}, {"result", 256}}},
        {"answerWith", {{"key", nullptr}, {"command", nullptr}, {"result", -1}}},
        {"answerWith", {{"key", nullptr}, {"command", "explode"}, {"result", 1}}},
    };
    for (const auto& [name, members] : hostile)
        EXPECT_EQ(errorOf(Message::to_cbor({{name, members}})),
                  "a member of \"" + name + "\" is missing, unknown or of the wrong type")
            << members;
}

TEST(HardwareCallsTest, PrintsTheStateWithItsMemberNames) {
    MacState state;
    state.fans = {{0, 1200.0, {}, {}, {}, false}};
    state.temperatures = {{"Tp09", 45.5}};
    state.load = 0.5;
    EXPECT_EQ(Message::parse(toJSON(state)), Message::parse(R"({
        "fans": [{"index": 0, "currentRPM": 1200.0, "minRPM": null, "maxRPM": null, "targetRPM": null,
                  "isManual": false}],
        "temperatures": {"Tp09": 45.5}, "lidClosed": false, "asleep": false, "powerClients": 0, "load": 0.5,
        "time": 0.0, "writes": []})"));
}

} // namespace
} // namespace kelo::hardware_calls
