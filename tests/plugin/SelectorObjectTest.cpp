// The selector object as the host meets it: loading, the factory, the
// configuration read from properties, isSelectorNeeded, and the two log gates.

#include <Logged.h>
#include <MetadataBuilder.h>
#include <MinimalSelector.h>

#include <android-base/properties.h>

#include <gtest/gtest.h>

#include <dlfcn.h>

namespace {

using kohost::Meta;
namespace tag = kohost::tag;
using Lines = std::vector<std::string>;

TEST(PluginLoad, HostFindsTheFactoryByNameAndNothingElse)
{
    void *handle = dlopen(kohost::defaultPluginPath().c_str(), RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(handle, nullptr) << dlerror();
    auto create = reinterpret_cast<kohal::CreateZSLSelectorFn>(dlsym(handle, "createZSLSelector"));
    ASSERT_NE(create, nullptr);
    {
        kohal::ZSLSelectorList selectors(2);
        auto first = selectors[0] = std::make_shared<kotest::MinimalSelector>();
        create(selectors);
        create(selectors);
        ASSERT_EQ(selectors.size(), 4u);
        EXPECT_EQ(selectors[0], first); // appended, earlier entries untouched
        EXPECT_EQ(selectors[1], nullptr);
        ASSERT_NE(selectors[2], nullptr);
        EXPECT_NE(selectors[2], selectors[3]);
        EXPECT_EQ(selectors[2].use_count(), 1); // the plug-in keeps no reference
    }
    dlclose(handle);
}

// The host sees the object through the base declaration: the members it
// declares, as a constructed selector leaves them.
struct MemberPeek : kohal::ZSLSelectorBase {
    static constexpr auto kName = &MemberPeek::mName;
    static constexpr auto kReservedId = &MemberPeek::mReservedId;
    static constexpr auto kPending = &MemberPeek::mSupportPending;
    static constexpr auto kFlag1 = &MemberPeek::mReservedFlag1;
    static constexpr auto kFlag2 = &MemberPeek::mReservedFlag2;
    static constexpr auto kFlag3 = &MemberPeek::mReservedFlag3;
    static constexpr auto kMask = &MemberPeek::mSensorPolicyMask;
};

TEST(SelectorObject, ConstructorLeavesTheBaseMembersAsTheHostExpects)
{
    kohost::PluginSession plugin({{"persist.vendor.kohal.selector.pending.mask", "1"}});
    const kohal::ZSLSelectorBase &selector = plugin.selector();
    EXPECT_EQ(selector.*MemberPeek::kName, "ZSLSelectorDefault");
    EXPECT_EQ(selector.*MemberPeek::kReservedId, -1);
    EXPECT_TRUE(selector.*MemberPeek::kPending);
    EXPECT_TRUE(selector.*MemberPeek::kFlag1);
    EXPECT_FALSE(selector.*MemberPeek::kFlag2);
    EXPECT_FALSE(selector.*MemberPeek::kFlag3);
    EXPECT_EQ((selector.*MemberPeek::kMask).load(), 0);
}

struct ConfigCase {
    const char *name;
    kohost::PropertyList properties;
    const char *infoLine;
};

class Configuration : public testing::TestWithParam<ConfigCase> {};

TEST_P(Configuration, PropertiesGiveTheTimeWindowAndPendingSwitch)
{
    auto gates = kohost::LogGates::systemOnly();
    kohost::LogRecorder log;
    kohost::PluginSession plugin(GetParam().properties);
    auto records = log.system();
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0].level, "I");
    EXPECT_EQ(records[0].function, "ZSLSelectorDefault");
    EXPECT_EQ(records[0].fileName, "ZSLSelectorDefault.cpp");
    EXPECT_EQ(records[0].text, GetParam().infoLine);
}

