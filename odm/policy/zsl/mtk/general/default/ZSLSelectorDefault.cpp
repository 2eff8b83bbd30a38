// The default ZSL selector: the factory and load-time switch, the selector's
// configuration, frame selection, the frame check and the metadata rules.

#include "ZSLSelectorDefault.h"

#include <KoMetadata.h>
#include <cutils/properties.h>
#include <utils/Timers.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

// Pending-frame support, fixed when the library is loaded: a change of the
// property reaches new selectors only after the library is loaded again.
const int32_t gSupportPending =
    property_get_bool("persist.vendor.kohal.selector.pending.mask", 0) ? 1 : 0;

constexpr uint32_t kTagEnableZsl = 0x10029;              // android.control.enableZsl
constexpr uint32_t kTagAeExposureCompensation = 0x10001; // android.control.aeExposureCompensation
constexpr uint32_t kTagAfMode = 0x10007;                 // android.control.afMode
constexpr uint32_t kTagAeState = 0x1001f;                // android.control.aeState
constexpr uint32_t kTagAfState = 0x10020;                // android.control.afState
constexpr uint32_t kTagLensState = 0x80009;              // android.lens.state
constexpr const char *kTagAnchorTimeStamp = "korvan.mfnr.anchorTimeStamp";
constexpr const char *kTagMotionCaptureType = "korvan.ai.kosd.motionCaptureType";
constexpr const char *kTagQuickSnapshot = "korvan.quicksnapshot.isQuickSnapshot";
constexpr const char *kTagSuperResolution = "korvan.superResolution.enabled";
constexpr const char *kTagMfnrEnabled = "korvan.mfnr.enabled";

// Motion capture: low byte 1. The anchor is pushed 30 ms later when any of
// bits 16..19 is set, 60 ms otherwise.
constexpr uint32_t kMotionCaptureLowByte = 0x1;
constexpr uint32_t kMotionCaptureNearMask = 0xF0000;
constexpr double kMotionCaptureNearNs = 30000000.0;
constexpr double kMotionCaptureFarNs = 60000000.0;

// A log argument that costs work, a list's text or a queue's name: made at
// its first use by an open gate and kept for the other output and the later
// lines of the call; never made while every gate stays closed.
template <typename Make> class LazyLogText {
public:
    explicit LazyLogText(Make make) : mMake(std::move(make)) {}
    const char *c_str()
    {
        if (!mMade) {
            mText = mMake();
            mMade = true;
        }
        return mText.c_str();
    }

private:
    Make mMake;
    std::string mText;
    bool mMade = false;
};

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

// ---------------------------------------------------------------------------
// Metadata qualification: may a buffered (history) frame stand in for the
// request (target)? Same EV, and settled focus and exposure unless bypassed.

const std::vector<uint8_t> kAcceptedAeStates = {2, 3, 4}; // CONVERGED, LOCKED, FLASH_REQUIRED

std::string joinValues(const std::vector<uint8_t> &values)
{
    std::string text;
    for (uint8_t value : values)
        text += (text.empty() ? "" : ",") + std::to_string(value);
    return text;
}

std::string afInfoText(uint8_t afMode, uint8_t afState, uint8_t lensState)
{
    return "afMode=" + std::to_string(afMode) + " afState=" + std::to_string(afState) +
           " lensState=" + std::to_string(lensState);
}

// A motion capture's frames are taken while things move: no AF/AE wait.
bool isMotionByPassAeAfStableCheck(std::shared_ptr<KoMetadata> meta)
{
    KoMetadataEntry entry = meta->find(kTagMotionCaptureType);
    if (entry.count == 0)
        return false;
    const uint32_t motionCapType = static_cast<uint32_t>(entry.data.i32[0]);
    if (!isMotionCapture(motionCapType))
        return false;
    ZSL_LOGD("bypass AF/AE stable check for motion cap: 0x%x", motionCapType);
    return true;
}

bool isRequiredEV(std::shared_ptr<KoMetadata> history, std::shared_ptr<KoMetadata> target)
{
    // A missing EV counts as 0 on either side.
    auto readEV = [](std::shared_ptr<KoMetadata> meta, bool isTarget) -> int32_t {
        KoMetadataEntry entry = meta->find(kTagAeExposureCompensation);
        if (entry.count == 0) {
            ZSL_LOGD("cannot get EV setting, set default EV=%d", 0);
            return 0;
        }
        const int32_t ev = entry.data.i32[0];
        if (isTarget)
            ZSL_LOGD(" get EV setting=%d", ev);
        else
            ZSL_LOGD("get EV setting=%d", ev);
        return ev;
    };
    const int32_t historyEV = readEV(history, false);
    const int32_t targetEV = readEV(target, true);
    if (historyEV == targetEV) {
        ZSL_LOGD("isRequiredEV OK: EV=%d", historyEV);
        return true;
    }
    ZSL_LOGD("isRequiredEV fail: EV(History)=%d, EV(Target)=%d", historyEV, targetEV);
    return false;
}

