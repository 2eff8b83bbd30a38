// selectZSLFrames: the selection rules, several queues, the clock window and
// how zsdTs is formed.

#include <BootClock.h>
#include <Logged.h>
#include <MetadataBuilder.h>
#include <QueueBuilder.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

namespace {

using kohost::ListedFrame;
using kohost::Meta;
namespace tag = kohost::tag;
using Frames = std::vector<uint32_t>;
using Selection = kohal::ZSLSelection;

constexpr int64_t kMs = 1000000;
constexpr int64_t kNowNs = 100000 * kMs; // the pinned boot-time clock
const kohost::PropertyList kPending = {{"persist.vendor.kohal.selector.pending.mask", "1"}};

// A motion capture whose anchor puts zsdTs exactly at zsdTsNs, no clock.
std::shared_ptr<KoMetadata> anchoredRequest(int64_t zsdTsNs, int32_t motionCapType = 0x1)
{
    int64_t offset = (motionCapType & 0xF0000) ? 30 * kMs : 60 * kMs;
    return Meta().i64(tag::AnchorTimeStamp, zsdTsNs - offset).i32(tag::MotionCaptureType, motionCapType);
}

size_t count(const std::vector<std::string> &list, const std::string &item)
{
    return static_cast<size_t>(std::count(list.begin(), list.end(), item));
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
    const char *lastLine = nullptr;   // when the selection finishes early with an empty map
    size_t movedPast = 0;             // frames the presence check moved the begin past
};

class SelectZSLFrames : public testing::TestWithParam<SelectCase> {};

TEST_P(SelectZSLFrames, SelectsFromTheAnchorBack)
{
    const SelectCase &c = GetParam();
    kotest::LoggedPlugin plugin(c.pending ? kPending : kohost::PropertyList{});
    auto queue = kohost::metaQueue(0, c.consumer, c.producer);
    kohal::ZSLFrameSelectInfo info;
    info.fwkFrameNum = 7;
    info.usedFrameNums = c.used;
    info.zslQueues = {queue};
    info.requestMetas = {anchoredRequest(c.zsdTs)};
    info.requestMetas.resize(c.requestCount, Meta());

    Selection result = plugin.selector().selectZSLFrames(info);
    auto texts = plugin.texts();
    if (c.lastLine) {
        EXPECT_TRUE(result.empty());
        EXPECT_EQ(texts.back(), c.lastLine);
    } else {
        EXPECT_EQ(result, (Selection{{0, c.expected}}));
    }
    if (c.anchorLine) {
        EXPECT_EQ(count(texts, std::string("I [ZSLSelector] fwkFrame:7 ZSLAnchor ") + c.anchorLine), 1u);
    }
    EXPECT_EQ(std::count_if(texts.begin(), texts.end(),
                            [](const std::string &text) { return text.find(", cannot find zslFrame: ") != std::string::npos; }),
              static_cast<std::ptrdiff_t>(c.movedPast));
    if (c.pending) { // the producer list is never read
        EXPECT_EQ(count(queue->journal(), "getFrameNumList(1)"), 0u);
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
    {.name = "usedFramesBoundTheProducerFramesToo", .zsdTs = 250, .used = {13}, .producer = {{13, 400}, {14, 500}},
     .expected = {14}},
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
    {.name = "producerShutterEqualToZsdTsIsNotNewEnough", .zsdTs = 1000, .producer = {{13, 1000}, {14, 1100}},
     .expected = {14}, .anchorLine = "offset:1 csbegin:4 consumerQ[10 11 12 ]"},
    {.name = "firstProducerFrameAsAnchorTakesTheProducerList", .zsdTs = 1000, .producer = {{13, 1100}, {14, 1200}},
     .expected = {13, 14}, .anchorLine = "offset:0 csbegin:3 consumerQ[10 11 12 ]"},
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
     .anchorLine = "offset:-1 csbegin:1 consumerQ[10 11 12 ]", .movedPast = 1},
    {.name = "noRecordAtAllLeavesOffsetZero", .zsdTs = 1000, .consumer = {{10, std::nullopt}, {11, std::nullopt}},
     .expected = {}, .anchorLine = "offset:0 csbegin:2 consumerQ[10 11 ]"},
    {.name = "frameNumbersCompareUnsigned", .used = {2147483647u},
     .consumer = {{2147483646u, 100}, {2147483647u, 200}, {2147483648u, 300}, {4294967295u, 400}},
     .expected = {2147483648u, 4294967295u}},
    {.name = "lastUsedAtTheTopSelectsNothing", .used = {4294967295u}, .expected = {}},
    {.name = "pendingNoAnchorFinishesEmpty", .zsdTs = 1000, .pending = true, .producer = {{13, 2000}},
     .lastLine = "D [ZSLSelector] fwkFrame:7 consumer list ts too old, select finished"},
    {.name = "pendingAnchorAtTheEndTakesNoProducerFrame", .zsdTs = 250, .pending = true, .producer = {{13, 400}},
     .expected = {12}},
    // 2^53 + 1 is not a double: the anchor rounds to 2^53 before 60 ms is
    // added, so zsdTs lands 1 ns early and the frame at the exact sum anchors.
    {.name = "largeAnchorIsSummedInDoublePrecision", .zsdTs = 9007199254740993 + 60 * kMs,
     .consumer = {{10, 9007199254740992 + 60 * kMs}, {11, 9007199254740993 + 60 * kMs}, {12, INT64_MAX}},
     .expected = {11, 12}},
};

INSTANTIATE_TEST_SUITE_P(Rules, SelectZSLFrames, testing::ValuesIn(kSelectCases),
                         [](const testing::TestParamInfo<SelectCase> &info) { return info.param.name; });

// Several queues: one list for every queue id, the begin moved past frames
// a queue lacks, which queues are asked what, and no metadata queue at all.
struct QueuesCase {
    const char *name;
    std::function<kohal::ZSLQueueList()> queues;
    Selection expected;
    const char *line = nullptr;        // a line the selection must leave
    int probed = -1;                   // the queue whose journal is checked
    const char *neverCalled = nullptr; // a call it must not get
};

class SelectZSLFramesQueues : public testing::TestWithParam<QueuesCase> {};

TEST_P(SelectZSLFramesQueues, OneListPerQueueId)
{
    const QueuesCase &c = GetParam();
    kotest::LoggedPlugin plugin;
    kohal::ZSLFrameSelectInfo info;
    info.fwkFrameNum = 3;
    info.zslQueues = c.queues();
    info.requestMetas = {anchoredRequest(150)};
    EXPECT_EQ(plugin.selector().selectZSLFrames(info), c.expected);
    if (c.line) {
        EXPECT_EQ(count(plugin.texts(), c.line), 1u);
    }
    if (c.probed >= 0) {
        auto *probed = static_cast<kohost::HostFrameQueue *>(info.zslQueues[static_cast<size_t>(c.probed)].get());
        EXPECT_EQ(count(probed->journal(), c.neverCalled), 0u);
    }
}

const char *const kNoMetaQueue = "D [ZSLSelector] fwkFrame:3 no metaQueue, select finished";

INSTANTIATE_TEST_SUITE_P(
    Table, SelectZSLFramesQueues,
    testing::Values(
        QueuesCase{"frameMissingFromASecondQueueMovesTheBegin",
                   [] {
                       return kohal::ZSLQueueList{
                           kohost::holdingQueue(1, kohal::ZSL_QUEUE_TYPE_SENSOR_MODE, "sensor", {10, 12}),
                           kohost::metaQueue(0, {{10, 100}, {11, 200}, {12, 300}})};
                   },
                   {{0, {12}}, {1, {12}}},
                   "D [ZSLSelector] fwkFrame:3, cannot find zslFrame: 11 in [sensor], move begin to next"},
        // Only the frame at the begin is tested for presence.
        QueuesCase{"onlyTheBeginIsTested",
                   [] {
                       return kohal::ZSLQueueList{kohost::metaQueue(0, {{10, 100}, {11, 200}, {12, 300}}),
                                                  kohost::holdingQueue(5, 3, "other", {11})};
                   },
                   {{0, {11, 12}}, {5, {11, 12}}}, nullptr, 1, "getMetaFrame(12)"},
        // The second metadata queue holds 11 but lists other frames.
        QueuesCase{"onlyTheFirstMetadataQueueIsRead",
                   [] {
                       return kohal::ZSLQueueList{kohost::metaQueue(0, {{10, 100}, {11, 200}}),
                                                  kohost::metaQueue(1, {{11, 100}, {21, 200}})};
                   },
                   {{0, {11}}, {1, {11}}}, nullptr, 1, "getFrameNumList(0)"},
        QueuesCase{"sameIdSharesOneEntry",
                   [] {
                       return kohal::ZSLQueueList{kohost::metaQueue(4, {{10, 100}, {11, 200}}),
                                                  kohost::holdingQueue(4, 2, "sensor", {10, 11}),
                                                  kohost::holdingQueue(2147483648u, 2, "high", {10, 11})};
                   },
                   {{4, {11}}, {2147483648u, {11}}}, nullptr, 1, "getFrameNumList(0)"},
        QueuesCase{"noQueue", [] { return kohal::ZSLQueueList{}; }, {}, kNoMetaQueue},
        QueuesCase{"otherTypesOnly",
                   [] {
                       return kohal::ZSLQueueList{kohost::holdingQueue(1, 2, "sensor", {10}),
                                                  kohost::holdingQueue(2, 0, "raw", {10})};
                   },
                   {}, kNoMetaQueue},
        QueuesCase{"nullQueue", [] { return kohal::ZSLQueueList{nullptr}; }, {}, kNoMetaQueue}),
    [](const testing::TestParamInfo<QueuesCase> &info) { return info.param.name; });

// zsdTs from the pinned clock, a 1000 ms window.
struct ClockCase {
    const char *name;
    std::vector<int64_t> msBeforeNow; // consumer 41, 42, ...
    std::vector<std::shared_ptr<KoMetadata>> requests;
    Frames used;
    Selection expected;
};

class SelectZSLFramesClock : public testing::TestWithParam<ClockCase> {};

TEST_P(SelectZSLFramesClock, WindowBeforeNow)
{
    const ClockCase &c = GetParam();
    kohost::PinnedBootTime clock(kNowNs);
    kohost::PluginSession plugin({{"ro.vendor.camera3.zsl.default", "1000"}});
    std::vector<ListedFrame> consumer;
    for (size_t i = 0; i < c.msBeforeNow.size(); ++i)
        consumer.push_back({41 + static_cast<uint32_t>(i), kNowNs - c.msBeforeNow[i] * kMs});
    kohal::ZSLFrameSelectInfo info;
    info.usedFrameNums = c.used;
    info.zslQueues = {nullptr, kohost::metaQueue(0, consumer, {{47, kNowNs}}),
                      kohost::holdingQueue(1, kohal::ZSL_QUEUE_TYPE_SENSOR_MODE, "sensor", {41, 42, 43, 44, 45, 46}),
                      nullptr};
    info.requestMetas = c.requests;
    EXPECT_EQ(plugin.selector().selectZSLFrames(info), c.expected);
}

INSTANTIATE_TEST_SUITE_P(
    Table, SelectZSLFramesClock,
    testing::Values(
        // The end-to-end capture: 44 is the first frame inside the window.
        ClockCase{"overviewCapture", {5000, 4900, 4800, 300, 200, 100}, {Meta().u8(tag::EnableZsl, 1)}, {38, 40},
                  {{0, {44, 45, 46}}, {1, {44, 45, 46}}}},
        // A null first request reads as a request without tags: the clock rule.
        ClockCase{"nullRequest", {5000, 200, 100}, {nullptr}, {}, {{0, {42, 43}}, {1, {42, 43}}}},
        // requestCount 0 begins one frame after the anchor.
        ClockCase{"noRequestCountsNoFrame", {5000, 200, 0}, {}, {}, {{0, {43}}, {1, {43}}}}),
    [](const testing::TestParamInfo<ClockCase> &info) { return info.param.name; });

struct ZsdTsCase {
    const char *name;
    int32_t motionCapType;
    int64_t anchorTS;
    int64_t windowMs;
    std::optional<int64_t> zsdTs; // none: from the clock, now - window
};

class ZsdTs : public testing::TestWithParam<ZsdTsCase> {};

TEST_P(ZsdTs, FromTheAnchorOnlyForLowByteOne)
{
    const ZsdTsCase &c = GetParam();
    kohost::PinnedBootTime clock(kNowNs);
    kotest::LoggedPlugin plugin({{"ro.vendor.camera3.zsl.default", std::to_string(c.windowMs)}});
    kohal::ZSLFrameSelectInfo info;
    info.zslQueues = {kohost::metaQueue(0, {{10, 100}})};
    info.requestMetas = {Meta().i64(tag::AnchorTimeStamp, c.anchorTS).i32(tag::MotionCaptureType, c.motionCapType)};
    plugin.selector().selectZSLFrames(info);

    const int64_t zsdTs = c.zsdTs ? *c.zsdTs : kNowNs - c.windowMs * kMs;
    EXPECT_EQ(count(plugin.texts(), "I [ZSLSelector] fwkFrame:0 zsdTs:" + std::to_string(zsdTs) +
                                        " curTime:" + std::to_string(kNowNs)),
              1u);
}

INSTANTIATE_TEST_SUITE_P(
    MotionCapture, ZsdTs,
    testing::Values(ZsdTsCase{"nearBit16", 0x10001, 1000000, 100, 1000000 + 30 * kMs},
                    ZsdTsCase{"nearBit19", 0x80001, 1000000, 100, 1000000 + 30 * kMs},
                    ZsdTsCase{"far", 0x1, 1000000, 100, 1000000 + 60 * kMs},
                    ZsdTsCase{"farHighByte", 0x101, 5, 100, 5 + 60 * kMs},
                    ZsdTsCase{"bit20NotNear", 0x100001, 0, 100, 60 * kMs},
                    // A sum beyond the range saturates, also one that rounds to 2^63 exactly:
                    // 2^63 - 59999232 is a double, and 60 ms more rounds to 2^63.
                    ZsdTsCase{"saturates", 0x1, INT64_MAX, 100, INT64_MAX},
                    ZsdTsCase{"saturatesAtTwoToThe63", 0x1, 9223372036794776576, 100, INT64_MAX},
                    ZsdTsCase{"lowByteTwo", 0x2, 1000000, 100, std::nullopt},
                    ZsdTsCase{"lowByteZero", 0x100, 1000000, 250, std::nullopt},
                    ZsdTsCase{"negativeWindow", 0x0, 0, -40, std::nullopt}),
    [](const testing::TestParamInfo<ZsdTsCase> &info) { return info.param.name; });

} // namespace
