// The reader's table of the plug-in's messages against the plug-in itself:
// every message in its sources is in the table with its level, and nothing
// else; and a line is matched to a format exactly.

#include "messages/PluginEvent.h"
#include "messages/MessageLookup.h"
#include "messages/PluginMessages.h"

#include <gtest/gtest.h>

#include <algorithm>

#include <cstdio>
#include <fstream>
#include <map>
#include <random>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace {

using zsl::messages::fillsFormat;
using zsl::messages::findPluginMessage;
using zsl::messages::pluginMessages;

// Each ZSL_LOGD/ZSL_LOGI format in a source file, adjacent literals joined.
std::set<std::pair<std::string, char>> formatsIn(const std::string &path)
{
    std::ifstream file(path);
    std::stringstream text;
    text << file.rdbuf();
    const std::string source = text.str();
    EXPECT_FALSE(source.empty()) << path;
    std::set<std::pair<std::string, char>> formats;
    static const std::regex call(R"re(ZSL_LOG([DI])\(\s*((?:"(?:[^"\\]|\\.)*"\s*)+))re");
    static const std::regex literal(R"re("((?:[^"\\]|\\.)*)")re");
    for (std::sregex_iterator at(source.begin(), source.end(), call), end; at != end; ++at) {
        const std::string literals = (*at)[2];
        std::string format;
        for (std::sregex_iterator part(literals.begin(), literals.end(), literal); part != end; ++part)
            format += (*part)[1];
        formats.insert({format, (*at)[1].str()[0]});
    }
    return formats;
}

// A text the format prints, its conversions filled at random; a %s takes
// pieces that look like other messages' words, digits and signs, so that the
// texts lie close to more than one format. Now and then the text is cut or
// lengthened by a byte.
std::string randomFill(std::string_view format, std::mt19937 &random)
{
    // Each piece between bars; the first is empty.
    static const std::vector<std::string> kPieces = [] {
        std::vector<std::string> pieces;
        std::istringstream all("|ZSLMetaQ|41 42 43 |a b|-|7|x1|]| bc=| not found!| [| isNeeded |] tag(| Consumer list: "
                               "|(nil)| ResultMetaTarget removed");
        for (std::string piece; std::getline(all, piece, '|');)
            pieces.push_back(piece);
        return pieces;
    }();
    std::string text;
    for (size_t at = 0; at < format.size(); ++at) {
        if (format[at] != '%') {
            text += format[at];
            continue;
        }
        const bool alternate = format[at + 1] == '#';
        at += alternate ? 2 : 1;
        while (format[at] == 'l')
            ++at;
        const long number = static_cast<long>(random() % 200001) - 100000;
        char hex[32];
        switch (format[at]) {
        case 'd':
            text += std::to_string(number);
            break;
        case 'u':
            text += std::to_string(random() % 1000000);
            break;
        case 'x':
            std::snprintf(hex, sizeof(hex), alternate ? "%#lx" : "%lx", static_cast<unsigned long>(number + 100000));
            text += hex;
            break;
        case 'p':
            text += random() % 2 ? "(nil)" : "0x7f00aa";
            break;
        default:
            for (size_t n = random() % 4; n > 0; --n)
                text += kPieces[random() % kPieces.size()];
        }
    }
    switch (random() % 4) {
    case 0:
        if (!text.empty())
            text.pop_back();
        break;
    case 1:
        text += "0a -"[random() % 4];
        break;
    default:
        break;
    }
    return text;
}

// The reader looks at a few messages per text, chosen by how texts start and
// end: it finds what trying every message in the table's order finds.
TEST(PluginMessages, AMessageIsFoundAsTryingEveryOneInOrderFindsIt)
{
    std::mt19937 random(38);
    size_t found = 0;
    for (const zsl::messages::PluginMessage &message : pluginMessages())
        for (int i = 0; i < 300; ++i) {
            const std::string text = randomFill(message.format, random);
            const zsl::messages::PluginMessage *first = nullptr;
            for (const zsl::messages::PluginMessage &candidate : pluginMessages())
                if (fillsFormat(text, candidate.format)) {
                    first = &candidate;
                    break;
                }
            ASSERT_EQ(findPluginMessage(text), first) << '"' << text << "\" from \"" << message.format << '"';
            found += first != nullptr;
        }
    EXPECT_GT(found, pluginMessages().size() * 100); // most texts fill a format, many were cut
}

TEST(PluginMessages, TheTableHoldsEveryMessageOfThePluginAndNoOther)
{
    std::set<std::pair<std::string, char>> inSources;
    for (const char *file : {"odm/policy/zsl/mtk/general/default/ZSLSelectorDefault.cpp",
                             "odm/policy/zsl/mtk/ZSLSelectorExt.h", "common/api/ZSLSelectorBase.h"})
        inSources.merge(formatsIn(std::string(ZSL_SOURCE_DIR "/") + file));
    std::set<std::pair<std::string, char>> inTable;
    for (const zsl::messages::PluginMessage &message : pluginMessages())
        inTable.insert({std::string(message.format), message.level});
    EXPECT_GT(inSources.size(), 50u); // the scan found the plug-in's messages
    for (const auto &[format, level] : inSources)
        EXPECT_TRUE(inTable.count({format, level})) << level << " \"" << format << "\" is not in the reader's table";
    for (const auto &[format, level] : inTable)
        EXPECT_TRUE(inSources.count({format, level})) << level << " \"" << format << "\" is not the plug-in's";
}

// Each conversion of a format, in order: its letter and the text before it
// back to the previous conversion.
std::vector<std::pair<char, std::string>> conversionsOf(std::string_view format)
{
    std::vector<std::pair<char, std::string>> conversions;
    size_t from = 0;
    for (size_t at = format.find('%'); at != std::string_view::npos; at = format.find('%', at + 1)) {
        size_t end = at + 1;
        while (end < format.size() && (format[end] == '#' || format[end] == 'l'))
            ++end;
        conversions.emplace_back(format[end], std::string(format.substr(from, at - from)));
        from = end + 1;
    }
    return conversions;
}

// What the literal text before each named argument ends with, in every
// message that prints it: a name put at the wrong place of its message
// stands after another label.
const std::map<zsl::messages::Arg, std::vector<std::string>> &labelsBefore()
{
    using A = zsl::messages::Arg;
    static const std::map<A, std::vector<std::string>> labels = {
        {A::SupportPending, {"mSupportPending "}},
        {A::WindowMs, {"mZSLTimeDiffMs("}},
        {A::DefaultWindowMs, {"default("}},
        {A::ProjectWindowMs, {"project("}},
        {A::UserWindowMs, {"user("}},
        {A::SelectorName, {"[ZSLSelector] "}},
        {A::IsNeeded, {" isNeeded "}},
        {A::FwkFrame, {"fwkFrame:", "fwkFrameNum = "}},
        {A::QueueName, {" ["}},
        {A::FrameList, {"list: ", "consumerQ[", " in ["}},
        {A::AnchorTs, {"anchorTS:"}},
        {A::MotionCapType, {"motionCapType:0x", "motion cap: 0x"}},
        {A::ZsdTs, {" zsdTs:"}},
        {A::CurTime, {" curTime:"}},
        {A::Frame, {"list: "}},
        {A::ShutterTs, {" shutter time:"}},
        {A::AnchorOffset, {"ZSLAnchor offset:"}},
        {A::CsBegin, {" csbegin:"}},
        {A::ZslFrame, {"zslFrame: ", "checkFrameNum = "}},
        {A::Ev, {"EV setting=", "EV=", "default EV="}},
        {A::HistoryEv, {"EV(History)="}},
        {A::TargetEv, {"EV(Target)="}},
        {A::AfInfo, {"AF ok: ", "AF fail: "}},
        {A::Caller, {"["}},
        {A::Tag, {"] tag("}},
        {A::Value, {" val="}},
        {A::Accepted, {" target="}},
        {A::Bc, {" bc="}},
        {A::Camera, {",camid:"}},
        {A::SrEnable, {"srEnable = "}},
        {A::ReqtMasterId, {"reqtMasterId = "}},
        {A::MasterRoleId, {"masterRoleId = "}},
        {A::AiHLFrameNum, {"AiHLFrameNum = "}},
        {A::SelectorAddress, {"this = "}},
        {A::SensorMode, {"perframeSensorMode:", "perframeSensorMode = ", "reqDesiredSensorMode:", "sensorModetype:",
                         " sensorModetype"}},
        {A::DesiredSensorMode, {"desiredSensorMode = "}},
        {A::LogicalId, {"logicalId:"}},
        {A::SensorPolicyMask, {"mSensorPolicyMask:"}},
        {A::CameraRoleType, {"cameraRoleType:"}},
        {A::ModeSelectMask, {"modeSelectMask:0x"}},
        {A::ModeOffset, {"modeOffset:"}},
    };
    return labels;
}

// Every argument has its name, no more and no fewer, of the shape its
// conversion prints and after its label; a name given twice in one message
// would make one of them unreachable.
TEST(PluginMessages, EachArgumentIsNamedAsItsConversionPrintsIt)
{
    using zsl::messages::Arg;
    using zsl::messages::ArgShape;
    auto endsWith = [](const std::string &text, const std::string &end) {
        return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
    };
    for (const zsl::messages::PluginMessage &message : pluginMessages()) {
        SCOPED_TRACE(std::string(message.format));
        const auto conversions = conversionsOf(message.format);
        ASSERT_LE(conversions.size(), zsl::messages::kMaxMessageArgs);
        std::set<Arg> seen;
        for (size_t i = 0; i < message.args.size(); ++i) {
            const Arg arg = message.args[i];
            if (i >= conversions.size()) {
                EXPECT_EQ(arg, Arg::None) << "a name past the last conversion, at " << i;
                continue;
            }
            ASSERT_NE(arg, Arg::None) << "conversion " << i << " has no name";
            EXPECT_TRUE(seen.insert(arg).second) << "a name given twice, at " << i;
            const char letter = conversions[i].first;
            const std::string &before = conversions[i].second;
            const ArgShape printed = letter == 's'   ? ArgShape::Text
                                     : letter == 'x' ? ArgShape::Hex
                                     : letter == 'p' ? ArgShape::Pointer
                                                     : ArgShape::Decimal;
            EXPECT_EQ(zsl::messages::argShape(arg), printed) << "argument " << i;
            const auto labels = labelsBefore().find(arg);
            ASSERT_NE(labels, labelsBefore().end()) << "argument " << i << " has no label in the test";
            EXPECT_TRUE(std::any_of(labels->second.begin(), labels->second.end(),
                                    [&](const std::string &label) { return endsWith(before, label); }))
                << "argument " << i << " stands after \"" << before << "\"";
        }
    }
}

struct FillCase {
    const char *text;
    const char *format;
    bool fills;
};

class FillsFormat : public testing::TestWithParam<FillCase> {};

TEST_P(FillsFormat, MatchesWhatPrintfWouldPrint)
{
    EXPECT_EQ(fillsFormat(GetParam().text, GetParam().format), GetParam().fills)
        << GetParam().text << " / " << GetParam().format;
}

INSTANTIATE_TEST_SUITE_P(
    Cases, FillsFormat,
    testing::Values(FillCase{"fwkFrame:7 zsdTs:-5", "fwkFrame:%u zsdTs:%ld", true},
                    FillCase{"fwkFrame:-7", "fwkFrame:%u", false},
                    FillCase{"fwkFrame:", "fwkFrame:%u", false},
                    FillCase{"fwkFrame:7x", "fwkFrame:%u", false},
                    FillCase{"[isAEStable] tag(0x1001f) not found!", "[%s] tag(%#x) not found!", true},
                    FillCase{"[isAEStable] tag(0) not found!", "[%s] tag(%#x) not found!", true},
                    FillCase{"motion cap: 0x101", "motion cap: 0x%x", true},
                    FillCase{"motion cap: 0xg", "motion cap: 0x%x", false},
                    FillCase{"[q] Current Consumer list: ", "[%s] Current Consumer list: %s", true},
                    FillCase{"[a] b] Current Consumer list: 1 2 ", "[%s] Current Consumer list: %s", true},
                    FillCase{"this = 0x7ffd1234", "this = %p", true},
                    FillCase{"this = <selector>", "this = %p", true},
                    FillCase{"fwkFrame:1 zslFrame: 2 get metaFrame failed perframeSensorMode = -1",
                             "fwkFrame:%u zslFrame: %u get metaFrame failed", false},
                    FillCase{"hf OK ", "hf OK", false}),
    [](const testing::TestParamInfo<FillCase> &info) { return "case" + std::to_string(info.index); });

// A line decoded: which message, the frames it names where the message
// prints them, and its arguments as numbers; a %s argument may hold the
// text that follows it in other messages.
TEST(PluginEvent, DecodesWhichMessageAndItsArguments)
{
    using zsl::messages::Arg;
    using zsl::messages::MessageId;
    using zsl::messages::PluginEvent;
    const struct {
        const char *text;
        MessageId id;
        std::optional<uint32_t> fwkFrame, zslFrame;
        std::optional<int> camera;
        zsl::messages::Arg arg;
        std::optional<int64_t> value; // of argument `arg`
    } cases[] = {
        {"[ZSLSelector] fwkFrame:7 zsdTs:-5 curTime:95", MessageId::Window, 7, {}, {}, Arg::ZsdTs, -5},
        {"[ZSLSelector] fwkFrame:8, No zslFrame: 41 ,camid:3 invalid", MessageId::RefusedCamera, 8, 41, 3, Arg::Camera, 3},
        {"[ZSLSelector] fwkFrame:8, No zslFrame: 41invalid", MessageId::RefusedOwn, 8, 41, {}, Arg::ZslFrame, 41},
        {"[ZSLSelector] checkFrameNum = 44 fwkFrameNum = 9  reqtMasterId = 0 masterRoleId = 0 AiHLFrameNum = 0 "
         "this = <selector>",
         MessageId::SensorStart, 9, 44, {}, Arg::ZslFrame, 44},
        {"[ZSLSelector] fwkFrame:3 zslFrame: 5 zslFrame perframeSensorMode:-2", MessageId::SensorFrameMode, 3, 5, {}, Arg::SensorMode, -2},
        {"<mc anchor pick> anchorTS:123, motionCapType:0x1f", MessageId::AnchorPick, {}, {}, {}, Arg::MotionCapType, 0x1f},
        {"[isAEStable] tag(0x1001f) val=3 target=2,3 bc=0", MessageId::TagValue, {}, {}, {}, Arg::Tag, 0x1001f},
        {"mSupportPending 1 mZSLTimeDiffMs(150) = default(100)+project(30)+user(20)", MessageId::Config, {}, {}, {}, Arg::UserWindowMs, 20},
        {"[ZSLSelector] ZSLSelectorDefault isNeeded 0", MessageId::Needed, {}, {}, {}, Arg::IsNeeded, 0},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.text);
        const std::optional<PluginEvent> event = PluginEvent::decode(c.text);
        ASSERT_TRUE(event);
        // Kept with its line when first matched, the same event without matching again.
        kohost::LogLine line;
        line.text = c.text;
        ASSERT_TRUE(PluginEvent::keep(line));
        ASSERT_GE(line.argCount, 0);
        const kohost::LogLine copied = line; // the spans are offsets: they hold in a copy of the text
        const std::optional<PluginEvent> kept = PluginEvent::decode(copied);
        ASSERT_TRUE(kept);
        EXPECT_EQ(kept->id(), event->id());
        ASSERT_EQ(kept->argCount(), event->argCount());
        for (size_t i = 0; i < event->argCount(); ++i)
            EXPECT_EQ(kept->argAt(i), event->argAt(i)) << "argument " << i;
        EXPECT_EQ(event->id(), c.id);
        EXPECT_EQ(event->fwkFrame(), c.fwkFrame);
        EXPECT_EQ(event->zslFrame(), c.zslFrame);
        EXPECT_EQ(event->camera(), c.camera);
        EXPECT_EQ(event->number<int64_t>(c.arg), c.value);
    }
    // A line too long for the kept offsets is matched again when asked, and gives the same event.
    kohost::LogLine line;
    line.text = "AF ok: " + std::string(70000, 'x');
    ASSERT_TRUE(PluginEvent::keep(line));
    EXPECT_EQ(line.argCount, -1);
    const std::optional<PluginEvent> event = PluginEvent::decode(line);
    ASSERT_TRUE(event);
    EXPECT_EQ(event->text(Arg::AfInfo).size(), 70000u);
    EXPECT_FALSE(PluginEvent::decode("[ZSLSelector] fwkFrame:7 zsdTs:5"));

    // The AF line's states, inside its one argument.
    const std::optional<PluginEvent> af = PluginEvent::decode("AF fail: afMode=4 afState=3 lensState=1");
    ASSERT_TRUE(af);
    EXPECT_EQ(af->afMode(), 4);
    EXPECT_EQ(af->afState(), 3);
    EXPECT_EQ(af->lensState(), 1);
    // A queue name with "] " in it: the list is still the text after the last match.
    const std::optional<PluginEvent> list = PluginEvent::decode("[ZSLSelector] fwkFrame:1 [a] b] Current Consumer list: 4 5 ");
    ASSERT_TRUE(list);
    EXPECT_EQ(list->text(Arg::QueueName), "a] b");
    EXPECT_EQ(zsl::messages::numbersIn(list->text(Arg::FrameList)), (std::vector<uint32_t>{4, 5}));
}

} // namespace
