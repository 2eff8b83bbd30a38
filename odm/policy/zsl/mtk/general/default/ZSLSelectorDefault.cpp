#include "ZSLSelectorDefault.h"

#include <KoMetadata.h>
#include <cutils/properties.h>
#include <utils/Timers.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <vector>

namespace {

// Pending-frame support, fixed when the library is loaded: a change of the
// property reaches new selectors only after the library is loaded again.
const int32_t gSupportPending =
    property_get_bool("persist.vendor.kohal.selector.pending.mask", 0) ? 1 : 0;

constexpr uint32_t kTagEnableZsl = 0x10029; // android.control.enableZsl
constexpr const char *kTagAnchorTimeStamp = "korvan.mfnr.anchorTimeStamp";
constexpr const char *kTagMotionCaptureType = "korvan.ai.kosd.motionCaptureType";

// Motion capture: low byte 1. The anchor is pushed 30 ms later when any of
// bits 16..19 is set, 60 ms otherwise.
constexpr uint32_t kMotionCaptureLowByte = 0x1;
constexpr uint32_t kMotionCaptureNearMask = 0xF0000;
constexpr double kMotionCaptureNearNs = 30000000.0;
constexpr double kMotionCaptureFarNs = 60000000.0;

bool isMotionCapture(uint32_t motionCapType)
{
    return (motionCapType & 0xFF) == kMotionCaptureLowByte;
}

// The time sums are formed in double precision and truncated toward zero; a
// sum beyond the int64 range saturates instead of being undefined.
int64_t truncateNs(double ns)
{
    constexpr double kLimit = 9223372036854775808.0; // 2^63
    if (std::isnan(ns))
        return 0;
    if (ns >= kLimit)
        return std::numeric_limits<int64_t>::max();
    if (ns < -kLimit)
        return std::numeric_limits<int64_t>::min();
    return static_cast<int64_t>(ns);
}

// The frame's shutter time, read from a copy of the record as the host
// expects (the record is only valid right after getMetaFrame answers).
int64_t shutterTimeOf(const void *record)
{
    const kohal::MetaInfo metaInfo(static_cast<const kohal::MetaFrame *>(record)->metaInfo);
    return metaInfo.shutterTime;
}

} // namespace

extern "C" __attribute__((visibility("default"))) void
createZSLSelector(kohal::ZSLSelectorList &selectors)
{
    selectors.push_back(std::make_shared<ZSLSelectorDefault>());
}

ZSLSelectorDefault::ZSLSelectorDefault()
{
    mName = "ZSLSelectorDefault";
    mSupportPending = gSupportPending != 0;
    int64_t defaultMs = property_get_int64("ro.vendor.camera3.zsl.default", 0);
    int64_t projectMs = property_get_int64("ro.vendor.camera3.zsl.project", 0);
    int64_t userMs = property_get_int64("vendor.debug.camera3.zsl.timestamp", 0);
    mZSLTimeDiffMs = defaultMs + projectMs + userMs;
    mReservedFlag1 = true;
    ZSL_LOGI("mSupportPending %d mZSLTimeDiffMs(%ld) = default(%ld)+project(%ld)+user(%ld)",
             mSupportPending, mZSLTimeDiffMs, defaultMs, projectMs, userMs);
}

bool ZSLSelectorDefault::isSelectorNeeded(const kohal::ZSLFrameSelectInfo &info)
{
    uint8_t enableZsl = 0;
    if (!info.requestMetas.empty()) {
        std::shared_ptr<KoMetadata> request = info.requestMetas.front();
        if (request) {
            KoMetadataEntry entry = request->find(kTagEnableZsl);
            if (entry.count != 0)
                enableZsl = entry.data.u8[0];
        }
    }
    ZSL_LOGD("[ZSLSelector] %s isNeeded %d", mName.c_str(), enableZsl);
    return enableZsl != 0;
}

std::pair<bool, bool> ZSLSelectorDefault::checkFrame(const kohal::ZSLFrameCheckInfo &)
{
    // Placeholder until the frame check lands: every frame may serve.
    return {true, true};
}

