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

struct RoleCase {
    std::array<int32_t, 4> roles;
    int cameraRoleType;
    int modeOffset;
    int sensorModetype;
};

class BaseRoleSearch : public testing::TestWithParam<RoleCase> {};

TEST_P(BaseRoleSearch, FindsTheRolesFieldOfTheModeMask)
{
    const RoleCase &c = GetParam();
    setStaticMask(10, 0x10);
    kotest::MinimalSelector selector;
    BaseCheck check(10, c.sensorModetype, Meta().set<int32_t>(tag::McxFrameResult, frameResult(7, 0x4321, c.roles)));
    auto gates = kohost::LogGates::systemOnly();
    kohost::LogRecorder log;

    EXPECT_EQ(selector.checkDesiredSensorMode(check.info), Verdict(true, true));
    auto texts = kotest::texts(log.system());
    std::string line = "D [ZSLSelector] getDesiredSensorMode cameraRoleType:" + std::to_string(c.cameraRoleType) +
                       " modeSelectMask:0x4321 modeOffset:" + std::to_string(c.modeOffset) +
                       " sensorModetype" + std::to_string(c.sensorModetype);
    EXPECT_NE(std::find(texts.begin(), texts.end(), line), texts.end()) << line;
}

INSTANTIATE_TEST_SUITE_P(Roles, BaseRoleSearch,
                         testing::Values(RoleCase{{7, 9, 9, 9}, 1, 0, 1}, RoleCase{{9, 7, 9, 9}, 2, 4, 2},
                                         RoleCase{{9, 9, 7, 9}, 3, 8, 3}, RoleCase{{9, 9, 9, 7}, 4, 12, 4},
                                         RoleCase{{9, 7, 7, 9}, 2, 4, 2}, RoleCase{{9, 9, 9, 9}, 5, 4, 2}));

struct ModeCase {
    const char *name;
    std::optional<int32_t> frameMode; // none: no record
    std::optional<std::vector<int32_t>> result; // none: no sensor-policy result
    Verdict expected;
};

class BaseModeCompare : public testing::TestWithParam<ModeCase> {};

TEST_P(BaseModeCompare, UnknownNeverMatches)
{
    const ModeCase &c = GetParam();
    setStaticMask(11, 0x10);
    kotest::MinimalSelector selector;
    Meta request;
    if (c.result)
        request.set<int32_t>(tag::McxFrameResult, *c.result);
    BaseCheck check(11, c.frameMode, request);
    EXPECT_EQ(selector.checkDesiredSensorMode(check.info), c.expected);
}

// Role 2 matches in each result below: mode type 2 from 0x4321.
INSTANTIATE_TEST_SUITE_P(
    Modes, BaseModeCompare,
    testing::Values(ModeCase{"equal", 2, frameResult(7, 0x4321, {9, 7, 9, 9}), {true, true}},
                    ModeCase{"different", 3, frameResult(7, 0x4321, {9, 7, 9, 9}), {false, true}},
                    ModeCase{"recordMissing", std::nullopt, frameResult(7, 0x4321, {9, 7, 9, 9}), {false, true}},
                    ModeCase{"resultMissing", 2, std::nullopt, {false, true}},
                    ModeCase{"bothUnknown", 15, frameResult(7, 0xF0, {9, 7, 9, 9}), {false, true}},
                    ModeCase{"frameNotMasked", 18, frameResult(7, 0x4321, {9, 7, 9, 9}), {false, true}},
                    ModeCase{"role4HighField", 10, frameResult(7, 0xA000, {9, 9, 9, 7}), {true, true}},
                    ModeCase{"noRoleLowFieldZero", 0, frameResult(7, 0xA000, {9, 9, 9, 9}), {true, true}},
                    ModeCase{"resultShorterThan29Words", 2, frameResult(7, 0x4321, {9, 7, 9, 9}, 28), {false, true}},
                    ModeCase{"result29WordsIsEnough", 4, frameResult(7, 0x4321, {9, 9, 9, 7}, 29), {true, true}}),
    [](const testing::TestParamInfo<ModeCase> &info) { return info.param.name; });

TEST(BaseSensorMode, FullLinesOfAPassingCheck)
{
    setStaticMask(12, 0x30);
    kotest::MinimalSelector selector;
    BaseCheck check(12, 3, Meta().set<int32_t>(tag::McxFrameResult, frameResult(7, 0x4321, {9, 9, 7, 9})));
    auto gates = kohost::LogGates::systemOnly();
    kohost::LogRecorder log;
    EXPECT_EQ(selector.checkDesiredSensorMode(check.info), Verdict(true, true));
    EXPECT_EQ(kotest::texts(log.system()),
              (Lines{"D [ZSLSelector] logicalId:12, mSensorPolicyMask:48",
                     "D [ZSLSelector] fwkFrame:30 zslFrame: 6 zslFrame koholder::sensorModetype:3",
                     "D [ZSLSelector] getDesiredSensorMode cameraRoleType:3 modeSelectMask:0x4321 modeOffset:8 "
                     "sensorModetype3",
                     "D [ZSLSelector] fwkFrame:30 zslFrame: 6 reqestFrame koholder::sensorModetype:3",
                     "D [ZSLSelector] checkDesiredSensorMode success!  fwkFrame:30 zslFrame: 6"}));
    auto records = log.system();
    EXPECT_EQ(records[0].fileName, "ZSLSelectorBase.h");
    EXPECT_EQ(records[0].function, "checkDesiredSensorMode");
    EXPECT_EQ(records[2].function, "operator()");
}

TEST(BaseSensorMode, MissingRecordAndResultLines)
{
    setStaticMask(13, 1);
    kotest::MinimalSelector selector;
    BaseCheck check(13, std::nullopt, Meta());
    auto gates = kohost::LogGates::systemOnly();
    kohost::LogRecorder log;
    EXPECT_EQ(selector.checkDesiredSensorMode(check.info), Verdict(false, true));
    EXPECT_EQ(kotest::texts(log.system()),
              (Lines{"D [ZSLSelector] logicalId:13, mSensorPolicyMask:1",
                     "D [ZSLSelector] fwkFrame:30 zslFrame: 6 get metaFrame failed",
                     "D [ZSLSelector] not find mcxFrameresult",
                     "D [ZSLSelector] fwkFrame:30 zslFrame: 6 reqestFrame koholder::sensorModetype:15",
                     "D [ZSLSelector] checkDesiredSensorMode fail!  fwkFrame:30 zslFrame: 6"}));
}

TEST(BaseSensorMode, WithoutSensorQueueOrPolicyTheFramePasses)
{
    setStaticMask(14, 0x10);
    kotest::MinimalSelector selector;
    kohal::ZSLFrameCheckInfo noQueue;
    noQueue.logicalId = 14;
    EXPECT_EQ(selector.checkDesiredSensorMode(noQueue), Verdict(true, true));

    // A null request once past the queue search reads as an unknown mode.
    BaseCheck nullRequest(14, 2, nullptr);
    EXPECT_EQ(selector.checkDesiredSensorMode(nullRequest.info), Verdict(false, true));
}

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
