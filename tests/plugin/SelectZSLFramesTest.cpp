#include <Logged.h>
#include <MetadataBuilder.h>
#include <PluginSession.h>
#include <QueueBuilder.h>

#include <utils/Timers.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <regex>

namespace {

using kohost::ListedFrame;
using kohost::Meta;
namespace tag = kohost::tag;
using Frames = std::vector<uint32_t>;

constexpr int64_t kMs = 1000000;

// A motion capture whose anchor puts zsdTs exactly at zsdTsNs, no clock.
std::shared_ptr<KoMetadata> anchoredRequest(int64_t zsdTsNs, int32_t motionCapType = 0x1)
{
    int64_t offset = (motionCapType & 0xF0000) ? 30 * kMs : 60 * kMs;
    return Meta().i64(tag::AnchorTimeStamp, zsdTsNs - offset).i32(tag::MotionCaptureType, motionCapType);
}

std::vector<std::shared_ptr<KoMetadata>> requests(std::shared_ptr<KoMetadata> first, size_t count)
{
    std::vector<std::shared_ptr<KoMetadata>> metas{std::move(first)};
    while (metas.size() < count)
        metas.push_back(Meta());
    return metas;
}

// The table of the selection rules: consumer 10, 11, 12 shot at 100, 200,
// 300 ns against zsdTs, unless a case says otherwise.
struct SelectCase {
    const char *name;
    int64_t zsdTs = 150;
    bool pending = false;
    size_t requestCount = 1;
    Frames used = {};
    std::vector<ListedFrame> consumer = {{10, 100}, {11, 200}, {12, 300}};
    std::vector<ListedFrame> producer = {};
    Frames expected = {};
    const char *anchorLine = nullptr; // the "ZSLAnchor" line's tail, when checked
};

class SelectZSLFrames : public testing::TestWithParam<SelectCase> {};

TEST_P(SelectZSLFrames, SelectsFromTheAnchorBack)
{
    const SelectCase &c = GetParam();
    kohost::PluginSession plugin(
        {{"persist.vendor.kohal.selector.pending.mask", c.pending ? "1" : "0"}});
    auto gates = kohost::LogGates::systemOnly();
    kohost::LogRecorder log;

    kohal::ZSLFrameSelectInfo info;
    info.fwkFrameNum = 7;
    info.usedFrameNums = c.used;
    info.zslQueues = {kohost::metaQueue(0, c.consumer, c.producer)};
    info.requestMetas = requests(anchoredRequest(c.zsdTs), c.requestCount);

    kohal::ZSLSelection result = plugin.selector().selectZSLFrames(info);
    ASSERT_EQ(result.size(), 1u);
    EXPECT_EQ(result.begin()->first, 0u);
    EXPECT_EQ(result.begin()->second, c.expected);
    if (c.anchorLine) {
        auto texts = kotest::texts(log.system());
        bool found = std::any_of(texts.begin(), texts.end(), [&](const std::string &text) {
            return text == std::string("I [ZSLSelector] fwkFrame:7 ZSLAnchor ") + c.anchorLine;
        });
        EXPECT_TRUE(found) << c.anchorLine;
    }
}

const std::vector<SelectCase> kSelectCases = {
    {.name = "anchorInsideConsumerList", .expected = {11, 12},
     .anchorLine = "offset:-2 csbegin:1 consumerQ[10 11 12 ]"},
    {.name = "severalRequestsEndAtTheAnchor", .requestCount = 2, .expected = {10, 11, 12},
     .anchorLine = "offset:-2 csbegin:0 consumerQ[10 11 12 ]"},
    {.name = "beginClampedAtZero", .requestCount = 5, .expected = {10, 11, 12},
     .anchorLine = "offset:-2 csbegin:0 consumerQ[10 11 12 ]"},
    {.name = "usedFramesBoundTheSelection", .used = {3, 11}, .expected = {12},
     .anchorLine = "offset:-2 csbegin:1 consumerQ[10 11 12 ]"},
    {.name = "shutterEqualToZsdTsIsNotNewEnough", .zsdTs = 200, .expected = {12}},
    {.name = "anchorAtTheEndTakesEveryProducerFrame", .zsdTs = 250, .producer = {{13, 400}, {14, 500}},
     .expected = {12, 13, 14}, .anchorLine = "offset:-1 csbegin:2 consumerQ[10 11 12 ]"},
    {.name = "anchorBeforeTheEndTakesNoProducerFrame", .producer = {{13, 400}}, .expected = {11, 12}},
    {.name = "anchorAtTheEndWithSeveralRequests", .zsdTs = 250, .requestCount = 3,
     .producer = {{13, 400}, {14, 500}}, .expected = {10, 11, 12, 13, 14}},
    {.name = "noAnchorScansTheProducerList", .zsdTs = 1000, .producer = {{13, 400}, {14, 1100}, {15, 1200}},
     .expected = {14, 15}, .anchorLine = "offset:1 csbegin:4 consumerQ[10 11 12 ]"},
    {.name = "noAnchorTwoRequestsStartAtProducerZero", .zsdTs = 1000, .requestCount = 2,
     .producer = {{13, 400}, {14, 1100}, {15, 1200}}, .expected = {13, 14, 15},
     .anchorLine = "offset:1 csbegin:3 consumerQ[10 11 12 ]"},
    {.name = "noAnchorThreeRequestsReachBackIntoConsumers", .zsdTs = 1000, .requestCount = 3,
     .producer = {{13, 400}, {14, 1100}, {15, 1200}}, .expected = {12, 13, 14, 15},
     .anchorLine = "offset:1 csbegin:2 consumerQ[10 11 12 ]"},
    // The scan ends on 14 (offset 1) without finding a frame new enough.
    {.name = "producerFrameWithoutRecordIsPassedOver", .zsdTs = 1000, .producer = {{13, std::nullopt}, {14, 900}},
     .expected = {14}, .anchorLine = "offset:1 csbegin:4 consumerQ[10 11 12 ]"},
    {.name = "emptyProducerListLeavesTheLastOldConsumerFrame", .zsdTs = 1000, .expected = {12},
     .anchorLine = "offset:-1 csbegin:2 consumerQ[10 11 12 ]"},
    {.name = "removedFrameSkippedByTheScan", .consumer = {{10, std::nullopt}, {11, 200}, {12, 300}},
     .expected = {11, 12}, .anchorLine = "offset:-2 csbegin:1 consumerQ[10 11 12 ]"},
    {.name = "removedFrameAfterTheBeginIsStillSelected",
     .consumer = {{10, 100}, {11, 200}, {12, std::nullopt}, {13, 400}}, .expected = {11, 12, 13}},
    {.name = "removedFrameAtTheBeginMovesIt", .requestCount = 2,
     .consumer = {{10, 100}, {11, std::nullopt}, {12, 300}}, .expected = {12},
     .anchorLine = "offset:-1 csbegin:1 consumerQ[10 11 12 ]"},
    {.name = "noRecordAtAllLeavesOffsetZero", .zsdTs = 1000, .consumer = {{10, std::nullopt}, {11, std::nullopt}},
     .expected = {}, .anchorLine = "offset:0 csbegin:2 consumerQ[10 11 ]"},
    {.name = "frameNumbersCompareUnsigned", .used = {2147483647u},
     .consumer = {{2147483646u, 100}, {2147483647u, 200}, {2147483648u, 300}, {4294967295u, 400}},
     .expected = {2147483648u, 4294967295u}},
    {.name = "lastUsedAtTheTopSelectsNothing", .used = {4294967295u}, .expected = {}},
};

INSTANTIATE_TEST_SUITE_P(Rules, SelectZSLFrames, testing::ValuesIn(kSelectCases),
                         [](const testing::TestParamInfo<SelectCase> &info) { return info.param.name; });

TEST(SelectZSLFramesPending, NoAnchorWithPendingSupportFinishesEmpty)
{
    kohost::PluginSession plugin({{"persist.vendor.kohal.selector.pending.mask", "1"}});
    auto gates = kohost::LogGates::systemOnly();
    kohost::LogRecorder log;
    auto queue = kohost::metaQueue(0, {{10, 100}, {11, 200}, {12, 300}}, {{13, 2000}});
    kohal::ZSLFrameSelectInfo info;
    info.fwkFrameNum = 9;
    info.zslQueues = {queue};
    info.requestMetas = {anchoredRequest(1000)};

    EXPECT_TRUE(plugin.selector().selectZSLFrames(info).empty());
    auto texts = kotest::texts(log.system());
    ASSERT_FALSE(texts.empty());
    EXPECT_EQ(texts.back(), "D [ZSLSelector] fwkFrame:9 consumer list ts too old, select finished");
    auto journal = queue->journal();
    EXPECT_EQ(std::count(journal.begin(), journal.end(), "getFrameNumList(1)"), 0);
}

TEST(SelectZSLFramesPending, AnchorFoundSelectsNoProducerFrame)
{
    kohost::PluginSession plugin({{"persist.vendor.kohal.selector.pending.mask", "1"}});
    auto queue = kohost::metaQueue(0, {{10, 100}, {11, 200}, {12, 300}}, {{13, 400}});
    kohal::ZSLFrameSelectInfo info;
    info.zslQueues = {queue};
    info.requestMetas = {anchoredRequest(250)};

    auto result = plugin.selector().selectZSLFrames(info);
    EXPECT_EQ(result[0], (Frames{12}));
    auto journal = queue->journal();
    EXPECT_EQ(std::count(journal.begin(), journal.end(), "getFrameNumList(1)"), 0);
}

TEST(SelectZSLFramesQueues, FrameMissingFromASecondQueueMovesTheBegin)
{
    kohost::PluginSession plugin;
    auto gates = kohost::LogGates::systemOnly();
    kohost::LogRecorder log;
    auto meta = kohost::metaQueue(0, {{10, 100}, {11, 200}, {12, 300}});
    auto sensor = kohost::holdingQueue(1, kohal::ZSL_QUEUE_TYPE_SENSOR_MODE, "sensor", {10, 12});
    kohal::ZSLFrameSelectInfo info;
    info.fwkFrameNum = 3;
    info.zslQueues = {sensor, meta};
    info.requestMetas = {anchoredRequest(150)};

    auto result = plugin.selector().selectZSLFrames(info);
    EXPECT_EQ(result, (kohal::ZSLSelection{{0, {12}}, {1, {12}}}));
    auto texts = kotest::texts(log.system());
    EXPECT_EQ(std::count(texts.begin(), texts.end(),
                         "D [ZSLSelector] fwkFrame:3, cannot find zslFrame: 11 in [sensor], move begin to next"),
              1);
    // Each queue is asked for 11, then 12, from the first queue on.
    auto sensorCalls = sensor->journal();
    EXPECT_NE(std::find(sensorCalls.begin(), sensorCalls.end(), "getMetaFrame(12)"), sensorCalls.end());
}

TEST(SelectZSLFramesQueues, OnlyTheFrameAtTheBeginIsTested)
{
    kohost::PluginSession plugin;
    auto meta = kohost::metaQueue(0, {{10, 100}, {11, 200}, {12, 300}});
    auto other = kohost::holdingQueue(5, 3, "other", {11});
    kohal::ZSLFrameSelectInfo info;
    info.zslQueues = {meta, other};
    info.requestMetas = {anchoredRequest(150)};

    auto result = plugin.selector().selectZSLFrames(info);
    EXPECT_EQ(result, (kohal::ZSLSelection{{0, {11, 12}}, {5, {11, 12}}}));
    auto calls = other->journal();
    EXPECT_EQ(std::find(calls.begin(), calls.end(), "getMetaFrame(12)"), calls.end());
}

TEST(SelectZSLFramesQueues, OnlyTheFirstMetadataQueueIsRead)
{
    kohost::PluginSession plugin;
    auto first = kohost::metaQueue(0, {{10, 100}, {11, 200}});
    auto second = kohost::metaQueue(1, {{11, 100}, {21, 200}}); // holds 11, lists other frames
    kohal::ZSLFrameSelectInfo info;
    info.zslQueues = {first, second};
    info.requestMetas = {anchoredRequest(150)};

    auto result = plugin.selector().selectZSLFrames(info);
    EXPECT_EQ(result, (kohal::ZSLSelection{{0, {11}}, {1, {11}}}));
    auto calls = second->journal();
    EXPECT_EQ(std::find(calls.begin(), calls.end(), "getFrameNumList(0)"), calls.end());
}

TEST(SelectZSLFramesQueues, QueuesWithTheSameIdShareOneEntry)
{
    kohost::PluginSession plugin;
    kohal::ZSLFrameSelectInfo info;
    info.zslQueues = {kohost::metaQueue(4, {{10, 100}, {11, 200}}),
                      kohost::holdingQueue(4, 2, "sensor", {10, 11}),
                      kohost::holdingQueue(2147483648u, 2, "high", {10, 11})};
    info.requestMetas = {anchoredRequest(150)};

    auto result = plugin.selector().selectZSLFrames(info);
    EXPECT_EQ(result, (kohal::ZSLSelection{{4, {11}}, {2147483648u, {11}}}));
}

struct EmptyCase {
    const char *name;
    kohal::ZSLQueueList queues;
};

class SelectZSLFramesNoMetaQueue : public testing::TestWithParam<EmptyCase> {};

TEST_P(SelectZSLFramesNoMetaQueue, AnswersTheEmptyMap)
{
    kohost::PluginSession plugin;
    auto gates = kohost::LogGates::systemOnly();
    kohost::LogRecorder log;
    kohal::ZSLFrameSelectInfo info;
    info.fwkFrameNum = 12;
    info.zslQueues = GetParam().queues;
    info.requestMetas = {Meta()};

    EXPECT_TRUE(plugin.selector().selectZSLFrames(info).empty());
    EXPECT_EQ(kotest::texts(log.system()),
              std::vector<std::string>{"D [ZSLSelector] fwkFrame:12 no metaQueue, select finished"});
}

INSTANTIATE_TEST_SUITE_P(
    Queues, SelectZSLFramesNoMetaQueue,
    testing::Values(EmptyCase{"none", {}},
                    EmptyCase{"otherTypesOnly",
                              {kohost::holdingQueue(1, 2, "sensor", {10}), kohost::holdingQueue(2, 0, "raw", {10})}},
                    EmptyCase{"nullQueue", {nullptr}}),
    [](const testing::TestParamInfo<EmptyCase> &info) { return info.param.name; });

TEST(SelectZSLFramesRobustness, NullQueueAndNullRequestTakeTheNeutralChoice)
{
    kohost::PluginSession plugin({{"ro.vendor.camera3.zsl.default", "1000"}});
    const int64_t now = systemTime(SYSTEM_TIME_BOOTTIME);
    kohal::ZSLFrameSelectInfo info;
    info.zslQueues = {nullptr, kohost::metaQueue(0, {{10, now - 5000 * kMs}, {11, now - 200 * kMs}}), nullptr};
    info.requestMetas = {nullptr};

    // A null first request reads as a request without tags: the clock rule.
    EXPECT_EQ(plugin.selector().selectZSLFrames(info), (kohal::ZSLSelection{{0, {11}}}));
}

// zsdTs from the clock: placed far (hundreds of ms) from every shutter time.
TEST(SelectZSLFramesClock, OverviewCaptureEndToEnd)
{
    kohost::PluginSession plugin({{"ro.vendor.camera3.zsl.default", "1000"}});
    const int64_t now = systemTime(SYSTEM_TIME_BOOTTIME);
    auto meta = kohost::metaQueue(0, {{41, now - 5000 * kMs},
                                      {42, now - 4900 * kMs},
                                      {43, now - 4800 * kMs},
                                      {44, now - 300 * kMs},
                                      {45, now - 200 * kMs},
                                      {46, now - 100 * kMs}},
                                  {{47, now}});
    auto sensor = kohost::holdingQueue(1, kohal::ZSL_QUEUE_TYPE_SENSOR_MODE, "sensor", {41, 42, 43, 44, 45, 46});
    kohal::ZSLFrameSelectInfo info;
    info.fwkFrameNum = 100;
    info.usedFrameNums = {38, 40};
    info.zslQueues = {meta, sensor};
    info.requestMetas = {Meta().u8(tag::EnableZsl, 1)};

    EXPECT_TRUE(plugin.selector().isSelectorNeeded(info));
    EXPECT_EQ(plugin.selector().selectZSLFrames(info),
              (kohal::ZSLSelection{{0, {44, 45, 46}}, {1, {44, 45, 46}}}));
}

TEST(SelectZSLFramesClock, EmptyRequestListCountsNoFrameAndUsesTheClock)
{
    kohost::PluginSession plugin({{"ro.vendor.camera3.zsl.default", "1000"}});
    const int64_t now = systemTime(SYSTEM_TIME_BOOTTIME);
    kohal::ZSLFrameSelectInfo info;
    info.zslQueues = {kohost::metaQueue(0, {{10, now - 5000 * kMs}, {11, now - 200 * kMs}, {12, now}})};

    // requestCount 0 begins one frame after the anchor.
    EXPECT_EQ(plugin.selector().selectZSLFrames(info), (kohal::ZSLSelection{{0, {12}}}));
}

// The zsdTs line is "zsdTs:<zsdTs> curTime:<curTime>"; answers both.
std::pair<int64_t, int64_t> zsdTsAndCurTime(const std::vector<std::string> &texts)
{
    static const std::regex kLine(R"(I \[ZSLSelector\] fwkFrame:\d+ zsdTs:(-?\d+) curTime:(-?\d+))");
    std::smatch match;
    for (const std::string &text : texts)
        if (std::regex_match(text, match, kLine))
            return {std::stoll(match[1]), std::stoll(match[2])};
    ADD_FAILURE() << "no zsdTs line";
    return {0, 0};
}

struct ZsdTsCase {
    const char *name;
    int32_t motionCapType;
    int64_t anchorTS;
    int64_t windowMs;
    int64_t expectedOffsetNs; // zsdTs - anchorTS for motion capture
    bool motion;
};

class ZsdTs : public testing::TestWithParam<ZsdTsCase> {};

TEST_P(ZsdTs, FromTheAnchorOnlyForLowByteOne)
{
    const ZsdTsCase &c = GetParam();
    kohost::PluginSession plugin({{"ro.vendor.camera3.zsl.default", std::to_string(c.windowMs)}});
    auto gates = kohost::LogGates::systemOnly();
    kohost::LogRecorder log;
    kohal::ZSLFrameSelectInfo info;
    info.zslQueues = {kohost::metaQueue(0, {{10, 100}})};
    info.requestMetas = {Meta().i64(tag::AnchorTimeStamp, c.anchorTS).i32(tag::MotionCaptureType, c.motionCapType)};
    plugin.selector().selectZSLFrames(info);

    auto [zsdTs, curTime] = zsdTsAndCurTime(kotest::texts(log.system()));
    if (c.motion)
        EXPECT_EQ(zsdTs, c.anchorTS + c.expectedOffsetNs);
    else
        EXPECT_EQ(zsdTs, curTime - c.windowMs * kMs);
}

INSTANTIATE_TEST_SUITE_P(
    MotionCapture, ZsdTs,
    testing::Values(ZsdTsCase{"nearBit16", 0x10001, 1000000, 100, 30 * kMs, true},
                    ZsdTsCase{"nearBit19", 0x80001, 1000000, 100, 30 * kMs, true},
                    ZsdTsCase{"far", 0x1, 1000000, 100, 60 * kMs, true},
                    ZsdTsCase{"farHighByte", 0x101, 5, 100, 60 * kMs, true},
                    ZsdTsCase{"bit20NotNear", 0x100001, 0, 100, 60 * kMs, true},
                    ZsdTsCase{"lowByteTwo", 0x2, 1000000, 100, 0, false},
                    ZsdTsCase{"lowByteZero", 0x100, 1000000, 250, 0, false},
                    ZsdTsCase{"negativeWindow", 0x0, 0, -40, 0, false}),
    [](const testing::TestParamInfo<ZsdTsCase> &info) { return info.param.name; });

TEST(ZsdTsPrecision, LargeAnchorIsSummedInDoublePrecision)
{
    kohost::PluginSession plugin;
    auto gates = kohost::LogGates::systemOnly();
    kohost::LogRecorder log;
    // 2^53 + 1 is not a double: the anchor rounds to 2^53 before 30 ms is added.
    const int64_t anchor = 9007199254740993;
    const int64_t exactSum = anchor + 30 * kMs;
    kohal::ZSLFrameSelectInfo info;
    info.zslQueues = {kohost::metaQueue(0, {{10, exactSum - 1}, {11, exactSum}, {12, exactSum + 1}})};
    info.requestMetas = {Meta().i64(tag::AnchorTimeStamp, anchor).i32(tag::MotionCaptureType, 0x10001)};

    // zsdTs is exactSum - 1, so frame 11 (at exactSum) is already new enough.
    EXPECT_EQ(plugin.selector().selectZSLFrames(info), (kohal::ZSLSelection{{0, {11, 12}}}));
    EXPECT_EQ(zsdTsAndCurTime(kotest::texts(log.system())).first, exactSum - 1);
}

TEST(ZsdTsPrecision, SumBeyondTheRangeSaturates)
{
    kohost::PluginSession plugin;
    auto gates = kohost::LogGates::systemOnly();
    kohost::LogRecorder log;
    kohal::ZSLFrameSelectInfo info;
    info.zslQueues = {kohost::metaQueue(0, {{10, INT64_MAX}})};
    info.requestMetas = {Meta().i64(tag::AnchorTimeStamp, INT64_MAX).i32(tag::MotionCaptureType, 0x1)};

    // No shutter time is later than the saturated zsdTs: the last frame stays.
    EXPECT_EQ(plugin.selector().selectZSLFrames(info), (kohal::ZSLSelection{{0, {10}}}));
    EXPECT_EQ(zsdTsAndCurTime(kotest::texts(log.system())).first, INT64_MAX);
}

} // namespace
