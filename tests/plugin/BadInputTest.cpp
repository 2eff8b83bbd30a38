// What a careless host may hand the selector: null queues, metadata and
// requests, tags of count 0, frame numbers and times at their limits. Each
// gets the neutral answer, never a crash (the sanitizer builds run this too).

#include <Logged.h>
#include <MetadataBuilder.h>
#include <QueueBuilder.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <limits>

namespace {

using kohost::Meta;
namespace tag = kohost::tag;

constexpr int64_t kNewest = std::numeric_limits<int64_t>::max(); // shot after any zsdTs
constexpr uint32_t kLastFrame = std::numeric_limits<uint32_t>::max();

// The answer as text: a selection as "id:frames;...", a verdict as two digits.
std::string text(const kohal::ZSLSelection &selection)
{
    std::string out;
    for (const auto &[id, frames] : selection)
        out += std::to_string(id) + ":" + kohal::vectorToString(frames) + ";";
    return out;
}

std::string text(std::pair<bool, bool> verdict)
{
    return std::to_string(verdict.first) + std::to_string(verdict.second);
}

kohal::ZSLFrameCheckInfo checkOf(kohal::ZSLQueueList queues, std::shared_ptr<KoMetadata> request, uint32_t frame = 10)
{
    kohal::ZSLFrameCheckInfo info;
    info.checkFrameNum = frame;
    info.requestMeta = std::move(request);
    info.zslQueues = std::move(queues);
    return info;
}

kohal::ZSLFrameSelectInfo selectOf(kohal::ZSLQueueList queues, std::vector<std::shared_ptr<KoMetadata>> requests = {Meta()},
                                   std::vector<uint32_t> used = {})
{
    kohal::ZSLFrameSelectInfo info;
    info.zslQueues = std::move(queues);
    info.requestMetas = std::move(requests);
    info.usedFrameNums = std::move(used);
    return info;
}

std::shared_ptr<kohost::HostFrameQueue> settledFrames(std::vector<uint32_t> frames, int64_t shutter = kNewest)
{
    std::vector<kohost::ListedFrame> listed;
    for (uint32_t frame : frames)
        listed.push_back({frame, shutter, Meta().settled()});
    return kohost::metaQueue(0, listed);
}

struct BadInput {
    const char *name;
    std::function<std::string(kohal::ZSLSelectorBase &)> call;
    const char *answer;
};

class PluginBadInput : public testing::TestWithParam<BadInput> {};

TEST_P(PluginBadInput, NeutralAnswer)
{
    kotest::LoggedPlugin plugin; // every line formatted, with whatever it prints
    EXPECT_EQ(GetParam().call(plugin.selector()), GetParam().answer);
}

INSTANTIATE_TEST_SUITE_P(
    Table, PluginBadInput,
    testing::Values(
        BadInput{"selectNullQueueAmongQueues",
                 [](auto &s) {
                     auto sensor = kohost::holdingQueue(1, kohal::ZSL_QUEUE_TYPE_SENSOR_MODE, "sensor", {10, 11});
                     return text(s.selectZSLFrames(selectOf({settledFrames({10, 11}), nullptr, sensor})));
                 },
                 "0:10 11 ;1:10 11 ;"},
        BadInput{"selectNullRequest",
                 [](auto &s) { return text(s.selectZSLFrames(selectOf({settledFrames({10, 11})}, {nullptr}))); },
                 "0:10 11 ;"},
        BadInput{"selectEveryFrameUsed",
                 [](auto &s) { return text(s.selectZSLFrames(selectOf({settledFrames({10, 11})}, {Meta()}, {kLastFrame}))); },
                 "0:;"},
        BadInput{"selectFrameNumbersAtTheLimits",
                 [](auto &s) { return text(s.selectZSLFrames(selectOf({settledFrames({0, kLastFrame})}))); },
                 "0:4294967295 ;"},
        BadInput{"selectShutterAtInt64Min", // no anchor: the begin is the last frame
                 [](auto &s) {
                     return text(s.selectZSLFrames(selectOf({settledFrames({10, 11}, std::numeric_limits<int64_t>::min())})));
                 },
                 "0:11 ;"},
        BadInput{"selectFrameListedTwice",
                 [](auto &s) { return text(s.selectZSLFrames(selectOf({settledFrames({10, 10})}))); }, "0:10 10 ;"},
        BadInput{"selectNoRequest", // requestCount 0: the begin is one past the anchor
                 [](auto &s) { return text(s.selectZSLFrames(selectOf({settledFrames({10, 11})}, {}))); }, "0:11 ;"},
        BadInput{"checkNullRecordMetadata",
                 [](auto &s) {
                     return text(s.checkFrame(checkOf({kohost::metaQueue(0, {{10, kNewest, nullptr}})}, Meta().settled())));
                 },
                 "01"},
        BadInput{"checkNullPhysicalCamera",
                 [](auto &s) {
                     auto queue = std::make_shared<kohost::HostFrameQueue>(0, kohal::ZSL_QUEUE_TYPE_META, "meta");
                     kohal::MetaInfo info = kohost::metaInfo(kNewest, Meta().settled());
                     info.physicalMetadata = {{0, Meta().settled()}, {2, nullptr}};
                     queue->putMetaFrame(10, info);
                     return text(s.checkFrame(checkOf({queue}, Meta().settled())));
                 },
                 "01"},
        BadInput{"checkNullRequest", [](auto &s) { return text(s.checkFrame(checkOf({settledFrames({10})}, nullptr))); },
                 "01"},
        BadInput{"checkNullQueueBeforeTheMetadataQueue",
                 [](auto &s) { return text(s.checkFrame(checkOf({nullptr, settledFrames({10})}, Meta().settled()))); },
                 "11"},
        BadInput{"checkTagOfCountZeroIsAbsent",
                 [](auto &s) {
                     auto meta = Meta().settled().set<uint8_t>(tag::AfMode, {}).build();
                     return text(s.checkFrame(checkOf({kohost::metaQueue(0, {{10, kNewest, meta}})}, Meta().settled())));
                 },
                 "01"},
        BadInput{"checkFrameNotHeld",
                 [](auto &s) { return text(s.checkFrame(checkOf({settledFrames({10})}, Meta().settled(), kLastFrame))); },
                 "11"},
        BadInput{"checkEvAtInt32Min",
                 [](auto &s) {
                     auto frame = Meta().settled().i32(tag::AeExposureCompensation, INT32_MIN).build();
                     auto request = Meta().i32(tag::AeExposureCompensation, INT32_MIN).build();
                     return text(s.checkFrame(checkOf({kohost::metaQueue(0, {{10, kNewest, frame}})}, request)));
                 },
                 "11"},
        BadInput{"neededNullRequest",
                 [](auto &s) { return std::to_string(s.isSelectorNeeded(selectOf({}, {nullptr}))); }, "0"},
        BadInput{"neededEnableZslOfCountZero",
                 [](auto &s) {
                     return std::to_string(s.isSelectorNeeded(selectOf({}, {Meta().set<uint8_t>(tag::EnableZsl, {})})));
                 },
                 "0"}),
    [](const testing::TestParamInfo<BadInput> &info) { return info.param.name; });

} // namespace
