#include <Logged.h>
#include <MetadataBuilder.h>
#include <PluginSession.h>
#include <QueueBuilder.h>

#include <utils/Timers.h>

#include <gtest/gtest.h>

#include <regex>

namespace {

using kohost::Meta;
namespace tag = kohost::tag;

constexpr int64_t kMs = 1000000;

// The clock's value in the zsdTs line, checked to lie within the call.
std::string curTimeOf(const std::vector<std::string> &texts, int64_t before, int64_t after)
{
    static const std::regex kLine(R"(.* zsdTs:-?\d+ curTime:(\d+))");
    std::smatch match;
    for (const std::string &text : texts)
        if (std::regex_match(text, match, kLine)) {
            int64_t curTime = std::stoll(match[1]);
            EXPECT_GE(curTime, before);
            EXPECT_LE(curTime, after);
            return match[1];
        }
    ADD_FAILURE() << "no zsdTs line";
    return "";
}

TEST(SelectZSLFramesLog, MotionCaptureWithRemovedAndMissingFrames)
{
    kohost::PluginSession plugin;
    auto gates = kohost::LogGates::systemOnly();
    kohost::LogRecorder log;
    const int64_t anchor = 1000 * kMs;
    auto meta = kohost::metaQueue(0, {{20, anchor}, {21, std::nullopt}, {22, anchor + 20 * kMs},
                                      {23, anchor + 40 * kMs}, {24, anchor + 80 * kMs}, {25, anchor + 90 * kMs}},
                                  {{26, anchor + 100 * kMs}}, "ZSLMetaQ");
    auto sensor = kohost::holdingQueue(1, kohal::ZSL_QUEUE_TYPE_SENSOR_MODE, "ZSLSensorQ", {22, 24, 25, 26});
    kohal::ZSLFrameSelectInfo info;
    info.fwkFrameNum = 301;
    info.usedFrameNums = {19};
    info.zslQueues = {meta, sensor};
    info.requestMetas = {Meta().i64(tag::AnchorTimeStamp, anchor).i32(tag::MotionCaptureType, 0x30001), Meta(),
                         Meta()};

    const int64_t before = systemTime(SYSTEM_TIME_BOOTTIME);
    auto result = plugin.selector().selectZSLFrames(info);
    const int64_t after = systemTime(SYSTEM_TIME_BOOTTIME);

    // zsdTs = anchor + 30 ms: frame 23 (anchor + 40 ms) is the anchor frame,
    // three requests begin at 21, which no queue holds; 22 is in both.
    EXPECT_EQ(result, (kohal::ZSLSelection{{0, {22, 23, 24, 25}}, {1, {22, 23, 24, 25}}}));
    auto texts = kotest::texts(log.system());
    std::string curTime = curTimeOf(texts, before, after);
    EXPECT_EQ(texts, (std::vector<std::string>{
                         "I [ZSLSelector] fwkFrame:301 [ZSLMetaQ] Current Consumer list: 20 21 22 23 24 25 ",
                         "I <mc anchor pick> anchorTS:1000000000, motionCapType:0x30001",
                         "I [ZSLSelector] fwkFrame:301 zsdTs:1030000000 curTime:" + curTime,
                         "I [ZSLSelector] fwkFrame:301 Consumer list: 20 shutter time:1000000000",
                         "I [ZSLSelector] fwkFrame:301 Consumer list: 21 ResultMetaTarget removed",
                         "I [ZSLSelector] fwkFrame:301 Consumer list: 22 shutter time:1020000000",
                         "I [ZSLSelector] fwkFrame:301 Consumer list: 23 shutter time:1040000000",
                         "I [ZSLSelector] fwkFrame:301 ZSLAnchor offset:-3 csbegin:1 consumerQ[20 21 22 23 24 25 ]",
                         "D [ZSLSelector] fwkFrame:301, cannot find zslFrame: 21 in [ZSLMetaQ], move begin to next",
                     }));
}

TEST(SelectZSLFramesLog, NoAnchorScansProducersThenPendingOffAddsThem)
{
    kohost::PluginSession plugin({{"ro.vendor.camera3.zsl.default", "30"}});
    auto gates = kohost::LogGates::systemOnly();
    kohost::LogRecorder log;
    auto meta = kohost::metaQueue(0, {{5, 100}, {6, 200}}, {{7, 300}, {8, std::nullopt}, {9, 400}}, "meta");
    kohal::ZSLFrameSelectInfo info;
    info.fwkFrameNum = 4;
    info.zslQueues = {meta};
    info.requestMetas = {Meta()};

    const int64_t before = systemTime(SYSTEM_TIME_BOOTTIME);
    auto result = plugin.selector().selectZSLFrames(info);
    const int64_t after = systemTime(SYSTEM_TIME_BOOTTIME);

    // Every shutter time lies far before now - 30 ms: the producer scan ends
    // on its last frame with a record (9, index 2), and that is the selection.
    EXPECT_EQ(result, (kohal::ZSLSelection{{0, {9}}}));
    auto texts = kotest::texts(log.system());
    std::string curTime = curTimeOf(texts, before, after);
    std::string zsdTs = std::to_string(std::stoll(curTime) - 30 * kMs);
    EXPECT_EQ(texts, (std::vector<std::string>{
                         "I [ZSLSelector] fwkFrame:4 [meta] Current Consumer list: 5 6 ",
                         "I <mc anchor pick> anchorTS:0, motionCapType:0x0",
                         "I [ZSLSelector] fwkFrame:4 zsdTs:" + zsdTs + " curTime:" + curTime,
                         "I [ZSLSelector] fwkFrame:4 Consumer list: 5 shutter time:100",
                         "I [ZSLSelector] fwkFrame:4 Consumer list: 6 shutter time:200",
                         "I [ZSLSelector] fwkFrame:4 [meta] Current Producer list: 7 8 9 ",
                         "I [ZSLSelector] fwkFrame:4 Producer list: 7 shutter time:300 ",
                         "I [ZSLSelector] fwkFrame:4 Producer list: 9 shutter time:400 ",
                         "I [ZSLSelector] fwkFrame:4 ZSLAnchor offset:2 csbegin:4 consumerQ[5 6 ]",
                     }));
}

TEST(SelectZSLFramesLog, EmptyConsumerListWithPendingSupport)
{
    kohost::PluginSession plugin({{"persist.vendor.kohal.selector.pending.mask", "true"}});
    auto gates = kohost::LogGates::systemOnly();
    kohost::LogRecorder log;
    kohal::ZSLFrameSelectInfo info;
    info.fwkFrameNum = 2;
    info.zslQueues = {kohost::metaQueue(0, {}, {}, "meta")};
    info.requestMetas = {Meta().i64(tag::AnchorTimeStamp, -70 * kMs).i32(tag::MotionCaptureType, 0x1)};

    const int64_t before = systemTime(SYSTEM_TIME_BOOTTIME);
    EXPECT_TRUE(plugin.selector().selectZSLFrames(info).empty());
    const int64_t after = systemTime(SYSTEM_TIME_BOOTTIME);
    auto texts = kotest::texts(log.system());
    std::string curTime = curTimeOf(texts, before, after);
    EXPECT_EQ(texts, (std::vector<std::string>{
                         "I [ZSLSelector] fwkFrame:2 [meta] Current Consumer list none",
                         "I <mc anchor pick> anchorTS:-70000000, motionCapType:0x1",
                         "I [ZSLSelector] fwkFrame:2 zsdTs:-10000000 curTime:" + curTime,
                         "D [ZSLSelector] fwkFrame:2 consumer list ts too old, select finished",
                     }));
}

// A closed gate formats nothing: queue names are asked only for log lines.
TEST(SelectZSLFramesLog, ClosedGatesAskNoQueueName)
{
    kohost::PluginSession plugin;
    auto meta = kohost::metaQueue(0, {{10, 100}, {11, std::nullopt}, {12, 300}}, {}, "meta");
    auto sensor = kohost::holdingQueue(1, kohal::ZSL_QUEUE_TYPE_SENSOR_MODE, "sensor", {12});
    kohal::ZSLFrameSelectInfo info;
    info.zslQueues = {meta, sensor};
    info.requestMetas = {Meta().i64(tag::AnchorTimeStamp, 0).i32(tag::MotionCaptureType, 0x10001), Meta()};

    for (auto gates : {std::make_tuple(7u, 0x40u, 0u), std::make_tuple(0u, 0x3Fu, 1u)}) {
        kohost::LogGates closed(std::get<0>(gates), std::get<1>(gates), std::get<2>(gates));
        kohost::LogRecorder log;
        meta->clearJournal();
        sensor->clearJournal();
        auto result = plugin.selector().selectZSLFrames(info);
        EXPECT_EQ(result[0], (std::vector<uint32_t>{12}));
        for (const auto &journal : {meta->journal(), sensor->journal()})
            EXPECT_EQ(std::count(journal.begin(), journal.end(), "getQueueName"), 0);
        EXPECT_TRUE(log.system().empty());
        EXPECT_TRUE(log.android().empty());
    }
}

} // namespace