bool isAFStable(std::shared_ptr<KoMetadata> meta)
{
    if (isMotionByPassAeAfStableCheck(meta))
        return true;
    KoMetadataEntry entry = meta->find(kTagAfMode);
    if (entry.count == 0) {
        ZSL_LOGD("android.control.afMode tag not found! ");
        return false;
    }
    const uint8_t afMode = entry.data.u8[0];
    entry = meta->find(kTagAfState);
    if (entry.count == 0) {
        ZSL_LOGD("android.control.afState tag not found!");
        return false;
    }
    const uint8_t afState = entry.data.u8[0];
    entry = meta->find(kTagLensState);
    if (entry.count == 0) {
        ZSL_LOGD("android.lens.state not found!");
        return false;
    }
    const uint8_t lensState = entry.data.u8[0];

    // AUTO, MACRO and both continuous modes: settled once the lens stands
    // and AF reports a result (PASSIVE_FOCUSED, or FOCUSED_LOCKED and up), or
    // AF is INACTIVE with the lens STATIONARY. OFF, EDOF and unknown modes
    // have nothing to wait for.
    const bool focusing = afMode >= 1 && afMode <= 4;
    const bool stable = !focusing || (lensState != 1 && (afState == 2 || afState >= 4)) ||
                        (lensState == 0 && afState == 0);
    if (stable)
        ZSL_LOGD("AF ok: %s", afInfoText(afMode, afState, lensState).c_str());
    else
        ZSL_LOGD("AF fail: %s", afInfoText(afMode, afState, lensState).c_str());
    return stable;
}

bool isMatched(const char *caller, std::shared_ptr<KoMetadata> meta, uint32_t tag,
               const std::vector<uint8_t> &targetValues)
{
    KoMetadataEntry entry = meta->find(tag);
    if (entry.count == 0) {
        ZSL_LOGD("[%s] tag(%#x) not found!", caller, tag);
        return false;
    }
    const uint8_t val = entry.data.u8[0];
    ZSL_LOGD("[%s] tag(%#x) val=%s target=%s bc=%d", caller, tag, std::to_string(val).c_str(),
             joinValues(targetValues).c_str(), 0);
    return std::find(targetValues.begin(), targetValues.end(), val) != targetValues.end();
}

bool isAEStable(std::shared_ptr<KoMetadata> meta)
{
    if (isMotionByPassAeAfStableCheck(meta))
        return true;
    return isMatched("isAEStable", meta, kTagAeState, kAcceptedAeStates);
}