INSTANTIATE_TEST_SUITE_P(
    Properties, Configuration,
    testing::Values(
        ConfigCase{"none", {}, "mSupportPending 0 mZSLTimeDiffMs(0) = default(0)+project(0)+user(0)"},
        ConfigCase{"sum",
                   {{"ro.vendor.camera3.zsl.default", "300"}, {"ro.vendor.camera3.zsl.project", "-50"},
                    {"vendor.debug.camera3.zsl.timestamp", "0"}},
                   "mSupportPending 0 mZSLTimeDiffMs(250) = default(300)+project(-50)+user(0)"},
        ConfigCase{"userOnlyHex", {{"vendor.debug.camera3.zsl.timestamp", "0x10"}},
                   "mSupportPending 0 mZSLTimeDiffMs(16) = default(0)+project(0)+user(16)"},
        ConfigCase{"unparsableIsZero", {{"ro.vendor.camera3.zsl.default", "fast"}, {"ro.vendor.camera3.zsl.project", "-8"}},
                   "mSupportPending 0 mZSLTimeDiffMs(-8) = default(0)+project(-8)+user(0)"},
        ConfigCase{"sumWrapsAt64Bits",
                   {{"ro.vendor.camera3.zsl.default", "9223372036854775807"}, {"ro.vendor.camera3.zsl.project", "1"}},
                   "mSupportPending 0 mZSLTimeDiffMs(-9223372036854775808) = default(9223372036854775807)+project(1)+user(0)"},
        ConfigCase{"pendingTrue", {{"persist.vendor.kohal.selector.pending.mask", "true"}},
                   "mSupportPending 1 mZSLTimeDiffMs(0) = default(0)+project(0)+user(0)"},
        ConfigCase{"pendingOne", {{"persist.vendor.kohal.selector.pending.mask", "1"}, {"ro.vendor.camera3.zsl.default", "33"}},
                   "mSupportPending 1 mZSLTimeDiffMs(33) = default(33)+project(0)+user(0)"},
        ConfigCase{"pendingNotBoolean", {{"persist.vendor.kohal.selector.pending.mask", "2"}},
                   "mSupportPending 0 mZSLTimeDiffMs(0) = default(0)+project(0)+user(0)"}),
    [](const testing::TestParamInfo<ConfigCase> &info) { return info.param.name; });

TEST(Configuration, PendingSwitchIsReadOnlyWhenTheLibraryIsLoaded)
{
    auto gates = kohost::LogGates::systemOnly();
    kohost::LogRecorder log;
    kohost::setSelectorProperties({});
    kohost::PluginLoader loader;
    ASSERT_TRUE(loader.load(kohost::defaultPluginPath()));
    loader.createSelector();
    android::base::SetProperty("persist.vendor.kohal.selector.pending.mask", "1");
    android::base::SetProperty("ro.vendor.camera3.zsl.default", "40");
    loader.createSelector();
    loader.unload();
    ASSERT_TRUE(loader.load(kohost::defaultPluginPath()));
    loader.createSelector();
    kohost::setSelectorProperties({});

    // The window is read for each selector, the switch only at library load.
    EXPECT_EQ(kotest::texts(log.system()),
              (Lines{"I mSupportPending 0 mZSLTimeDiffMs(0) = default(0)+project(0)+user(0)",
                     "I mSupportPending 0 mZSLTimeDiffMs(40) = default(40)+project(0)+user(0)",
                     "I mSupportPending 1 mZSLTimeDiffMs(40) = default(40)+project(0)+user(0)"}));
}

struct NeededCase {
    const char *name;
    std::vector<std::shared_ptr<KoMetadata>> requestMetas;
    bool needed;
    int logged; // the value in the line
};

class IsSelectorNeeded : public testing::TestWithParam<NeededCase> {};

TEST_P(IsSelectorNeeded, AnswersFromTheFirstRequestsEnableZsl)
{
    kotest::LoggedPlugin plugin;
    kohal::ZSLFrameSelectInfo info;
    info.requestMetas = GetParam().requestMetas;
    EXPECT_EQ(plugin.selector().isSelectorNeeded(info), GetParam().needed);
    auto records = plugin.log.system();
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0].function, "isSelectorNeeded");
    EXPECT_EQ(kotest::texts(records)[0],
              "D [ZSLSelector] ZSLSelectorDefault isNeeded " + std::to_string(GetParam().logged));
}

