#pragma once
/*
 * The contract between the camera framework (the host) and a ZSL selector
 * plug-in, namespace kohal.
 *
 * The host builds against this same header: the order of the virtual
 * operations, the order and types of the record fields and the numeric codes
 * are shared by both sides and must not move. The host owns everything that
 * crosses this boundary (selector, queues, frame records, metadata); an
 * operation may hold extra shared references for the length of one call and
 * keeps none afterwards.
 */

#include <KoMetadata.h>
#include <StaticMetadataWraper.h>
#include <ZSLSelectorLog.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace kohal {

// Queue types answered by ZSLFrameQueue::getQueueType().
constexpr int ZSL_QUEUE_TYPE_META = 1;        // records are MetaFrame
constexpr int ZSL_QUEUE_TYPE_SENSOR_MODE = 2; // records are SensorModeFrame

// List types for ZSLFrameQueue::getFrameNumList().
constexpr int CONSUMER_LIST = 0;
constexpr int PRODUCER_LIST = 1;

// What the host keeps about one produced frame. The selector always works on
// a member-wise copy (new shared references), never on the queue's record.
struct MetaInfo {
    std::shared_ptr<KoMetadata> metadata;
    std::vector<std::pair<int, std::shared_ptr<KoMetadata>>> physicalMetadata;
    int64_t shutterTime = 0; // ns, boot-time clock
    uint8_t reserved[8] = {};

    MetaInfo() = default;
    MetaInfo(const MetaInfo &other) = default;
    MetaInfo &operator=(const MetaInfo &other) = default;
};

// Record of the metadata queue (type 1).
struct MetaFrame {
    uint64_t header[2] = {};
    MetaInfo metaInfo;
};

// Record of the sensor-mode queue (type 2).
struct SensorModeFrame {
    uint32_t header[7] = {};
    int32_t perframeSensorMode = -1;
};

// One ZSL queue of the camera pipeline, implemented by the host.
class ZSLFrameQueue {
public:
    virtual ~ZSLFrameQueue() = default;
    virtual int getQueueType() = 0;
    virtual std::string getQueueName() = 0;
    virtual uint32_t getQueueId() = 0;
    // The queue's read-only record of frameNum, or null when it holds no such
    // frame; valid until the caller has copied from it.
    virtual const void *getMetaFrame(uint32_t frameNum) = 0;
    virtual std::vector<uint32_t> getFrameNumList(int listType) = 0;
};

using ZSLQueueList = std::vector<std::shared_ptr<ZSLFrameQueue>>;

// The first queue of the given type, in list order, or null. Searches a copy
// of the list so that every queue stays alive while it is asked; a null
// element (which a host should not pass) is passed over.
inline std::shared_ptr<ZSLFrameQueue> firstQueueOfType(const ZSLQueueList &queues, int type)
{
    ZSLQueueList copy = queues;
    for (std::shared_ptr<ZSLFrameQueue> &queue : copy)
        if (queue && queue->getQueueType() == type)
            return std::move(queue); // the copy's reference, handed on
    return nullptr;
}

// One buffered frame to judge against one capture request. The hostReserved
// fields are the host's and never read by a selector.
struct ZSLFrameCheckInfo {
    uint32_t checkFrameNum = 0;
    std::shared_ptr<KoMetadata> requestMeta;
    uint32_t fwkFrameNum = 0;
    uint32_t hostReserved0 = 0;
    uint32_t logicalId = 0;
    uint32_t hostReserved1 = 0;
    uint32_t reqtMasterId = 0;
    uint32_t masterRoleId = 0;
    ZSLQueueList zslQueues;
    uint32_t hostReserved2 = 0;
    uint32_t AiHLFrameNum = 0;
};

// One capture request. requestMetas holds one metadata object per frame the
// capture wants; the first one is the one consulted.
struct ZSLFrameSelectInfo {
    uint32_t fwkFrameNum = 0;
    std::vector<uint32_t> usedFrameNums;
    uint32_t hostReserved0 = 0;
    ZSLQueueList zslQueues;
    std::vector<std::shared_ptr<KoMetadata>> requestMetas;
};