bool isQualify(std::shared_ptr<KoMetadata> history, std::shared_ptr<KoMetadata> target)
{
    if (!history || !target) {
        ZSL_LOGD("Metadata is nullptr");
        return false;
    }
    KoMetadataEntry entry = target->find(kTagQuickSnapshot);
    const bool isQuickSnapshot = entry.count != 0 && entry.data.u8[0] != 0;
    // Even a quick snapshot needs the request's EV.
    if (!isRequiredEV(history, target)) {
        ZSL_LOGD("hf does not include tareget EV");
        return false;
    }
    if (isQuickSnapshot) {
        ZSL_LOGD("QuickSnapshot bypass check AF/AE ");
    } else {
        if (!isAFStable(history)) {
            ZSL_LOGD("AF X");
            return false;
        }
        if (!isAEStable(history)) {
            ZSL_LOGD("AE X");
            return false;
        }
    }
    ZSL_LOGD("hf OK");
    return true;
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
    // Wraps like the device's 64-bit sum instead of overflowing undefined.
    mZSLTimeDiffMs = static_cast<int64_t>(static_cast<uint64_t>(defaultMs) + static_cast<uint64_t>(projectMs) +
                                          static_cast<uint64_t>(userMs));
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

std::pair<bool, bool> ZSLSelectorDefault::checkFrame(const kohal::ZSLFrameCheckInfo &info)
{
    const std::shared_ptr<kohal::ZSLFrameQueue> metaQueue =
        kohal::firstQueueOfType(info.zslQueues, kohal::ZSL_QUEUE_TYPE_META);
    if (!metaQueue)
        return {true, true};

    // A frame the metadata queue no longer holds is not refused for it.
    if (const void *record = metaQueue->getMetaFrame(info.checkFrameNum)) {
        const kohal::MetaInfo metaInfo(static_cast<const kohal::MetaFrame *>(record)->metaInfo);
        bool qualified = true;
        if (!metaInfo.physicalMetadata.empty()) {
            // Every camera is judged, so that every failing one is logged.
            for (const auto &camera : metaInfo.physicalMetadata) {
                if (!isQualify(camera.second, info.requestMeta)) {
                    ZSL_LOGD("[ZSLSelector] fwkFrame:%u, No zslFrame: %u ,camid:%d invalid",
                             info.fwkFrameNum, info.checkFrameNum, camera.first);
                    qualified = false;
                }
            }
        } else if (!isQualify(metaInfo.metadata, info.requestMeta)) {
            ZSL_LOGD("[ZSLSelector] fwkFrame:%u, No zslFrame: %uinvalid", info.fwkFrameNum,
                     info.checkFrameNum);
            qualified = false;
        }
        if (!qualified)
            return {false, true};
    }

    if (!info.requestMeta)
        return {true, true};

    // Super resolution and multi-frame noise reduction need the frame from
    // the sensor mode the request wants; only the value 1 switches them on.
    bool srEnable = false;
    KoMetadataEntry entry = info.requestMeta->find(kTagSuperResolution);
    if (entry.count != 0) {
        srEnable = entry.data.u8[0] == 1;
        ZSL_LOGD("[ZSLSelector] get korvan.superResolution.enabled successful, srEnable = %d", srEnable);
    } else {
        ZSL_LOGD("[ZSLSelector] get korvan.superResolution.enabled failed, srEnable = %d", 0);
    }
    entry = info.requestMeta->find(kTagMfnrEnabled);
    const bool mfnrEnable = entry.count != 0 && entry.data.u8[0] == 1;

    if (srEnable || mfnrEnable)
        return checkDesiredSensorMode(info);
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
    LazyLogText metaName([&metaQueue] { return metaQueue->getQueueName(); });
    LazyLogText consumerText([&consumer] { return kohal::vectorToString(consumer); });
    if (consumer.empty())
        ZSL_LOGI("[ZSLSelector] fwkFrame:%u [%s] Current Consumer list none", fwkFrame, metaName.c_str());
    else
        ZSL_LOGI("[ZSLSelector] fwkFrame:%u [%s] Current Consumer list: %s", fwkFrame, metaName.c_str(),
                 consumerText.c_str());

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
        LazyLogText producerText([&producer] { return kohal::vectorToString(producer); });
        if (!producer.empty())
            ZSL_LOGI("[ZSLSelector] fwkFrame:%u [%s] Current Producer list: %s", fwkFrame, metaName.c_str(),
                     producerText.c_str());
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
             static_cast<int32_t>(anchorOffset), static_cast<int32_t>(csbegin), consumerText.c_str());

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
        LazyLogText lackingName([&lacking] { return lacking->getQueueName(); });
        ZSL_LOGD("[ZSLSelector] fwkFrame:%u, cannot find zslFrame: %u in [%s], move begin to next",
                 fwkFrame, frameNum, lackingName.c_str());
        ++csbegin;
    }

    // Producer frames continue the consumer list; when the anchor lies in the
    // consumer list they follow only an anchor at its very end. The producer
    // list is fetched before the selection is built, so that the selection is
    // sized once; no host call moves.
    std::vector<uint32_t> producer;
    int64_t start = -1;
    if (!mSupportPending) {
        producer = metaQueue->getFrameNumList(kohal::PRODUCER_LIST);
        if (anchorOffset == -1)
            start = 0;
        else if (anchorOffset >= 0)
            start = anchorOffset + 1 > requestCount ? anchorOffset + 1 - requestCount : 0;
    }
    const size_t fromProducer =
        start >= 0 && static_cast<size_t>(start) < producer.size() ? producer.size() - static_cast<size_t>(start) : 0;
    selected.reserve((n > csbegin ? n - csbegin : 0) + fromProducer);
    for (size_t i = csbegin; i < n; ++i)
        if (consumer[i] > lastUsedFrameNum)
            selected.push_back(consumer[i]);
    if (start >= 0)
        for (size_t j = static_cast<size_t>(start); j < producer.size(); ++j)
            if (producer[j] > lastUsedFrameNum)
                selected.push_back(producer[j]);

    forEachZSLQ(info.zslQueues, [&result, &selected](std::shared_ptr<kohal::ZSLFrameQueue> queue) {
        if (queue)
            result[queue->getQueueId()] = selected;
    });
    return result;
}
