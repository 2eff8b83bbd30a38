#include <Logged.h>
#include <PluginSession.h>

#include <android-base/properties.h>

#include <gtest/gtest.h>

namespace {

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
                   {{"ro.vendor.camera3.zsl.default", "300"},
                    {"ro.vendor.camera3.zsl.project", "-50"},
                    {"vendor.debug.camera3.zsl.timestamp", "0"}},
                   "mSupportPending 0 mZSLTimeDiffMs(250) = default(300)+project(-50)+user(0)"},
        ConfigCase{"userOnlyHex",
                   {{"vendor.debug.camera3.zsl.timestamp", "0x10"}},
                   "mSupportPending 0 mZSLTimeDiffMs(16) = default(0)+project(0)+user(16)"},
        ConfigCase{"unparsableIsZero",
                   {{"ro.vendor.camera3.zsl.default", "fast"}, {"ro.vendor.camera3.zsl.project", "-8"}},
                   "mSupportPending 0 mZSLTimeDiffMs(-8) = default(0)+project(-8)+user(0)"},
        ConfigCase{"sumWrapsAt64Bits",
                   {{"ro.vendor.camera3.zsl.default", "9223372036854775807"}, {"ro.vendor.camera3.zsl.project", "1"}},
                   "mSupportPending 0 mZSLTimeDiffMs(-9223372036854775808) = default(9223372036854775807)+project(1)+user(0)"},
        ConfigCase{"pendingTrue",
                   {{"persist.vendor.kohal.selector.pending.mask", "true"}},
                   "mSupportPending 1 mZSLTimeDiffMs(0) = default(0)+project(0)+user(0)"},
        ConfigCase{"pendingOne",
                   {{"persist.vendor.kohal.selector.pending.mask", "1"},
                    {"ro.vendor.camera3.zsl.default", "33"}},
                   "mSupportPending 1 mZSLTimeDiffMs(33) = default(33)+project(0)+user(0)"},
        ConfigCase{"pendingNotBoolean",
                   {{"persist.vendor.kohal.selector.pending.mask", "2"}},
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

    auto records = log.system();
    ASSERT_EQ(records.size(), 3u);
    // The window is read for each selector, the switch only at library load.
    EXPECT_EQ(records[1].text, "mSupportPending 0 mZSLTimeDiffMs(40) = default(40)+project(0)+user(0)");
    EXPECT_EQ(records[2].text, "mSupportPending 1 mZSLTimeDiffMs(40) = default(40)+project(0)+user(0)");
}

} // namespace
