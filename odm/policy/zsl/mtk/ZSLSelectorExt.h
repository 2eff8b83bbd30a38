#pragma once
/*
 * ZSLSelectorExt: the platform layer between the host's abstract selector and
 * the concrete selectors. It adds no data; it only supplies the platform's
 * sensor-mode check, which compares the sensor mode a buffered frame was
 * produced in with the one the request asks for.
 */

#include <ZSLSelectorBase.h>
#include <ZSLSelectorLog.h>

class ZSLSelectorExt : public kohal::ZSLSelectorBase {
public:
    std::pair<bool, bool> checkDesiredSensorMode(const kohal::ZSLFrameCheckInfo &info) override;
};

// The frame passes when its sensor mode equals the one the request asks for;
// -1 (no known mode) takes part like any other value. No sensor-mode queue
// refuses the frame.
inline std::pair<bool, bool> ZSLSelectorExt::checkDesiredSensorMode(const kohal::ZSLFrameCheckInfo &info)
{
    constexpr int32_t kSensorModeUnknown = -1;
    ZSL_LOGI("[ZSLSelector] checkFrameNum = %d fwkFrameNum = %d  reqtMasterId = %d masterRoleId = %d "
             "AiHLFrameNum = %d this = %p",
             info.checkFrameNum, info.fwkFrameNum, info.reqtMasterId, info.masterRoleId,
             info.AiHLFrameNum, static_cast<void *>(this));

    const std::shared_ptr<kohal::ZSLFrameQueue> sensorQueue =
        kohal::firstQueueOfType(info.zslQueues, kohal::ZSL_QUEUE_TYPE_SENSOR_MODE);
    if (!sensorQueue)
        return {false, false};

    int32_t perframeSensorMode = kSensorModeUnknown;
    if (const void *record = sensorQueue->getMetaFrame(info.checkFrameNum)) {
        perframeSensorMode = static_cast<const kohal::SensorModeFrame *>(record)->perframeSensorMode;
        ZSL_LOGD("[ZSLSelector] fwkFrame:%u zslFrame: %u zslFrame perframeSensorMode:%d",
                 info.fwkFrameNum, info.checkFrameNum, perframeSensorMode);
    } else {
        ZSL_LOGD("[ZSLSelector] fwkFrame:%u zslFrame: %u get metaFrame failed perframeSensorMode = %d",
                 info.fwkFrameNum, info.checkFrameNum, kSensorModeUnknown);
    }

    auto readDesiredSensorMode = [](std::shared_ptr<KoMetadata> request) -> int32_t {
        if (!request)
            return kSensorModeUnknown;
        KoMetadataEntry entry = request->find("com.korvan.ext.control.policy.sensorMode");
        if (entry.count == 0) {
            ZSL_LOGD("[ZSLSelector] get korvan.ext.control.policy.sensorMode failed, desiredSensorMode = %d",
                     kSensorModeUnknown);
            return kSensorModeUnknown;
        }
        const int32_t desiredSensorMode = entry.data.i32[0];
        ZSL_LOGD("[ZSLSelector] get korvan.ext.control.policy.sensorMode successful, desiredSensorMode = %d",
                 desiredSensorMode);
        return desiredSensorMode;
    };
    const int32_t reqDesiredSensorMode = readDesiredSensorMode(info.requestMeta);
    ZSL_LOGD("[ZSLSelector] fwkFrame:%u zslFrame: %u reqestFrame reqDesiredSensorMode:%d",
             info.fwkFrameNum, info.checkFrameNum, reqDesiredSensorMode);

    if (perframeSensorMode == reqDesiredSensorMode) {
        ZSL_LOGD("[ZSLSelector] checkDesiredSensorMode success!  fwkFrame:%u zslFrame: %u",
                 info.fwkFrameNum, info.checkFrameNum);
        return {true, true};
    }
    ZSL_LOGD("[ZSLSelector] checkDesiredSensorMode fail!  fwkFrame:%u zslFrame: %u", info.fwkFrameNum,
             info.checkFrameNum);
    return {false, false};
}
