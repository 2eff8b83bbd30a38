// checkFrame: the paths through queues, records and sensor mode, every
// physical camera judged, and many threads on one selector.

#include <Logged.h>
#include <kodebug/SystemLogSink.h>
#include <PluginSession.h>
#include <MetadataBuilder.h>
#include <QueueBuilder.h>

#include <gtest/gtest.h>

#include <atomic>
#include <optional>
#include <thread>

namespace {

using kohost::Meta;
namespace tag = kohost::tag;
using Lines = std::vector<std::string>;
using Verdict = std::pair<bool, bool>;

const std::string kSrAbsent = "D [ZSLSelector] get korvan.superResolution.enabled failed, srEnable = 0";

// A frame that fails qualification: its focus is still moving.
Meta unsettled()
{
    return Meta().settled().u8(tag::LensState, 1);
}

Meta evRequest()
{
    return Meta().i32(tag::AeExposureCompensation, 0);
}

std::shared_ptr<kohost::HostFrameQueue> sensorQueue(std::vector<std::pair<uint32_t, int32_t>> modes)
{
    auto queue = std::make_shared<kohost::HostFrameQueue>(1, kohal::ZSL_QUEUE_TYPE_SENSOR_MODE, "sensor");
    for (auto [frame, mode] : modes)
        queue->putSensorModeFrame(frame, mode);
    return queue;
}

kohal::ZSLFrameCheckInfo checkInfo(kohal::ZSLQueueList queues, std::shared_ptr<KoMetadata> request)
{
    kohal::ZSLFrameCheckInfo info;
    info.checkFrameNum = 44;
    info.fwkFrameNum = 100;
    info.requestMeta = std::move(request);
    info.zslQueues = std::move(queues);
    return info;
}

// Only the sensor-mode check's closing line, or none when it was not called.
std::string sensorVerdictLine(const Lines &lines)
{
    for (const std::string &line : lines)
        if (line.find("checkDesiredSensorMode") != std::string::npos)
            return line;
    return "";
}

// The paths through checkFrame: which queues there are, whether the metadata
// queue holds the frame and how it qualifies, and what the request enables.
// OnlyInSecondQueue: the first metadata queue lacks the frame, a second one
// holds it unsettled; CamerasSettled: its own metadata is unsettled, every
// physical camera's settled.
enum class Record { NoMetaQueue, None, Settled, Unsettled, OnlyInSecondQueue, CamerasSettled };

struct PathCase {
    const char *name;
    Record record;
    std::optional<std::vector<std::pair<uint32_t, int32_t>>> sensorModes; // none: no sensor-mode queue
    Meta request;
    Verdict expected;
    std::string sensorLine; // "" when the sensor-mode check must not run
    bool nullRequest = false;
    std::string srLine = ""; // the line of the super-resolution flag, when checked
};

class CheckFramePaths : public testing::TestWithParam<PathCase> {};

TEST_P(CheckFramePaths, AnswerAndSensorModeStep)
{
    const PathCase &c = GetParam();
    kohost::PluginSession plugin;
    kohal::ZSLQueueList queues;
    if (c.record == Record::None || c.record == Record::OnlyInSecondQueue)
        queues.push_back(kohost::metaQueue(0, {}));
    if (c.record == Record::Settled || c.record == Record::Unsettled || c.record == Record::OnlyInSecondQueue)
        queues.push_back(kohost::metaQueue(0, {{44, 1, c.record == Record::Settled ? Meta().settled() : unsettled()}}));
    if (c.record == Record::CamerasSettled) {
        auto queue = std::make_shared<kohost::HostFrameQueue>(0, kohal::ZSL_QUEUE_TYPE_META, "meta");
        queue->putMetaFrame(44, kohost::metaInfo(1, unsettled(), {{0, Meta().settled()}, {1, Meta().settled()}}));
        queues.push_back(queue);
    }
    if (c.sensorModes)
        queues.push_back(sensorQueue(*c.sensorModes));
    auto info = checkInfo(queues, c.nullRequest ? nullptr : c.request.build());
    auto outcome = kotest::runLogged([&] { return plugin.selector().checkFrame(info); });
    EXPECT_EQ(outcome.result, c.expected);
    EXPECT_EQ(sensorVerdictLine(outcome.lines), c.sensorLine);
    if (!c.srLine.empty()) {
        EXPECT_NE(std::find(outcome.lines.begin(), outcome.lines.end(), c.srLine), outcome.lines.end());
    }
}

const std::string kSensorOk = "D [ZSLSelector] checkDesiredSensorMode success!  fwkFrame:100 zslFrame: 44";
const std::string kSensorFail = "D [ZSLSelector] checkDesiredSensorMode fail!  fwkFrame:100 zslFrame: 44";

INSTANTIATE_TEST_SUITE_P(
    Table, CheckFramePaths,
    testing::Values(
        PathCase{"overviewFrame", Record::Settled, {{{44, 2}}}, evRequest().u8(tag::EnableZsl, 1), {true, true}, ""},
        PathCase{"noQueues", Record::NoMetaQueue, std::nullopt, evRequest().u8(tag::SuperResolution, 1), {true, true}, ""},
        PathCase{"sensorQueueOnly", Record::NoMetaQueue, {{{44, 3}}}, evRequest().u8(tag::SuperResolution, 1),
                 {true, true}, ""},
        PathCase{"noRecordMfnrDecidedBySensorMode", Record::None, {{{44, 3}}},
                 Meta().u8(tag::MfnrEnabled, 1).i32(tag::SensorMode, 3), {true, true}, kSensorOk},
        PathCase{"noRecordSensorModeRefuses", Record::None, {{{44, 3}}},
                 Meta().u8(tag::MfnrEnabled, 1).i32(tag::SensorMode, 2), {false, false}, kSensorFail},
        PathCase{"noRecordNullRequest", Record::None, {{}}, Meta(), {true, true}, "", true},
        PathCase{"qualifiedWithoutSrOrMfnr", Record::Settled, std::nullopt,
                 evRequest().u8(tag::SuperResolution, 0).u8(tag::MfnrEnabled, 0), {true, true}, ""},
        PathCase{"srByteTwoCountsAsOff", Record::Settled, std::nullopt, evRequest().u8(tag::SuperResolution, 2),
                 {true, true}, "", false,
                 "D [ZSLSelector] get korvan.superResolution.enabled successful, srEnable = 0"},
        PathCase{"mfnrByteTwoCountsAsOff", Record::Settled, std::nullopt, evRequest().u8(tag::MfnrEnabled, 2),
                 {true, true}, "", false, kSrAbsent},
        PathCase{"mfnrWithoutSensorQueueRefuses", Record::Settled, std::nullopt, evRequest().u8(tag::MfnrEnabled, 1),
                 {false, false}, "", false, kSrAbsent},
        PathCase{"srWithoutSensorQueueRefuses", Record::Settled, std::nullopt, evRequest().u8(tag::SuperResolution, 1),
                 {false, false}, ""},
        PathCase{"srWithMatchingSensorMode", Record::Settled, {{{44, 5}}},
                 evRequest().u8(tag::SuperResolution, 1).i32(tag::SensorMode, 5), {true, true}, kSensorOk},
        PathCase{"onlyTheFirstMetadataQueueIsAsked", Record::OnlyInSecondQueue, std::nullopt, evRequest(),
                 {true, true}, ""},
        PathCase{"everyCameraSettledOwnMetadataIgnored", Record::CamerasSettled, std::nullopt, evRequest(),
                 {true, true}, ""},
        PathCase{"qualificationFailsBeforeSr", Record::Unsettled, {{{44, 5}}},
                 evRequest().u8(tag::SuperResolution, 1).i32(tag::SensorMode, 5), {false, true}, ""}),
    [](const testing::TestParamInfo<PathCase> &info) { return info.param.name; });

TEST(CheckFrame, EveryFailingCameraIsLoggedAndOwnMetadataIgnored)
{
    kohost::PluginSession plugin;
    kohal::MetaInfo frame = kohost::metaInfo(1, nullptr, {{0, unsettled()}, {2, Meta().settled()}, {5, unsettled()}});
    auto queue = std::make_shared<kohost::HostFrameQueue>(0, kohal::ZSL_QUEUE_TYPE_META, "meta");
    queue->putMetaFrame(44, frame);
    auto info = checkInfo({queue}, evRequest().u8(tag::SuperResolution, 1));

    auto outcome = kotest::runLogged([&] { return plugin.selector().checkFrame(info); });
    EXPECT_EQ(outcome.result, Verdict(false, true));
    Lines invalid;
    for (const std::string &line : outcome.lines)
        if (line.find("No zslFrame") != std::string::npos || line.find("nullptr") != std::string::npos)
            invalid.push_back(line);
    EXPECT_EQ(invalid, (Lines{"D [ZSLSelector] fwkFrame:100, No zslFrame: 44 ,camid:0 invalid",
                              "D [ZSLSelector] fwkFrame:100, No zslFrame: 44 ,camid:5 invalid"}));
    EXPECT_EQ(std::count(outcome.lines.begin(), outcome.lines.end(), "D hf OK"), 1);
    EXPECT_EQ(std::count(outcome.lines.begin(), outcome.lines.end(), kSrAbsent), 0);
}

} // namespace
