#include "ZSLSelectorDefault.h"

#include <KoMetadata.h>
#include <cutils/properties.h>

#include <memory>
#include <vector>

namespace {

// Pending-frame support, fixed when the library is loaded: a change of the
// property reaches new selectors only after the library is loaded again.
const int32_t gSupportPending =
    property_get_bool("persist.vendor.kohal.selector.pending.mask", 0) ? 1 : 0;

constexpr uint32_t kTagEnableZsl = 0x10029; // android.control.enableZsl

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

kohal::ZSLSelection ZSLSelectorDefault::selectZSLFrames(const kohal::ZSLFrameSelectInfo &)
{
    // Placeholder until frame selection lands: nothing selected.
    return {};
}