// Key order of the selection result: unsigned, so 2147483648 sorts after
// 2147483647.
struct CompareRule {
    bool operator()(uint32_t lhs, uint32_t rhs) const { return lhs < rhs; }
};

using ZSLSelection = std::map<uint32_t, std::vector<uint32_t>, CompareRule>;

// Text of a frame-number list in log lines: each number followed by one blank.
template <typename T> std::string vectorToString(const std::vector<T> &values)
{
    std::string text;
    for (const T &value : values) {
        text += std::to_string(value);
        text += ' ';
    }
    return text;
}

// The abstract selector. The virtual table order is binding: the host calls
// through it.
class ZSLSelectorBase {
public:
    ZSLSelectorBase() = default;

    virtual bool isSelectorNeeded(const ZSLFrameSelectInfo &info) = 0;
    virtual std::pair<bool, bool> checkFrame(const ZSLFrameCheckInfo &info) = 0;
    virtual int preCheckFrame(std::vector<uint32_t> & /*frameNums*/, int /*arg*/) { return 0; }
    virtual std::pair<bool, bool> checkDesiredSensorMode(const ZSLFrameCheckInfo &info);
    virtual ~ZSLSelectorBase() = default;
    virtual ZSLSelection selectZSLFrames(const ZSLFrameSelectInfo &info) = 0;

    // Calls func once per queue, in list order; each call holds its own
    // references to the queue for exactly its duration.
    void forEachZSLQ(const ZSLQueueList &queues,
                     std::function<void(std::shared_ptr<ZSLFrameQueue>)> func)
    {
        for (auto it = queues.begin(), end = queues.end(); it != end; ++it) {
            std::shared_ptr<ZSLFrameQueue> queue = *it;
            func(queue);
        }
    }

protected:
    std::string mName = "ZSLSelectorBase";
    int32_t mReservedId = -1;
    bool mSupportPending = false;
    bool mReservedFlag1 = false;
    bool mReservedFlag2 = false;
    bool mReservedFlag3 = false;
    // Only ever goes from 0 to the camera's non-zero mask; atomic so that first
    // calls from several host threads may race to fill it.
    std::atomic<int32_t> mSensorPolicyMask{0};
};

// The plug-in's one exported entry, found by the host by name: appends one
// new selector to the host's list.
using ZSLSelectorList = std::vector<std::shared_ptr<ZSLSelectorBase>>;
using CreateZSLSelectorFn = void (*)(ZSLSelectorList &selectors);
constexpr const char *kCreateZSLSelectorSymbol = "createZSLSelector";

