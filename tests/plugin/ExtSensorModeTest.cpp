// The platform sensor-mode check: frame mode against requested mode, its
// lines, and which queue it asks.

#include <Logged.h>
#include <PluginSession.h>
#include <MetadataBuilder.h>
#include <QueueBuilder.h>

#include <gtest/gtest.h>

#include <optional>

namespace {

using kohost::Meta;
namespace tag = kohost::tag;
using Lines = std::vector<std::string>;
using Verdict = std::pair<bool, bool>;

// The platform check, called as the host may: through the base interface.
struct ModeCase {
    const char *name;
    std::optional<int32_t> frameMode;   // none: no record for the frame
    std::optional<int32_t> requestMode; // none: tag absent
    bool nullRequest;
    Verdict expected;
    Lines lines; // after the info line
};

class ExtSensorMode : public testing::TestWithParam<ModeCase> {};

TEST_P(ExtSensorMode, ComparesFrameAndRequestModes)
{
    const ModeCase &c = GetParam();
    kohost::PluginSession plugin;
    auto sensor = std::make_shared<kohost::HostFrameQueue>(1, kohal::ZSL_QUEUE_TYPE_SENSOR_MODE, "sensor");
    if (c.frameMode)
        sensor->putSensorModeFrame(8, *c.frameMode);
    Meta request;
    if (c.requestMode)
        request.i32(tag::SensorMode, *c.requestMode);
    kohal::ZSLFrameCheckInfo info;
    info.checkFrameNum = 8;
    info.fwkFrameNum = 20;
    info.requestMeta = c.nullRequest ? nullptr : request.build();
    info.zslQueues = {kohost::metaQueue(0, {}), sensor};

    auto outcome = kotest::runLogged([&] { return plugin.selector().checkDesiredSensorMode(info); });
    EXPECT_EQ(outcome.result, c.expected);
    ASSERT_FALSE(outcome.lines.empty());
    EXPECT_EQ(Lines(outcome.lines.begin() + 1, outcome.lines.end()), c.lines);
}

const std::string kFrameTwo = "D [ZSLSelector] fwkFrame:20 zslFrame: 8 zslFrame perframeSensorMode:2";
const std::string kNoRecord = "D [ZSLSelector] fwkFrame:20 zslFrame: 8 get metaFrame failed perframeSensorMode = -1";
const std::string kOk = "D [ZSLSelector] checkDesiredSensorMode success!  fwkFrame:20 zslFrame: 8";
const std::string kFail = "D [ZSLSelector] checkDesiredSensorMode fail!  fwkFrame:20 zslFrame: 8";

std::string wanted(int32_t mode)
{
    return "D [ZSLSelector] get korvan.ext.control.policy.sensorMode successful, desiredSensorMode = " +
           std::to_string(mode);
}
std::string requested(int32_t mode)
{
    return "D [ZSLSelector] fwkFrame:20 zslFrame: 8 reqestFrame reqDesiredSensorMode:" + std::to_string(mode);
}
const std::string kTagMissing =
    "D [ZSLSelector] get korvan.ext.control.policy.sensorMode failed, desiredSensorMode = -1";

INSTANTIATE_TEST_SUITE_P(
    Table, ExtSensorMode,
    testing::Values(
        ModeCase{"equal", 2, 2, false, {true, true}, {kFrameTwo, wanted(2), requested(2), kOk}},
        ModeCase{"different", 2, 3, false, {false, false}, {kFrameTwo, wanted(3), requested(3), kFail}},
        ModeCase{"requestAbsent", 2, std::nullopt, false, {false, false},
                 {kFrameTwo, kTagMissing, requested(-1), kFail}},
        ModeCase{"recordMissing", std::nullopt, 2, false, {false, false}, {kNoRecord, wanted(2), requested(2), kFail}},
        ModeCase{"bothUnknown", std::nullopt, std::nullopt, false, {true, true},
                 {kNoRecord, kTagMissing, requested(-1), kOk}},
        ModeCase{"minusOneNamedOnBothSides", -1, -1, false, {true, true},
                 {"D [ZSLSelector] fwkFrame:20 zslFrame: 8 zslFrame perframeSensorMode:-1", wanted(-1), requested(-1),
                  kOk}},
        ModeCase{"nullRequestSilent", 0, std::nullopt, true, {false, false},
                 {"D [ZSLSelector] fwkFrame:20 zslFrame: 8 zslFrame perframeSensorMode:0", requested(-1), kFail}}),
    [](const testing::TestParamInfo<ModeCase> &info) { return info.param.name; });

TEST(ExtSensorModeQueues, NoSensorQueueRefusesAfterTheInfoLineOnly)
{
    kohost::PluginSession plugin;
    for (kohal::ZSLQueueList queues :
         {kohal::ZSLQueueList{}, kohal::ZSLQueueList{kohost::metaQueue(0, {}), kohost::holdingQueue(3, 3, "raw", {8})}}) {
        kohal::ZSLFrameCheckInfo info;
        info.checkFrameNum = 8;
        info.requestMeta = Meta().i32(tag::SensorMode, 2);
        info.zslQueues = queues;
        auto outcome = kotest::runLogged([&] { return plugin.selector().checkDesiredSensorMode(info); });
        EXPECT_EQ(outcome.result, Verdict(false, false));
        ASSERT_EQ(outcome.lines.size(), 1u);
        EXPECT_EQ(outcome.lines[0].rfind("I [ZSLSelector] checkFrameNum = 8 fwkFrameNum = 0  reqtMasterId", 0), 0u);
    }
}

TEST(ExtSensorModeQueues, InfoLinePrintsTheRequestIdsAndTheSelector)
{
    kohost::PluginSession plugin;
    auto gates = kohost::LogGates::allOpen();
    kohost::LogRecorder log;
    kohal::ZSLFrameCheckInfo info;
    info.checkFrameNum = 8;
    info.fwkFrameNum = 20;
    info.reqtMasterId = 3;
    info.masterRoleId = 4;
    info.AiHLFrameNum = 99;
    plugin.selector().checkDesiredSensorMode(info);

    char self[32];
    std::snprintf(self, sizeof(self), "%p", static_cast<void *>(&plugin.selector()));
    auto records = log.system();
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0].text, std::string("[ZSLSelector] checkFrameNum = 8 fwkFrameNum = 20  reqtMasterId = 3 "
                                           "masterRoleId = 4 AiHLFrameNum = 99 this = ") +
                                   self);
    EXPECT_EQ(records[0].fileName, "ZSLSelectorExt.h");
    EXPECT_EQ(records[0].function, "checkDesiredSensorMode");
}

