// selectZSLFrames line by line: whole scenarios, and closed gates that format
// nothing.

#include <BootClock.h>
#include <Logged.h>
#include <MetadataBuilder.h>
#include <QueueBuilder.h>

#include <gtest/gtest.h>

#include <functional>

namespace {

using kohost::Meta;
namespace tag = kohost::tag;
using Lines = std::vector<std::string>;

constexpr int64_t kMs = 1000000;
constexpr int64_t kAnchor = 1000 * kMs;

// Whole selections, line by line, with the clock pinned at 100 s.
struct LogCase {
    const char *name;
    kohost::PropertyList properties;
    std::function<kohal::ZSLQueueList()> queues;
    std::function<std::vector<std::shared_ptr<KoMetadata>>()> requests;
    kohal::ZSLSelection expected;
    Lines lines;
};

class SelectZSLFramesLog : public testing::TestWithParam<LogCase> {};

TEST_P(SelectZSLFramesLog, EveryLineInOrder)
{
    const LogCase &c = GetParam();
    kohost::PinnedBootTime clock(100000 * kMs);
    kotest::LoggedPlugin plugin(c.properties);
    kohal::ZSLFrameSelectInfo info;
    info.fwkFrameNum = 301;
    info.zslQueues = c.queues();
    info.requestMetas = c.requests();

    EXPECT_EQ(plugin.selector().selectZSLFrames(info), c.expected);
    EXPECT_EQ(plugin.texts(), c.lines);
}

INSTANTIATE_TEST_SUITE_P(
    Scenarios, SelectZSLFramesLog,
    testing::Values(
        // zsdTs = anchor + 30 ms: frame 23 (anchor + 40 ms) is the anchor
        // frame; three requests begin at 21, which no queue holds; 22 is in both.
        LogCase{"motionCaptureWithRemovedAndMissingFrames", {},
                [] {
                    return kohal::ZSLQueueList{
                        kohost::metaQueue(0, {{20, kAnchor}, {21, std::nullopt}, {22, kAnchor + 20 * kMs},
                                              {23, kAnchor + 40 * kMs}, {24, kAnchor + 80 * kMs}, {25, kAnchor + 90 * kMs}},
                                          {{26, kAnchor + 100 * kMs}}, "ZSLMetaQ"),
                        kohost::holdingQueue(1, kohal::ZSL_QUEUE_TYPE_SENSOR_MODE, "ZSLSensorQ", {22, 24, 25, 26})};
                },
                [] {
                    return std::vector<std::shared_ptr<KoMetadata>>{
                        Meta().i64(tag::AnchorTimeStamp, kAnchor).i32(tag::MotionCaptureType, 0x30001), Meta(), Meta()};
                },
                {{0, {22, 23, 24, 25}}, {1, {22, 23, 24, 25}}},
                {"I [ZSLSelector] fwkFrame:301 [ZSLMetaQ] Current Consumer list: 20 21 22 23 24 25 ",
                 "I <mc anchor pick> anchorTS:1000000000, motionCapType:0x30001",
                 "I [ZSLSelector] fwkFrame:301 zsdTs:1030000000 curTime:100000000000",
                 "I [ZSLSelector] fwkFrame:301 Consumer list: 20 shutter time:1000000000",
                 "I [ZSLSelector] fwkFrame:301 Consumer list: 21 ResultMetaTarget removed",
                 "I [ZSLSelector] fwkFrame:301 Consumer list: 22 shutter time:1020000000",
                 "I [ZSLSelector] fwkFrame:301 Consumer list: 23 shutter time:1040000000",
                 "I [ZSLSelector] fwkFrame:301 ZSLAnchor offset:-3 csbegin:1 consumerQ[20 21 22 23 24 25 ]",
                 "D [ZSLSelector] fwkFrame:301, cannot find zslFrame: 21 in [ZSLMetaQ], move begin to next"}},
        // Every shutter time lies before zsdTs, 30 ms before now: the producer scan
        // ends on its last frame with a record (9, index 2), the selection.
        LogCase{"noAnchorScansProducersThenPendingOffAddsThem", {{"ro.vendor.camera3.zsl.default", "30"}},
                [] {
                    return kohal::ZSLQueueList{
                        kohost::metaQueue(0, {{5, 100}, {6, 200}}, {{7, 300}, {8, std::nullopt}, {9, 400}}, "meta")};
                },
                [] { return std::vector<std::shared_ptr<KoMetadata>>{Meta()}; }, {{0, {9}}},
                {"I [ZSLSelector] fwkFrame:301 [meta] Current Consumer list: 5 6 ",
                 "I <mc anchor pick> anchorTS:0, motionCapType:0x0",
                 "I [ZSLSelector] fwkFrame:301 zsdTs:99970000000 curTime:100000000000",
                 "I [ZSLSelector] fwkFrame:301 Consumer list: 5 shutter time:100",
                 "I [ZSLSelector] fwkFrame:301 Consumer list: 6 shutter time:200",
                 "I [ZSLSelector] fwkFrame:301 [meta] Current Producer list: 7 8 9 ",
                 "I [ZSLSelector] fwkFrame:301 Producer list: 7 shutter time:300 ",
                 "I [ZSLSelector] fwkFrame:301 Producer list: 9 shutter time:400 ",
                 "I [ZSLSelector] fwkFrame:301 ZSLAnchor offset:2 csbegin:4 consumerQ[5 6 ]"}},
        LogCase{"emptyConsumerListWithPendingSupport", {{"persist.vendor.kohal.selector.pending.mask", "true"}},
                [] { return kohal::ZSLQueueList{kohost::metaQueue(0, {}, {}, "meta")}; },
                [] {
                    return std::vector<std::shared_ptr<KoMetadata>>{
                        Meta().i64(tag::AnchorTimeStamp, -70 * kMs).i32(tag::MotionCaptureType, 0x1)};
                },
                {},
                {"I [ZSLSelector] fwkFrame:301 [meta] Current Consumer list none",
                 "I <mc anchor pick> anchorTS:-70000000, motionCapType:0x1",
                 "I [ZSLSelector] fwkFrame:301 zsdTs:-10000000 curTime:100000000000",
                 "D [ZSLSelector] fwkFrame:301 consumer list ts too old, select finished"}}),
    [](const testing::TestParamInfo<LogCase> &info) { return info.param.name; });

// A closed gate formats nothing: queue names are asked only for log lines,
// and once per line (not once per output) when both gates are open: the
// consumer line and the line passing over 11 name the metadata queue, no
// line the sensor queue.
TEST(SelectZSLFramesLogGates, QueueNamesAskedOnlyForLinesOncePerLine)
{
    kohost::PluginSession plugin;
    auto meta = kohost::metaQueue(0, {{10, 100}, {11, std::nullopt}, {12, 300}}, {}, "meta");
    auto sensor = kohost::holdingQueue(1, kohal::ZSL_QUEUE_TYPE_SENSOR_MODE, "sensor", {12});
    kohal::ZSLFrameSelectInfo info;
    info.zslQueues = {meta, sensor};
    info.requestMetas = {Meta().i64(tag::AnchorTimeStamp, 0).i32(tag::MotionCaptureType, 0x10001), Meta()};

    struct Gates {
        uint32_t level, group, debugMask;
        long metaNames, sensorNames;
    };
    for (const Gates &gates : {Gates{7, 0x40, 0, 0, 0}, Gates{0, 0x3F, 1, 0, 0}, Gates{0, 0x40, 1, 2, 0}}) {
        kohost::LogGates set(gates.level, gates.group, gates.debugMask);
        kohost::LogRecorder log;
        meta->clearJournal();
        sensor->clearJournal();
        EXPECT_EQ(plugin.selector().selectZSLFrames(info)[0], (std::vector<uint32_t>{12}));
        const auto names = [](const std::vector<std::string> &journal) {
            return std::count(journal.begin(), journal.end(), "getQueueName");
        };
        EXPECT_EQ(names(meta->journal()), gates.metaNames);
        EXPECT_EQ(names(sensor->journal()), gates.sensorNames);
        EXPECT_EQ(log.system().empty(), gates.metaNames == 0);
        EXPECT_EQ(log.android().empty(), gates.metaNames == 0);
    }
}

} // namespace
