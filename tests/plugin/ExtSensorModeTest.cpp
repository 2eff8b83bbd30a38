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
// Queues: the metadata queue, then the sensor-mode queue holding frame 8
// in frameMode, unless the case has no sensor-mode queue or puts an empty
// one before it.
enum class Queues { Sensor, NoSensor, EmptySensorFirst };

struct ModeCase {
    const char *name;
    std::optional<int32_t> frameMode;                // none: no record for the frame
    std::optional<std::vector<int32_t>> requestMode; // none: tag absent
    bool nullRequest;
    Verdict expected;
    Lines lines; // after the info line
    Queues queues = Queues::Sensor;
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
        request.set<int32_t>(tag::SensorMode, *c.requestMode);
    kohal::ZSLFrameCheckInfo info;
    info.checkFrameNum = 8;
    info.fwkFrameNum = 20;
    info.reqtMasterId = 3;
    info.masterRoleId = 4;
    info.AiHLFrameNum = 99;
    info.requestMeta = c.nullRequest ? nullptr : request.build();
    info.zslQueues = {kohost::metaQueue(0, {})};
    if (c.queues == Queues::EmptySensorFirst)
        info.zslQueues.push_back(std::make_shared<kohost::HostFrameQueue>(2, kohal::ZSL_QUEUE_TYPE_SENSOR_MODE, "empty"));
    info.zslQueues.push_back(c.queues == Queues::NoSensor ? kohost::holdingQueue(3, 3, "raw", {8}) : sensor);

    auto gates = kohost::LogGates::systemOnly();
    kohost::LogRecorder log;
    EXPECT_EQ(plugin.selector().checkDesiredSensorMode(info), c.expected);
    auto records = log.system();
    ASSERT_FALSE(records.empty());
    char self[32];
    std::snprintf(self, sizeof(self), "%p", static_cast<void *>(&plugin.selector()));
    EXPECT_EQ(records[0].text, std::string("[ZSLSelector] checkFrameNum = 8 fwkFrameNum = 20  reqtMasterId = 3 "
                                           "masterRoleId = 4 AiHLFrameNum = 99 this = ") + self);
    EXPECT_EQ(records[0].level, "I");
    for (const auto &record : records) { // the request's mode is read by a local helper
        EXPECT_EQ(record.fileName, "ZSLSelectorExt.h");
        bool helper = record.text.find("policy.sensorMode") != std::string::npos;
        EXPECT_EQ(record.function, helper ? "operator()" : "checkDesiredSensorMode") << record.text;
    }
    auto texts = kotest::texts(records);
    EXPECT_EQ(Lines(texts.begin() + 1, texts.end()), c.lines);
}

const std::string kFrameTwo = "D [ZSLSelector] fwkFrame:20 zslFrame: 8 zslFrame perframeSensorMode:2";
const std::string kNoRecord = "D [ZSLSelector] fwkFrame:20 zslFrame: 8 get metaFrame failed perframeSensorMode = -1";
const std::string kOk = "D [ZSLSelector] checkDesiredSensorMode success!  fwkFrame:20 zslFrame: 8";
const std::string kFail = "D [ZSLSelector] checkDesiredSensorMode fail!  fwkFrame:20 zslFrame: 8";

std::string wanted(int32_t mode)
{
    // Appended, not added: GCC 12 warns falsely on a literal + to_string.
    std::string text = "D [ZSLSelector] get korvan.ext.control.policy.sensorMode successful, desiredSensorMode = ";
    return text += std::to_string(mode);
}
std::string requested(int32_t mode)
{
    std::string text = "D [ZSLSelector] fwkFrame:20 zslFrame: 8 reqestFrame reqDesiredSensorMode:";
    return text += std::to_string(mode);
}
const std::string kTagMissing =
    "D [ZSLSelector] get korvan.ext.control.policy.sensorMode failed, desiredSensorMode = -1";

INSTANTIATE_TEST_SUITE_P(
    Table, ExtSensorMode,
    testing::Values(
        ModeCase{"equal", 2, {{2}}, false, {true, true}, {kFrameTwo, wanted(2), requested(2), kOk}},
        ModeCase{"different", 2, {{3}}, false, {false, false}, {kFrameTwo, wanted(3), requested(3), kFail}},
        ModeCase{"onlyTheFirstRequestedModeCounts", 2, {{2, 3}}, false, {true, true},
                 {kFrameTwo, wanted(2), requested(2), kOk}},
        ModeCase{"requestAbsent", 2, std::nullopt, false, {false, false},
                 {kFrameTwo, kTagMissing, requested(-1), kFail}},
        ModeCase{"recordMissing", std::nullopt, {{2}}, false, {false, false}, {kNoRecord, wanted(2), requested(2), kFail}},
        ModeCase{"bothUnknown", std::nullopt, std::nullopt, false, {true, true},
                 {kNoRecord, kTagMissing, requested(-1), kOk}},
        ModeCase{"minusOneNamedOnBothSides", -1, {{-1}}, false, {true, true},
                 {"D [ZSLSelector] fwkFrame:20 zslFrame: 8 zslFrame perframeSensorMode:-1", wanted(-1), requested(-1),
                  kOk}},
        ModeCase{"nullRequestSilent", 0, std::nullopt, true, {false, false},
                 {"D [ZSLSelector] fwkFrame:20 zslFrame: 8 zslFrame perframeSensorMode:0", requested(-1), kFail}},
        // Refused after the info line only.
        ModeCase{"noSensorQueue", 2, {{2}}, false, {false, false}, {}, Queues::NoSensor},
        ModeCase{"onlyTheFirstSensorQueueIsAsked", 2, {{2}}, false, {false, false},
                 {kNoRecord, wanted(2), requested(2), kFail}, Queues::EmptySensorFirst}),
    [](const testing::TestParamInfo<ModeCase> &info) { return info.param.name; });

} // namespace