TEST(ExtSensorModeQueues, OnlyTheFirstSensorQueueIsConsulted)
{
    kohost::PluginSession plugin;
    auto meta = kohost::metaQueue(0, {});
    auto first = std::make_shared<kohost::HostFrameQueue>(1, kohal::ZSL_QUEUE_TYPE_SENSOR_MODE, "first");
    auto second = std::make_shared<kohost::HostFrameQueue>(2, kohal::ZSL_QUEUE_TYPE_SENSOR_MODE, "second");
    second->putSensorModeFrame(8, 2);
    auto after = kohost::holdingQueue(3, 3, "after", {8});
    kohal::ZSLFrameCheckInfo info;
    info.checkFrameNum = 8;
    info.requestMeta = Meta().i32(tag::SensorMode, 2);
    info.zslQueues = {meta, first, second, after};

    EXPECT_EQ(plugin.selector().checkDesiredSensorMode(info), Verdict(false, false));
    EXPECT_EQ(meta->journal(), Lines{"getQueueType"});
    EXPECT_EQ(first->journal(), (Lines{"getQueueType", "getMetaFrame(8)"}));
    EXPECT_TRUE(second->journal().empty());
    EXPECT_TRUE(after->journal().empty());
}

TEST(ExtSensorModeQueues, OnlyTheFirstRequestedModeCounts)
{
    kohost::PluginSession plugin;
    auto sensor = std::make_shared<kohost::HostFrameQueue>(1, kohal::ZSL_QUEUE_TYPE_SENSOR_MODE, "sensor");
    sensor->putSensorModeFrame(8, 4);
    kohal::ZSLFrameCheckInfo info;
    info.checkFrameNum = 8;
    info.requestMeta = Meta().set<int32_t>(tag::SensorMode, {4, 7});
    info.zslQueues = {sensor};
    EXPECT_EQ(plugin.selector().checkDesiredSensorMode(info), Verdict(true, true));
}

} // namespace
