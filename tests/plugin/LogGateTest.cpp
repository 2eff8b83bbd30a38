#include <Logged.h>
#include <MetadataBuilder.h>
#include <PluginSession.h>

#include <gtest/gtest.h>

namespace {

struct GateCase {
    uint32_t level;
    uint32_t group;
    uint32_t debugMask;
    bool debugToAndroid, debugToSystem, infoToAndroid, infoToSystem;
};

class LogGate : public testing::TestWithParam<GateCase> {};

bool contains(const std::vector<std::string> &texts, const std::string &text)
{
    return std::find(texts.begin(), texts.end(), text) != texts.end();
}

// The constructor's configuration line is info; isSelectorNeeded's is debug.
TEST_P(LogGate, EachOutputHasItsOwnGate)
{
    const GateCase &gate = GetParam();
    const std::string info = "I mSupportPending 0 mZSLTimeDiffMs(0) = default(0)+project(0)+user(0)";
    const std::string debug = "D [ZSLSelector] ZSLSelectorDefault isNeeded 1";
    std::vector<std::string> android, system;
    {
        kohost::LogGates gates(gate.level, gate.group, gate.debugMask);
        kohost::LogRecorder log;
        kohost::PluginSession plugin;
        kohal::ZSLFrameSelectInfo request;
        request.requestMetas = {kohost::Meta().u8(kohost::tag::EnableZsl, 1)};
        plugin.selector().isSelectorNeeded(request);
        android = kotest::texts(log.android());
        system = kotest::texts(log.system());
    }
    EXPECT_EQ(contains(android, debug), gate.debugToAndroid);
    EXPECT_EQ(contains(system, debug), gate.debugToSystem);
    EXPECT_EQ(contains(android, info), gate.infoToAndroid);
    EXPECT_EQ(contains(system, info), gate.infoToSystem);
    EXPECT_EQ(android.size(), size_t(gate.debugToAndroid) + gate.infoToAndroid);
    EXPECT_EQ(system.size(), size_t(gate.debugToSystem) + gate.infoToSystem);
}

INSTANTIATE_TEST_SUITE_P(Table, LogGate,
                         testing::Values(GateCase{3, 0x40, 0, true, false, true, false},
                                         GateCase{4, 0x40, 0, false, false, true, false},
                                         GateCase{5, 0x40, 1, false, true, false, true},
                                         GateCase{0, 0x40, 1, true, true, true, true},
                                         GateCase{0, 0xBF, 1, false, false, false, false},
                                         GateCase{2, 0xFFFFFFFF, 0x100, true, true, true, true}));

TEST(LogGate, AndroidLinesCarryTheSourcePrefix)
{
    auto gates = kohost::LogGates::allOpen();
    kohost::LogRecorder log;
    kohost::PluginSession plugin;
    kohal::ZSLFrameSelectInfo request;
    plugin.selector().isSelectorNeeded(request);

    auto android = log.android();
    auto system = log.system();
    ASSERT_EQ(android.size(), 2u);
    ASSERT_EQ(system.size(), 2u);
    EXPECT_EQ(android[1].level, "D");
    EXPECT_EQ(android[1].group, "ZSL");
    EXPECT_EQ(android[1].fileName, "ZSLSelectorDefault.cpp");
    EXPECT_EQ(android[1].function, "isSelectorNeeded");
    EXPECT_GT(android[1].line, 0);
    EXPECT_EQ(android[1].text, "[ZSLSelector] ZSLSelectorDefault isNeeded 0");
    // The same line in the system log, without the prefix.
    EXPECT_EQ(system[1].line, android[1].line);
    EXPECT_EQ(system[1].text, android[1].text);
    EXPECT_EQ(system[0].line, android[0].line);
    EXPECT_NE(system[0].line, system[1].line);
}

} // namespace
