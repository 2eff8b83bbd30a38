// The interface's own sensor-mode check: the role search in the sensor-policy
// result, the mode comparison, its lines, and the mask filled once.

#include <HostFrameQueue.h>
#include <Logged.h>
#include <MetadataBuilder.h>
#include <StaticMetadataWraper.h>
#include <MinimalSelector.h>
#include <ZSLSelectorBase.h>

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <optional>
#include <thread>

namespace {

using kohost::Meta;
namespace tag = kohost::tag;
using Lines = std::vector<std::string>;
using Verdict = std::pair<bool, bool>;


// The request's sensor-policy result: roleKey in word 2, modeSelectMask in
// word 4, the four role records starting at words 7, 14, 21 and 28.
std::vector<int32_t> frameResult(int32_t roleKey, uint32_t modeSelectMask, std::array<int32_t, 4> roles,
                                 size_t words = 35)
{
    std::vector<int32_t> result(words, -99);
    result[2] = roleKey;
    result[4] = static_cast<int32_t>(modeSelectMask);
    for (size_t role = 0; role < 4; ++role)
        if (7 * (role + 1) < words)
            result[7 * (role + 1)] = roles[role];
    return result;
}

void setStaticMask(uint32_t logicalId, std::optional<int32_t> mask)
{
    auto meta = std::make_shared<KoMetadata>();
    if (mask)
        meta->update<int32_t>(tag::SensorPolicyMask, {*mask});
    StaticMetadataWraper::getInstance()->setStaticMetadata(logicalId, meta);
}

struct BaseCheck {
    std::shared_ptr<kohost::HostFrameQueue> sensor =
        std::make_shared<kohost::HostFrameQueue>(1, kohal::ZSL_QUEUE_TYPE_SENSOR_MODE, "sensor");
    kohal::ZSLFrameCheckInfo info;