// The sensor-policy check every selector gets unless it overrides it. A
// camera without a sensor policy (no non-zero mask in its static metadata),
// or a host without a sensor-mode queue, waves the frame through; otherwise
// the frame's sensor mode type must equal the one the request's sensor-policy
// result gives its camera role. 15 is unknown on either side and never
// matches.
inline std::pair<bool, bool> ZSLSelectorBase::checkDesiredSensorMode(const ZSLFrameCheckInfo &info)
{
    constexpr int32_t SENSOR_MODE_TYPE_UNKNOWN = 15;
    constexpr size_t kFrameResultWords = 29; // up to the fourth role record
    constexpr int kRoleKeyWord = 2;
    constexpr int kModeSelectMaskWord = 4;
    constexpr int kRoleRecordWords = 7;

    if (mSensorPolicyMask.load() == 0) {
        int32_t mask = 0;
        bool found = false;
        {
            std::shared_ptr<KoMetadata> staticMeta =
                StaticMetadataWraper::getInstance()->getStaticMetadata(info.logicalId);
            KoMetadataEntry entry =
                staticMeta ? staticMeta->find("com.korvan.camera.sensorpolicy.mask") : KoMetadataEntry{};
            if (entry.count != 0) {
                mask = entry.data.i32[0];
                found = true;
            }
        }
        if (found) {
            // Goes from 0 to the camera's mask once; a racing first call
            // stores the same value, and 0 is never stored over a mask.
            int32_t expected = 0;
            if (mask != 0)
                mSensorPolicyMask.compare_exchange_strong(expected, mask);
            ZSL_LOGD("[ZSLSelector] logicalId:%d, mSensorPolicyMask:%d", info.logicalId, mask);
        }
        if (mSensorPolicyMask.load() == 0) {
            ZSL_LOGD("[ZSLSelector] not support sensor policy, skip sensor mode checking.");
            return {true, true};
        }
    }

    const std::shared_ptr<ZSLFrameQueue> sensorQueue =
        firstQueueOfType(info.zslQueues, ZSL_QUEUE_TYPE_SENSOR_MODE);
    if (!sensorQueue)
        return {true, true};

    int32_t frameModeType = SENSOR_MODE_TYPE_UNKNOWN;
    if (const void *record = sensorQueue->getMetaFrame(info.checkFrameNum)) {
        frameModeType = static_cast<const SensorModeFrame *>(record)->perframeSensorMode;
        ZSL_LOGD("[ZSLSelector] fwkFrame:%u zslFrame: %u zslFrame koholder::sensorModetype:%d",
                 info.fwkFrameNum, info.checkFrameNum, frameModeType);
    } else {
        ZSL_LOGD("[ZSLSelector] fwkFrame:%u zslFrame: %u get metaFrame failed", info.fwkFrameNum,
                 info.checkFrameNum);
    }

    // The request's sensor mode type: the 4-bit field of modeSelectMask that
    // belongs to the camera role whose record starts with roleKey.
    auto getDesiredSensorMode = [](std::shared_ptr<KoMetadata> request) -> int32_t {
        KoMetadataEntry entry = request ? request->find("com.korvan.camera.sensorpolicy.mcxFrameresult")
                                        : KoMetadataEntry{};
        if (entry.count < kFrameResultWords) {
            ZSL_LOGD("[ZSLSelector] not find mcxFrameresult");
            return SENSOR_MODE_TYPE_UNKNOWN;
        }
        const int32_t *words = entry.data.i32;
        int32_t cameraRoleType = 5;
        uint32_t modeOffset = 4; // no role matched: the second field
        for (int role = 1; role <= 4; ++role) {
            if (words[kRoleKeyWord] == words[kRoleRecordWords * role]) {
                cameraRoleType = role;
                modeOffset = 4 * static_cast<uint32_t>(role - 1);
                break;
            }
        }
        const uint32_t modeSelectMask = static_cast<uint32_t>(words[kModeSelectMaskWord]);
        const int32_t sensorModetype =
            static_cast<int32_t>((modeSelectMask & (0xFu << modeOffset)) >> modeOffset);
        ZSL_LOGD("[ZSLSelector] getDesiredSensorMode cameraRoleType:%d modeSelectMask:0x%x "
                 "modeOffset:%d sensorModetype%d",
                 cameraRoleType, modeSelectMask, modeOffset, sensorModetype);
        return sensorModetype;
    };
    const int32_t reqModeType = getDesiredSensorMode(info.requestMeta);
    ZSL_LOGD("[ZSLSelector] fwkFrame:%u zslFrame: %u reqestFrame koholder::sensorModetype:%d",
             info.fwkFrameNum, info.checkFrameNum, reqModeType);

    if (reqModeType != SENSOR_MODE_TYPE_UNKNOWN && frameModeType != SENSOR_MODE_TYPE_UNKNOWN &&
        reqModeType == frameModeType) {
        ZSL_LOGD("[ZSLSelector] checkDesiredSensorMode success!  fwkFrame:%u zslFrame: %u",
                 info.fwkFrameNum, info.checkFrameNum);
        return {true, true};
    }
    ZSL_LOGD("[ZSLSelector] checkDesiredSensorMode fail!  fwkFrame:%u zslFrame: %u", info.fwkFrameNum,
             info.checkFrameNum);
    return {false, true};
}

} // namespace kohal

// The layout checks every build of this header makes.
#include <ZSLSelectorAbi.h>
