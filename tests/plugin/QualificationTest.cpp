// The metadata rules a frame must pass: EV, focus, exposure and the bypasses,
// each with the lines it leaves.

#include <Logged.h>
#include <PluginSession.h>
#include <MetadataBuilder.h>
#include <QueueBuilder.h>

#include <gtest/gtest.h>

namespace {

using kohost::Meta;
namespace tag = kohost::tag;
using Lines = std::vector<std::string>;

// One frame (5) whose own metadata is history, checked against target; the
// request asks for neither super resolution nor MFNR.
kotest::CheckOutcome checkOne(kohost::PluginSession &plugin, std::shared_ptr<KoMetadata> history,
                              std::shared_ptr<KoMetadata> target)
{
    kohal::ZSLFrameCheckInfo info;
    info.checkFrameNum = 5;
    info.fwkFrameNum = 1;
    info.requestMeta = std::move(target);
    info.zslQueues = {kohost::metaQueue(0, {{5, 100, std::move(history)}})};
    return kotest::runLogged([&] { return plugin.selector().checkFrame(info); });
}

const std::string kPassTail = "D [ZSLSelector] get korvan.superResolution.enabled failed, srEnable = 0";
const std::string kFailTail = "D [ZSLSelector] fwkFrame:1, No zslFrame: 5invalid";
const Lines kEvZeroOk = {"D get EV setting=0", "D  get EV setting=0", "D isRequiredEV OK: EV=0"};

Lines concat(Lines head, const Lines &tail)
{
    head.insert(head.end(), tail.begin(), tail.end());
    return head;
}

struct QualifyCase {
    const char *name;
    Meta history;
    Meta target;
    bool qualifies;
    Lines lines; // the rule lines, before checkFrame's own line
};

class Qualification : public testing::TestWithParam<QualifyCase> {};

TEST_P(Qualification, JudgesHistoryAgainstTarget)
{
    const QualifyCase &c = GetParam();
    kohost::PluginSession plugin;
    kotest::CheckOutcome outcome = checkOne(plugin, c.history, c.target);
    EXPECT_EQ(outcome.result, std::make_pair(c.qualifies, true));
    EXPECT_EQ(outcome.lines, concat(c.lines, {c.qualifies ? kPassTail : kFailTail}));
}

Meta afFrame(uint8_t afMode, uint8_t afState, uint8_t lensState)
{
    return Meta().i32(tag::AeExposureCompensation, 0).u8(tag::AfMode, afMode).u8(tag::AfState, afState)
        .u8(tag::LensState, lensState).u8(tag::AeState, 2);
}

QualifyCase afCase(const char *name, uint8_t afMode, uint8_t afState, uint8_t lensState, bool stable)
{
    std::string info = "afMode=" + std::to_string(afMode) + " afState=" + std::to_string(afState) +
                       " lensState=" + std::to_string(lensState);
    Lines lines = concat(kEvZeroOk, {stable ? "D AF ok: " + info : "D AF fail: " + info});
    lines = concat(lines, stable ? Lines{"D [isAEStable] tag(0x1001f) val=2 target=2,3,4 bc=0", "D hf OK"}
                                 : Lines{"D AF X"}); // an AF failure reads no AE state
    return {name, afFrame(afMode, afState, lensState), Meta().i32(tag::AeExposureCompensation, 0), stable, lines};
}

QualifyCase aeCase(const char *name, uint8_t aeState, bool settled)
{
    Lines lines = concat(kEvZeroOk, {"D AF ok: afMode=4 afState=2 lensState=0",
                                     "D [isAEStable] tag(0x1001f) val=" + std::to_string(aeState) +
                                         " target=2,3,4 bc=0"});
    lines.push_back(settled ? "D hf OK" : "D AE X");
    return {name, Meta().settled().u8(tag::AeState, aeState), Meta().i32(tag::AeExposureCompensation, 0), settled,
            lines};
}

std::vector<QualifyCase> qualifyCases()
{
    std::vector<QualifyCase> cases = {
        // The four focusing modes share one rule.
        afCase("continuousPictureFocused", 4, 2, 0, true),
        afCase("continuousPictureLockedLensMoving", 4, 4, 1, false),
        afCase("continuousPictureLockedStationary", 4, 4, 0, true),
        afCase("autoInactiveStationary", 1, 0, 0, true),
        afCase("autoInactiveLensMoving", 1, 0, 1, false),
        afCase("autoActiveScan", 1, 3, 0, false),
        afCase("continuousVideoPassiveScan", 3, 1, 0, false),
        afCase("macroNotFocusedLocked", 2, 5, 0, true),
        afCase("continuousPicturePassiveUnfocused", 4, 6, 0, true),
        afCase("focusedWithUnknownLensState", 4, 2, 7, true),
        afCase("focusedLensMoving", 4, 2, 1, false),
        // Nothing to wait for without a focusing mode.
        afCase("offWhileScanning", 0, 1, 1, true),
        afCase("edofWhileScanning", 5, 1, 1, true),
        afCase("unknownMode", 9, 3, 1, true),

        aeCase("aeConverged", 2, true),
        aeCase("aeLocked", 3, true),
        aeCase("aeFlashRequired", 4, true),
        aeCase("aeInactive", 0, false),
        aeCase("aeSearching", 1, false),
        aeCase("aePrecapture", 5, false),
        {"aeStateMissing", Meta().settled().set<uint8_t>(tag::AeState, {}), Meta().i32(tag::AeExposureCompensation, 0),
         false,
         concat(kEvZeroOk, {"D AF ok: afMode=4 afState=2 lensState=0", "D [isAEStable] tag(0x1001f) not found!",
                            "D AE X"})},

        {"afModeMissing", Meta().i32(tag::AeExposureCompensation, 0).u8(tag::AfState, 2).u8(tag::LensState, 0),
         Meta().i32(tag::AeExposureCompensation, 0), false,
         concat(kEvZeroOk, {"D android.control.afMode tag not found! ", "D AF X"})},
        {"afStateMissing", Meta().i32(tag::AeExposureCompensation, 0).u8(tag::AfMode, 4).u8(tag::LensState, 0),
         Meta().i32(tag::AeExposureCompensation, 0), false,
         concat(kEvZeroOk, {"D android.control.afState tag not found!", "D AF X"})},
        {"lensStateMissingEvenWhenOff",
         Meta().i32(tag::AeExposureCompensation, 0).u8(tag::AfMode, 0).u8(tag::AfState, 0).u8(tag::AeState, 2),
         Meta().i32(tag::AeExposureCompensation, 0), false,
         concat(kEvZeroOk, {"D android.lens.state not found!", "D AF X"})},

        {"evAbsentOnBothSides", Meta().settled().set<int32_t>(tag::AeExposureCompensation, {}), Meta(), true,
         {"D cannot get EV setting, set default EV=0", "D cannot get EV setting, set default EV=0",
          "D isRequiredEV OK: EV=0", "D AF ok: afMode=4 afState=2 lensState=0",
          "D [isAEStable] tag(0x1001f) val=2 target=2,3,4 bc=0", "D hf OK"}},
        {"evAbsentInHistoryMinusOneInTarget", Meta().settled().set<int32_t>(tag::AeExposureCompensation, {}),
         Meta().i32(tag::AeExposureCompensation, -1), false,
         {"D cannot get EV setting, set default EV=0", "D  get EV setting=-1",
          "D isRequiredEV fail: EV(History)=0, EV(Target)=-1", "D hf does not include tareget EV"}},
        {"evMismatch", Meta().settled().i32(tag::AeExposureCompensation, 2), Meta().i32(tag::AeExposureCompensation, -2),
         false,
         {"D get EV setting=2", "D  get EV setting=-2", "D isRequiredEV fail: EV(History)=2, EV(Target)=-2",
          "D hf does not include tareget EV"}},
        {"onlyTheFirstEvCounts", Meta().settled().set<int32_t>(tag::AeExposureCompensation, {3, 0}),
         Meta().set<int32_t>(tag::AeExposureCompensation, {3, 9}), true,
         {"D get EV setting=3", "D  get EV setting=3", "D isRequiredEV OK: EV=3",
          "D AF ok: afMode=4 afState=2 lensState=0", "D [isAEStable] tag(0x1001f) val=2 target=2,3,4 bc=0",
          "D hf OK"}},

        {"quickSnapshotSkipsAfAndAe", Meta().i32(tag::AeExposureCompensation, 1),
         Meta().i32(tag::AeExposureCompensation, 1).u8(tag::QuickSnapshot, 2), true,
         {"D get EV setting=1", "D  get EV setting=1", "D isRequiredEV OK: EV=1",
          "D QuickSnapshot bypass check AF/AE ", "D hf OK"}},
        {"quickSnapshotStillNeedsTheEv", Meta().settled(),
         Meta().i32(tag::AeExposureCompensation, 1).u8(tag::QuickSnapshot, 1), false,
         {"D get EV setting=0", "D  get EV setting=1", "D isRequiredEV fail: EV(History)=0, EV(Target)=1",
          "D hf does not include tareget EV"}},
        {"quickSnapshotZeroIsOff", Meta().i32(tag::AeExposureCompensation, 0),
         Meta().i32(tag::AeExposureCompensation, 0).u8(tag::QuickSnapshot, 0), false,
         concat(kEvZeroOk, {"D android.control.afMode tag not found! ", "D AF X"})},

        {"motionCaptureBypassesBoth", Meta().i32(tag::AeExposureCompensation, 0).i32(tag::MotionCaptureType, 0x101),
         Meta().i32(tag::AeExposureCompensation, 0), true,
         concat(kEvZeroOk, {"D bypass AF/AE stable check for motion cap: 0x101",
                            "D bypass AF/AE stable check for motion cap: 0x101", "D hf OK"})},
        {"motionCaptureTypeHighByteOnly", Meta().i32(tag::AeExposureCompensation, 0).i32(tag::MotionCaptureType, 0x100),
         Meta().i32(tag::AeExposureCompensation, 0), false,
         concat(kEvZeroOk, {"D android.control.afMode tag not found! ", "D AF X"})},
        {"motionCaptureTypeTwo", Meta().settled().i32(tag::MotionCaptureType, 0x2), Meta().i32(tag::AeExposureCompensation, 0),
         true,
         concat(kEvZeroOk, {"D AF ok: afMode=4 afState=2 lensState=0",
                            "D [isAEStable] tag(0x1001f) val=2 target=2,3,4 bc=0", "D hf OK"})},
    };
    return cases;
}

INSTANTIATE_TEST_SUITE_P(Rules, Qualification, testing::ValuesIn(qualifyCases()),
                         [](const testing::TestParamInfo<QualifyCase> &info) { return info.param.name; });

TEST(QualificationLog, EvReadersLogAsOperatorCallAndRulesUnderTheirNames)
{
    kohost::PluginSession plugin;
    auto gates = kohost::LogGates::allOpen();
    kohost::LogRecorder log;
    kohal::ZSLFrameCheckInfo info;
    info.checkFrameNum = 5;
    info.requestMeta = Meta().i32(tag::AeExposureCompensation, 0);
    info.zslQueues = {kohost::metaQueue(0, {{5, 100, Meta().settled()}})};
    plugin.selector().checkFrame(info);

    std::vector<std::string> functions;
    for (const auto &record : log.system())
        functions.push_back(record.function);
    EXPECT_EQ(functions, (std::vector<std::string>{"operator()", "operator()", "isRequiredEV", "isAFStable",
                                                   "isMatched", "isQualify", "checkFrame"}));
    auto android = log.android();
    ASSERT_EQ(android.size(), functions.size());
    for (size_t i = 0; i < android.size(); ++i) {
        EXPECT_EQ(android[i].function, functions[i]);
        EXPECT_EQ(android[i].fileName, "ZSLSelectorDefault.cpp");
    }
}

TEST(QualificationLog, NullMetadataOnEitherSideRefusesTheFrame)
{
    kohost::PluginSession plugin;
    using Pair = std::pair<std::shared_ptr<KoMetadata>, std::shared_ptr<KoMetadata>>;
    for (auto [history, target] : {Pair{Meta().settled(), nullptr}, Pair{nullptr, Meta()}}) {
        kotest::CheckOutcome outcome = checkOne(plugin, history, target);
        EXPECT_EQ(outcome.result, std::make_pair(false, true));
        EXPECT_EQ(outcome.lines, (Lines{"D Metadata is nullptr", kFailTail}));
    }
}

} // namespace