    BaseCheck(uint32_t logicalId, std::optional<int32_t> frameMode, std::shared_ptr<KoMetadata> request)
    {
        if (frameMode)
            sensor->putSensorModeFrame(6, *frameMode);
        info.checkFrameNum = 6;
        info.fwkFrameNum = 30;
        info.logicalId = logicalId;
        info.requestMeta = std::move(request);
        info.zslQueues = {sensor};
    }
};

struct ModeCase {
    const char *name;
    std::optional<int32_t> frameMode;           // none: no record
    std::optional<std::vector<int32_t>> result; // none: no sensor-policy result
    Verdict expected;
    const char *roleLine = nullptr; // the getDesiredSensorMode line's tail, when checked
    Lines lines = {};               // every line, when checked
    bool nullRequest = false;
    bool noSensorQueue = false;
};

class BaseModeCompare : public testing::TestWithParam<ModeCase> {};

TEST_P(BaseModeCompare, RoleFieldOfTheMaskAgainstTheFrameMode)
{
    const ModeCase &c = GetParam();
    setStaticMask(11, 0x10);
    kotest::MinimalSelector selector;
    Meta request;
    if (c.result)
        request.set<int32_t>(tag::McxFrameResult, *c.result);
    BaseCheck check(11, c.frameMode, c.nullRequest ? nullptr : request.build());
    if (c.noSensorQueue)
        check.info.zslQueues.clear();
    auto gates = kohost::LogGates::systemOnly();
    kohost::LogRecorder log;

    EXPECT_EQ(selector.checkDesiredSensorMode(check.info), c.expected);
    auto texts = kotest::texts(log.system());
    if (c.roleLine) {
        std::string line = std::string("D [ZSLSelector] getDesiredSensorMode ") + c.roleLine;
        EXPECT_NE(std::find(texts.begin(), texts.end(), line), texts.end()) << line;
    }
    if (!c.lines.empty()) {
        EXPECT_EQ(texts, c.lines);
    }
    // The request's mode is read by a local helper of the check.
    for (const auto &record : log.system()) {
        bool helper = record.text.find("mcxFrameresult") != std::string::npos ||
                      record.text.find("getDesiredSensorMode") != std::string::npos;
        EXPECT_EQ(record.function, helper ? "operator()" : "checkDesiredSensorMode") << record.text;
        EXPECT_EQ(record.fileName, "ZSLSelectorBase.h");
    }
}

// The request's role record starts with roleKey 7; frame 6 of camera 11.
INSTANTIATE_TEST_SUITE_P(
    Modes, BaseModeCompare,
    testing::Values(
        ModeCase{"role1", 1, frameResult(7, 0x4321, {7, 9, 9, 9}), {true, true},
                 "cameraRoleType:1 modeSelectMask:0x4321 modeOffset:0 sensorModetype1"},
        ModeCase{"role2Equal", 2, frameResult(7, 0x4321, {9, 7, 9, 9}), {true, true},
                 "cameraRoleType:2 modeSelectMask:0x4321 modeOffset:4 sensorModetype2"},
        ModeCase{"role3EveryLine", 3, frameResult(7, 0x4321, {9, 9, 7, 9}), {true, true}, nullptr,
                 {"D [ZSLSelector] logicalId:11, mSensorPolicyMask:16",
                  "D [ZSLSelector] fwkFrame:30 zslFrame: 6 zslFrame koholder::sensorModetype:3",
                  "D [ZSLSelector] getDesiredSensorMode cameraRoleType:3 modeSelectMask:0x4321 modeOffset:8 "
                  "sensorModetype3",
                  "D [ZSLSelector] fwkFrame:30 zslFrame: 6 reqestFrame koholder::sensorModetype:3",
                  "D [ZSLSelector] checkDesiredSensorMode success!  fwkFrame:30 zslFrame: 6"}},
        ModeCase{"role4HighField", 10, frameResult(7, 0xA000, {9, 9, 9, 7}), {true, true},
                 "cameraRoleType:4 modeSelectMask:0xa000 modeOffset:12 sensorModetype10"},
        ModeCase{"firstRoleWins", 2, frameResult(7, 0x4321, {9, 7, 7, 9}), {true, true},
                 "cameraRoleType:2 modeSelectMask:0x4321 modeOffset:4 sensorModetype2"},
        ModeCase{"noRoleReadsTheSecondField", 0, frameResult(7, 0xA000, {9, 9, 9, 9}), {true, true},
                 "cameraRoleType:5 modeSelectMask:0xa000 modeOffset:4 sensorModetype0"},
        ModeCase{"different", 3, frameResult(7, 0x4321, {9, 7, 9, 9}), {false, true}},
        ModeCase{"bothUnknown", 15, frameResult(7, 0xF0, {9, 7, 9, 9}), {false, true}},
        ModeCase{"frameNotMasked", 18, frameResult(7, 0x4321, {9, 7, 9, 9}), {false, true}},
        ModeCase{"resultShorterThan29Words", 2, frameResult(7, 0x4321, {9, 7, 9, 9}, 28), {false, true}},
        ModeCase{"result29WordsIsEnough", 4, frameResult(7, 0x4321, {9, 9, 9, 7}, 29), {true, true}},
        ModeCase{"recordAndResultMissing", std::nullopt, std::nullopt, {false, true}, nullptr,
                 {"D [ZSLSelector] logicalId:11, mSensorPolicyMask:16",
                  "D [ZSLSelector] fwkFrame:30 zslFrame: 6 get metaFrame failed",
                  "D [ZSLSelector] not find mcxFrameresult",
                  "D [ZSLSelector] fwkFrame:30 zslFrame: 6 reqestFrame koholder::sensorModetype:15",
                  "D [ZSLSelector] checkDesiredSensorMode fail!  fwkFrame:30 zslFrame: 6"}},
        ModeCase{"recordMissing", std::nullopt, frameResult(7, 0x4321, {9, 7, 9, 9}), {false, true}},
        // A null request once past the queue search reads as an unknown mode.
        ModeCase{"nullRequest", 2, std::nullopt, {false, true}, nullptr, {}, true},
        ModeCase{"noSensorQueuePasses", 3, frameResult(7, 0x4321, {9, 7, 9, 9}), {true, true}, nullptr,
                 {"D [ZSLSelector] logicalId:11, mSensorPolicyMask:16"}, false, true}),
    [](const testing::TestParamInfo<ModeCase> &info) { return info.param.name; });

TEST(BaseSensorMode, ZeroMaskIsLookedUpAgainOnEveryCall)
{
    setStaticMask(15, std::nullopt);
    kotest::MinimalSelector selector;
    BaseCheck check(15, 2, Meta().set<int32_t>(tag::McxFrameResult, frameResult(7, 0x4321, {9, 7, 9, 9})));
    auto gates = kohost::LogGates::systemOnly();
    kohost::LogRecorder log;
    const std::string notSupported = "D [ZSLSelector] not support sensor policy, skip sensor mode checking.";

    EXPECT_EQ(selector.checkDesiredSensorMode(check.info), Verdict(true, true));
    EXPECT_EQ(selector.checkDesiredSensorMode(check.info), Verdict(true, true));
    setStaticMask(15, 0);
    EXPECT_EQ(selector.checkDesiredSensorMode(check.info), Verdict(true, true));
    EXPECT_EQ(kotest::texts(log.system()), (Lines{notSupported, notSupported, "D [ZSLSelector] logicalId:15, mSensorPolicyMask:0",
                                        notSupported}));

    // Once found, the mask is kept for the selector, whatever camera comes.
    setStaticMask(15, 0x10);
    check.sensor->putSensorModeFrame(6, 3);
    EXPECT_EQ(selector.checkDesiredSensorMode(check.info), Verdict(false, true));
    setStaticMask(15, std::nullopt);
    check.info.logicalId = 16;
    EXPECT_EQ(selector.checkDesiredSensorMode(check.info), Verdict(false, true));
    auto texts = kotest::texts(log.system());
    EXPECT_EQ(std::count(texts.begin(), texts.end(), "D [ZSLSelector] logicalId:15, mSensorPolicyMask:16"), 1);
    EXPECT_EQ(std::count(texts.begin(), texts.end(), notSupported), 3);
}

// First calls from many threads race to fill the mask; run under the
// thread sanitizer build. Nothing else may synchronise the threads: the
// queue keeps no journal and the log gates are closed.
TEST(BaseSensorMode, ConcurrentFirstCallsFillTheMaskOnce)
{
    setStaticMask(17, 0x20);
    kotest::MinimalSelector selector;
    auto request = Meta().set<int32_t>(tag::McxFrameResult, frameResult(7, 0x4321, {7, 9, 9, 9})).build();
    BaseCheck check(17, 1, request);
    check.sensor->setJournaling(false);
    kohost::LogGates closed(7, 0, 0);

    std::atomic<int> wrong{0};
    std::atomic<bool> go{false};
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; ++t)
        threads.emplace_back([&] {
            while (!go)
                std::this_thread::yield();
            for (int i = 0; i < 200; ++i)
                if (selector.checkDesiredSensorMode(check.info) != Verdict(true, true))
                    ++wrong;
        });
    go = true;
    for (auto &thread : threads)
        thread.join();
    EXPECT_EQ(wrong, 0);
}

} // namespace
