#include <Logged.h>
#include <MetadataBuilder.h>
#include <PluginSession.h>

#include <gtest/gtest.h>

namespace {

using kohost::Meta;
namespace tag = kohost::tag;

struct NeededCase {
    const char *name;
    std::vector<std::shared_ptr<KoMetadata>> requestMetas;
    bool needed;
    const char *line;
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
    EXPECT_EQ(records[0].level, "D");
    EXPECT_EQ(records[0].function, "isSelectorNeeded");
    EXPECT_EQ(records[0].text, GetParam().line);
}

INSTANTIATE_TEST_SUITE_P(
    Requests, IsSelectorNeeded,
    testing::Values(
        NeededCase{"emptyList", {}, false, "[ZSLSelector] ZSLSelectorDefault isNeeded 0"},
        NeededCase{"tagAbsent", {Meta()}, false, "[ZSLSelector] ZSLSelectorDefault isNeeded 0"},
        NeededCase{"countZero", {Meta().set<uint8_t>(tag::EnableZsl, {})}, false,
                   "[ZSLSelector] ZSLSelectorDefault isNeeded 0"},
        NeededCase{"zero", {Meta().u8(tag::EnableZsl, 0)}, false,
                   "[ZSLSelector] ZSLSelectorDefault isNeeded 0"},
        NeededCase{"one", {Meta().u8(tag::EnableZsl, 1)}, true,
                   "[ZSLSelector] ZSLSelectorDefault isNeeded 1"},
        NeededCase{"byteShownAsRead", {Meta().u8(tag::EnableZsl, 2)}, true,
                   "[ZSLSelector] ZSLSelectorDefault isNeeded 2"},
        NeededCase{"highByte", {Meta().u8(tag::EnableZsl, 255)}, true,
                   "[ZSLSelector] ZSLSelectorDefault isNeeded 255"},
        NeededCase{"onlyFirstCounts", {Meta(), Meta().u8(tag::EnableZsl, 1)}, false,
                   "[ZSLSelector] ZSLSelectorDefault isNeeded 0"},
        NeededCase{"nullFirst", {nullptr, Meta().u8(tag::EnableZsl, 1)}, false,
                   "[ZSLSelector] ZSLSelectorDefault isNeeded 0"}),
    [](const testing::TestParamInfo<NeededCase> &info) { return info.param.name; });

} // namespace
