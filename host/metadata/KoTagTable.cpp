// The tags the host knows, Android's and the vendor's, with their ids, names
// and value types.

#include <KoMetadata.h>
#include <KoTagTable.h>

#include <cstring>

namespace {

const std::vector<KoTagInfo> kAndroidTags = {
    {"android.control.aeExposureCompensation", 0x10001, KoMetadata::TYPE_INT32},
    {"android.control.afMode", 0x10007, KoMetadata::TYPE_BYTE},
    {"android.control.aeState", 0x1001f, KoMetadata::TYPE_BYTE},
    {"android.control.afState", 0x10020, KoMetadata::TYPE_BYTE},
    {"android.control.enableZsl", 0x10029, KoMetadata::TYPE_BYTE},
    {"android.lens.state", 0x80009, KoMetadata::TYPE_BYTE},
};

// Vendor tags of the selector plug-in, one section per feature.
const std::vector<KoTagInfo> kVendorTags = {
    {"korvan.mfnr.enabled", 0x80010000, KoMetadata::TYPE_BYTE},
    {"korvan.mfnr.anchorTimeStamp", 0x80010001, KoMetadata::TYPE_INT64},
    {"korvan.ai.kosd.motionCaptureType", 0x80020000, KoMetadata::TYPE_INT32},
    {"korvan.quicksnapshot.isQuickSnapshot", 0x80030000, KoMetadata::TYPE_BYTE},
    {"korvan.superResolution.enabled", 0x80040000, KoMetadata::TYPE_BYTE},
    {"com.korvan.ext.control.policy.sensorMode", 0x80050000, KoMetadata::TYPE_INT32},
    {"com.korvan.camera.sensorpolicy.mask", 0x80060000, KoMetadata::TYPE_INT32},
    {"com.korvan.camera.sensorpolicy.mcxFrameresult", 0x80060001, KoMetadata::TYPE_INT32},
};

template <typename Match> const KoTagInfo *search(Match match)
{
    for (const auto *table : {&kAndroidTags, &kVendorTags})
        for (const KoTagInfo &info : *table)
            if (match(info))
                return &info;
    return nullptr;
}

} // namespace

const KoTagInfo *KoTagTable::byName(const char *name)
{
    return search([name](const KoTagInfo &info) { return std::strcmp(info.name, name) == 0; });
}

const KoTagInfo *KoTagTable::byId(uint32_t id)
{
    return search([id](const KoTagInfo &info) { return info.id == id; });
}

const std::vector<KoTagInfo> &KoTagTable::androidTags()
{
    return kAndroidTags;
}

const std::vector<KoTagInfo> &KoTagTable::vendorTags()
{
    return kVendorTags;
}