INSTANTIATE_TEST_SUITE_P(Requests, IsSelectorNeeded,
                         testing::Values(NeededCase{"emptyList", {}, false, 0},
                                         NeededCase{"tagAbsent", {Meta()}, false, 0},
                                         NeededCase{"countZero", {Meta().set<uint8_t>(tag::EnableZsl, {})}, false, 0},
                                         NeededCase{"zero", {Meta().u8(tag::EnableZsl, 0)}, false, 0},
                                         NeededCase{"one", {Meta().u8(tag::EnableZsl, 1)}, true, 1},
                                         NeededCase{"byteShownAsRead", {Meta().u8(tag::EnableZsl, 2)}, true, 2},
                                         NeededCase{"highByte", {Meta().u8(tag::EnableZsl, 255)}, true, 255},
                                         NeededCase{"onlyFirstCounts", {Meta(), Meta().u8(tag::EnableZsl, 1)}, false, 0},
                                         NeededCase{"nullFirst", {nullptr, Meta().u8(tag::EnableZsl, 1)}, false, 0}),
                         [](const testing::TestParamInfo<NeededCase> &info) { return info.param.name; });

// The constructor's configuration line is info; isSelectorNeeded's is debug.
struct GateCase {
    uint32_t level, group, debugMask;
    bool debugToAndroid, debugToSystem, infoToAndroid, infoToSystem;
};

class LogGate : public testing::TestWithParam<GateCase> {};

TEST_P(LogGate, EachOutputHasItsOwnGate)
{
    const GateCase &gate = GetParam();
    const std::string info = "I mSupportPending 0 mZSLTimeDiffMs(0) = default(0)+project(0)+user(0)";
    const std::string debug = "D [ZSLSelector] ZSLSelectorDefault isNeeded 1";
    kohost::LogGates gates(gate.level, gate.group, gate.debugMask);
    kohost::LogRecorder log;
    {
        kohost::PluginSession plugin;
        kohal::ZSLFrameSelectInfo request;
        request.requestMetas = {Meta().u8(tag::EnableZsl, 1)};
        plugin.selector().isSelectorNeeded(request);
    }
    auto expect = [&](bool toInfo, bool toDebug) {
        Lines lines;
        if (toInfo)
            lines.push_back(info);
        if (toDebug)
            lines.push_back(debug);
        return lines;
    };
    auto android = log.android();
    auto system = log.system();
    EXPECT_EQ(kotest::texts(android), expect(gate.infoToAndroid, gate.debugToAndroid));
    EXPECT_EQ(kotest::texts(system), expect(gate.infoToSystem, gate.debugToSystem));
    // An Android line carries the source prefix of the same system line.
    for (size_t i = 0; i < android.size(); ++i) {
        EXPECT_EQ(android[i].group, "ZSL");
        EXPECT_EQ(android[i].fileName, "ZSLSelectorDefault.cpp");
        EXPECT_EQ(android[i].function, i == 0 && gate.infoToAndroid ? "ZSLSelectorDefault" : "isSelectorNeeded");
        if (android.size() == system.size()) {
            EXPECT_EQ(android[i].line, system[i].line);
        }
    }
    if (android.size() == 2) {
        EXPECT_NE(android[0].line, android[1].line);
    }
}

INSTANTIATE_TEST_SUITE_P(Table, LogGate,
                         testing::Values(GateCase{3, 0x40, 0, true, false, true, false},
                                         GateCase{4, 0x40, 0, false, false, true, false},
                                         GateCase{5, 0x40, 1, false, true, false, true},
                                         GateCase{0, 0x40, 1, true, true, true, true},
                                         GateCase{0, 0xBF, 1, false, false, false, false},
                                         GateCase{2, 0xFFFFFFFF, 0x100, true, true, true, true}));

} // namespace
