#pragma once
/*
 * Builders for the metadata and frame records a host hands a selector:
 * Meta() collects typed tag values by id or by name and builds a
 * shared KoMetadata; tag:: names the tags the selector reads.
 */

#include <KoMetadata.h>
#include <ZSLSelectorBase.h>

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace kohost {

namespace tag {
constexpr uint32_t AeExposureCompensation = 0x10001;
constexpr uint32_t AfMode = 0x10007;
constexpr uint32_t AeState = 0x1001f;
constexpr uint32_t AfState = 0x10020;
constexpr uint32_t EnableZsl = 0x10029;
constexpr uint32_t LensState = 0x80009;
constexpr const char *QuickSnapshot = "korvan.quicksnapshot.isQuickSnapshot";
constexpr const char *MotionCaptureType = "korvan.ai.kosd.motionCaptureType";
constexpr const char *AnchorTimeStamp = "korvan.mfnr.anchorTimeStamp";
constexpr const char *SuperResolution = "korvan.superResolution.enabled";
constexpr const char *MfnrEnabled = "korvan.mfnr.enabled";
constexpr const char *SensorMode = "com.korvan.ext.control.policy.sensorMode";
constexpr const char *McxFrameResult = "com.korvan.camera.sensorpolicy.mcxFrameresult";
constexpr const char *SensorPolicyMask = "com.korvan.camera.sensorpolicy.mask";
} // namespace tag

class Meta {
public:
    Meta() : mMeta(std::make_shared<KoMetadata>()) {}

    // A value the container refuses (unknown name, wrong type) is the
    // caller's mistake, not a case to run.
    template <typename T> Meta &set(uint32_t tagId, std::vector<T> values)
    {
        if (!mMeta->update(tagId, values))
            throw std::invalid_argument("tag 0x" + std::to_string(tagId) + " refused the values");
        return *this;
    }
    template <typename T> Meta &set(const char *name, std::vector<T> values)
    {
        if (!mMeta->update(name, values))
            throw std::invalid_argument(std::string(name) + " refused the values");
        return *this;
    }
    Meta &u8(uint32_t tagId, uint8_t value) { return set<uint8_t>(tagId, {value}); }
    Meta &u8(const char *name, uint8_t value) { return set<uint8_t>(name, {value}); }
    Meta &i32(uint32_t tagId, int32_t value) { return set<int32_t>(tagId, {value}); }
    Meta &i32(const char *name, int32_t value) { return set<int32_t>(name, {value}); }
    Meta &i64(const char *name, int64_t value) { return set<int64_t>(name, {value}); }

    // A frame whose focus and exposure have settled at EV 0.
    Meta &settled()
    {
        return i32(tag::AeExposureCompensation, 0)
            .u8(tag::AfMode, 4)
            .u8(tag::AfState, 2)
            .u8(tag::LensState, 0)
            .u8(tag::AeState, 2);
    }

    std::shared_ptr<KoMetadata> build() const { return mMeta; }
    operator std::shared_ptr<KoMetadata>() const { return mMeta; }

private:
    std::shared_ptr<KoMetadata> mMeta;
};

inline kohal::MetaInfo metaInfo(int64_t shutterTimeNs, std::shared_ptr<KoMetadata> metadata = nullptr,
                                std::vector<std::pair<int, std::shared_ptr<KoMetadata>>> physical = {})
{
    kohal::MetaInfo info;
    info.metadata = std::move(metadata);
    info.physicalMetadata = std::move(physical);
    info.shutterTime = shutterTimeNs;
    return info;
}

} // namespace kohost
