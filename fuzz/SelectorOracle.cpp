// The selector's answers as the rules give them, for the selector fuzzer.

#include "SelectorOracle.h"

#include <KoMetadata.h>

#include <algorithm>
#include <cmath>
#include <optional>

namespace fuzz {

namespace {

std::optional<int64_t> firstValue(const std::shared_ptr<KoMetadata> &meta, const char *name)
{
    KoMetadataEntry entry = meta ? meta->find(name) : KoMetadataEntry{};
    if (entry.count == 0)
        return std::nullopt;
    return entry.type == KoMetadata::TYPE_INT64 ? entry.data.i64[0] : entry.data.i32[0];
}

std::optional<int64_t> shutterOf(kohal::ZSLFrameQueue &queue, uint32_t frame)
{
    const void *record = queue.getMetaFrame(frame);
    return record ? std::optional<int64_t>(static_cast<const kohal::MetaFrame *>(record)->metaInfo.shutterTime)
                  : std::nullopt;
}

std::shared_ptr<kohal::ZSLFrameQueue> firstOfType(const kohal::ZSLQueueList &queues, int type)
{
    for (const auto &queue : queues)
        if (queue && queue->getQueueType() == type)
            return queue;
    return nullptr;
}

// The metadata rules: same EV, then settled focus and exposure unless a
// quick snapshot or a motion capture waves them through.
bool qualifies(const std::shared_ptr<KoMetadata> &history, const std::shared_ptr<KoMetadata> &target)
{
    if (!history || !target)
        return false;
    auto byteOf = [](const std::shared_ptr<KoMetadata> &meta, uint32_t tag) -> std::optional<uint8_t> {
        const KoMetadataEntry entry = meta->find(tag);
        return entry.count ? std::optional<uint8_t>(entry.data.u8[0]) : std::nullopt;
    };
    auto ev = [](const std::shared_ptr<KoMetadata> &meta) {
        const KoMetadataEntry entry = meta->find(0x10001u);
        return entry.count ? entry.data.i32[0] : 0;
    };
    const KoMetadataEntry quick = target->find("korvan.quicksnapshot.isQuickSnapshot");
    if (ev(history) != ev(target))
        return false;
    if (quick.count && quick.data.u8[0] != 0)
        return true;
    const KoMetadataEntry motion = history->find("korvan.ai.kosd.motionCaptureType");
    if (motion.count && (static_cast<uint32_t>(motion.data.i32[0]) & 0xFF) == 1)
        return true;
    const auto mode = byteOf(history, 0x10007u), state = byteOf(history, 0x10020u), lens = byteOf(history, 0x80009u);
    if (!mode || !state || !lens)
        return false;
    const bool focusing = *mode >= 1 && *mode <= 4;
    if (focusing && !((*lens != 1 && (*state == 2 || *state >= 4)) || (*lens == 0 && *state == 0)))
        return false;
    const auto ae = byteOf(history, 0x1001fu);
    return ae && *ae >= 2 && *ae <= 4;
}

} // namespace

kohal::ZSLSelection expectedSelection(const kohal::ZSLFrameSelectInfo &info, bool pending, int64_t windowMs)
{
    std::shared_ptr<kohal::ZSLFrameQueue> meta;
    for (const auto &queue : info.zslQueues)
        if (queue && !meta && queue->getQueueType() == kohal::ZSL_QUEUE_TYPE_META)
            meta = queue;
    if (!meta)
        return {};
    const std::vector<uint32_t> consumer = meta->getFrameNumList(kohal::CONSUMER_LIST);
    const std::vector<uint32_t> producer = meta->getFrameNumList(kohal::PRODUCER_LIST);
    const auto request = info.requestMetas.empty() ? nullptr : info.requestMetas.front();
    const int64_t anchorTS = firstValue(request, "korvan.mfnr.anchorTimeStamp").value_or(0);
    const uint32_t motion = static_cast<uint32_t>(firstValue(request, "korvan.ai.kosd.motionCaptureType").value_or(0));
    const double sum = (motion & 0xFF) == 1 ? double(anchorTS) + ((motion & 0xF0000) ? 30000000.0 : 60000000.0)
                                            : double(kNowNs) + double(windowMs) * -1000000.0;
    const int64_t zsdTs = sum >= 9223372036854775808.0 ? INT64_MAX : sum < -9223372036854775808.0 ? INT64_MIN : int64_t(sum);

    const int64_t n = int64_t(consumer.size());
    int64_t anchorOffset = 0, anchorIndex = n;
    for (int64_t i = 0; i < n && anchorIndex == n; ++i)
        if (auto t = shutterOf(*meta, consumer[size_t(i)])) {
            anchorOffset = i - n;
            if (*t > zsdTs)
                anchorIndex = i;
        }
    if (anchorIndex == n) {
        if (pending)
            return {};
        for (size_t j = 0; j < producer.size(); ++j)
            if (auto t = shutterOf(*meta, producer[j])) {
                anchorOffset = int64_t(j);
                if (*t > zsdTs)
                    break;
            }
    }
    const int64_t requests = int64_t(info.requestMetas.size());
    int64_t begin = anchorOffset + 1 + n < requests ? 0 : anchorOffset + 1 + n - requests;
    auto everyQueueHolds = [&](uint32_t frame) {
        for (const auto &queue : info.zslQueues)
            if (queue && !queue->getMetaFrame(frame))
                return false;
        return true;
    };
    while (begin < n && !everyQueueHolds(consumer[size_t(begin)]))
        ++begin;
    const uint32_t lastUsed = info.usedFrameNums.empty() ? 0 : info.usedFrameNums.back();
    std::vector<uint32_t> selected;
    for (int64_t i = begin; i < n; ++i)
        if (consumer[size_t(i)] > lastUsed)
            selected.push_back(consumer[size_t(i)]);
    if (!pending && anchorOffset >= -1) {
        const int64_t start = anchorOffset == -1 || anchorOffset + 1 <= requests ? 0 : anchorOffset + 1 - requests;
        for (size_t j = size_t(start); j < producer.size(); ++j)
            if (producer[j] > lastUsed)
                selected.push_back(producer[j]);
    }
    kohal::ZSLSelection result;
    for (const auto &queue : info.zslQueues)
        if (queue)
            result[queue->getQueueId()] = selected;
    return result;
}

// The platform's sensor-mode check: the frame's mode against the request's,
// -1 for either side that names none.
std::pair<bool, bool> expectedSensorMode(const kohal::ZSLFrameCheckInfo &info)
{
    const auto sensor = firstOfType(info.zslQueues, kohal::ZSL_QUEUE_TYPE_SENSOR_MODE);
    if (!sensor)
        return {false, false};
    const void *record = sensor->getMetaFrame(info.checkFrameNum);
    const int32_t frameMode = record ? static_cast<const kohal::SensorModeFrame *>(record)->perframeSensorMode : -1;
    const KoMetadataEntry wanted =
        info.requestMeta ? info.requestMeta->find("com.korvan.ext.control.policy.sensorMode") : KoMetadataEntry{};
    const int32_t requestMode = wanted.count ? wanted.data.i32[0] : -1;
    return frameMode == requestMode ? std::make_pair(true, true) : std::make_pair(false, false);
}

std::pair<bool, bool> expectedCheck(const kohal::ZSLFrameCheckInfo &info)
{
    const auto meta = firstOfType(info.zslQueues, kohal::ZSL_QUEUE_TYPE_META);
    if (!meta)
        return {true, true};
    if (const void *record = meta->getMetaFrame(info.checkFrameNum)) {
        const kohal::MetaInfo &frame = static_cast<const kohal::MetaFrame *>(record)->metaInfo;
        bool qualified = true;
        for (const auto &camera : frame.physicalMetadata)
            qualified = qualifies(camera.second, info.requestMeta) && qualified;
        if (frame.physicalMetadata.empty())
            qualified = qualifies(frame.metadata, info.requestMeta);
        if (!qualified)
            return {false, true};
    }
    if (!info.requestMeta)
        return {true, true};
    auto isOne = [&](const char *name) {
        const KoMetadataEntry entry = info.requestMeta->find(name);
        return entry.count && entry.data.u8[0] == 1;
    };
    if (isOne("korvan.superResolution.enabled") || isOne("korvan.mfnr.enabled"))
        return expectedSensorMode(info);
    return {true, true};
}

} // namespace fuzz