kohal::ZSLSelection ZSLSelectorDefault::selectZSLFrames(const kohal::ZSLFrameSelectInfo &info)
{
    kohal::ZSLSelection result;
    std::vector<uint32_t> selected;
    const uint32_t fwkFrame = info.fwkFrameNum;
    const uint32_t lastUsedFrameNum = info.usedFrameNums.empty() ? 0 : info.usedFrameNums.back();

    const std::shared_ptr<kohal::ZSLFrameQueue> metaQueue =
        kohal::firstQueueOfType(info.zslQueues, kohal::ZSL_QUEUE_TYPE_META);
    if (!metaQueue) {
        ZSL_LOGD("[ZSLSelector] fwkFrame:%u no metaQueue, select finished", fwkFrame);
        return result;
    }

    const std::vector<uint32_t> consumer = metaQueue->getFrameNumList(kohal::CONSUMER_LIST);
    const size_t n = consumer.size();
    if (consumer.empty())
        ZSL_LOGI("[ZSLSelector] fwkFrame:%u [%s] Current Consumer list none", fwkFrame,
                 metaQueue->getQueueName().c_str());
    else
        ZSL_LOGI("[ZSLSelector] fwkFrame:%u [%s] Current Consumer list: %s", fwkFrame,
                 metaQueue->getQueueName().c_str(), kohal::vectorToString(consumer).c_str());

    // Anchor pick: a motion capture names its own anchor time stamp.
    int64_t anchorTS = 0;
    uint32_t motionCapType = 0;
    if (!info.requestMetas.empty()) {
        const std::shared_ptr<KoMetadata> request = info.requestMetas.front();
        if (request) {
            KoMetadataEntry entry = request->find(kTagAnchorTimeStamp);
            if (entry.count != 0)
                anchorTS = entry.data.i64[0];
            entry = request->find(kTagMotionCaptureType);
            if (entry.count != 0)
                motionCapType = static_cast<uint32_t>(entry.data.i32[0]);
        }
    }
    ZSL_LOGI("<mc anchor pick> anchorTS:%ld, motionCapType:0x%x", anchorTS, motionCapType);

    const int64_t curTime = systemTime(SYSTEM_TIME_BOOTTIME);
    int64_t zsdTs;
    if (isMotionCapture(motionCapType))
        zsdTs = truncateNs(static_cast<double>(anchorTS) + ((motionCapType & kMotionCaptureNearMask)
                                                                 ? kMotionCaptureNearNs
                                                                 : kMotionCaptureFarNs));
    else
        zsdTs = truncateNs(static_cast<double>(curTime) +
                           static_cast<double>(mZSLTimeDiffMs) * -1000000.0);
    ZSL_LOGI("[ZSLSelector] fwkFrame:%u zsdTs:%ld curTime:%ld", fwkFrame, zsdTs, curTime);

    // The anchor is the first listed frame shot after zsdTs; lists run from
    // the oldest frame to the newest. anchorOffset counts back from the end
    // of the consumer list (negative), or into the producer list (0 and up).
    int64_t anchorOffset = 0;
    size_t anchorIndex = n;
    for (size_t i = 0; i < n; ++i) {
        const void *record = metaQueue->getMetaFrame(consumer[i]);
        if (!record) {
            ZSL_LOGI("[ZSLSelector] fwkFrame:%u Consumer list: %u ResultMetaTarget removed", fwkFrame,
                     consumer[i]);
            continue;
        }
        const int64_t shutterTime = shutterTimeOf(record);
        ZSL_LOGI("[ZSLSelector] fwkFrame:%u Consumer list: %u shutter time:%ld", fwkFrame,
                 consumer[i], shutterTime);
        anchorOffset = static_cast<int64_t>(i) - static_cast<int64_t>(n);
        if (shutterTime > zsdTs) {
            anchorIndex = i;
            break;
        }
    }

    if (anchorIndex == n) {
        // With pending support the host waits for newer frames instead.
        if (mSupportPending) {
            ZSL_LOGD("[ZSLSelector] fwkFrame:%u consumer list ts too old, select finished", fwkFrame);
            return result;
        }
        const std::vector<uint32_t> producer = metaQueue->getFrameNumList(kohal::PRODUCER_LIST);
        if (!producer.empty())
            ZSL_LOGI("[ZSLSelector] fwkFrame:%u [%s] Current Producer list: %s", fwkFrame,
                     metaQueue->getQueueName().c_str(), kohal::vectorToString(producer).c_str());
        for (size_t j = 0; j < producer.size(); ++j) {
            const void *record = metaQueue->getMetaFrame(producer[j]);
            if (!record)
                continue;
            const int64_t shutterTime = shutterTimeOf(record);
            ZSL_LOGI("[ZSLSelector] fwkFrame:%u Producer list: %u shutter time:%ld ", fwkFrame,
                     producer[j], shutterTime);
            anchorOffset = static_cast<int64_t>(j);
            if (shutterTime > zsdTs)
                break;
        }
    }

    // Step back so that one frame per request ends at the anchor.
    const int64_t requestCount = static_cast<int64_t>(info.requestMetas.size());
    const int64_t begin = anchorOffset + 1 + static_cast<int64_t>(n) - requestCount;
    uint32_t csbegin = begin < 0 ? 0 : static_cast<uint32_t>(begin);
    ZSL_LOGI("[ZSLSelector] fwkFrame:%u ZSLAnchor offset:%d csbegin:%d consumerQ[%s]", fwkFrame,
             static_cast<int32_t>(anchorOffset), static_cast<int32_t>(csbegin),
             kohal::vectorToString(consumer).c_str());

    // Every queue must hold the first frame; only that frame is tested.
    while (csbegin < n) {
        const uint32_t frameNum = consumer[csbegin];
        std::shared_ptr<kohal::ZSLFrameQueue> lacking;
        for (const std::shared_ptr<kohal::ZSLFrameQueue> &queue : info.zslQueues) {
            if (queue && !queue->getMetaFrame(frameNum)) {
                lacking = queue;
                break;
            }
        }
        if (!lacking)
            break;
        ZSL_LOGD("[ZSLSelector] fwkFrame:%u, cannot find zslFrame: %u in [%s], move begin to next",
                 fwkFrame, frameNum, lacking->getQueueName().c_str());
        ++csbegin;
    }

    for (size_t i = csbegin; i < n; ++i)
        if (consumer[i] > lastUsedFrameNum)
            selected.push_back(consumer[i]);

    // Producer frames continue the consumer list; when the anchor lies in the
    // consumer list they follow only an anchor at its very end.
    if (!mSupportPending) {
        const std::vector<uint32_t> producer = metaQueue->getFrameNumList(kohal::PRODUCER_LIST);
        int64_t start = -1;
        if (anchorOffset == -1)
            start = 0;
        else if (anchorOffset >= 0)
            start = anchorOffset + 1 > requestCount ? anchorOffset + 1 - requestCount : 0;
        if (start >= 0)
            for (size_t j = static_cast<size_t>(start); j < producer.size(); ++j)
                if (producer[j] > lastUsedFrameNum)
                    selected.push_back(producer[j]);
    }

    forEachZSLQ(info.zslQueues, [&result, &selected](std::shared_ptr<kohal::ZSLFrameQueue> queue) {
        if (queue)
            result[queue->getQueueId()] = selected;
    });
    return result;
}
