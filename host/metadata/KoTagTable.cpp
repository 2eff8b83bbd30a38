// The tags the host knows, Android's and the vendor's, with their ids, names
// and value types.

#include <KoMetadata.h>
#include <KoTagTable.h>

#include <string_view>
#include <unordered_map>

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

// Look-up tables built once, on first use: a selector looks a vendor tag up
// by name for nearly every value it reads.
template <typename Key> const std::unordered_map<Key, const KoTagInfo *> &index(Key (*keyOf)(const KoTagInfo &))
{
    static const std::unordered_map<Key, const KoTagInfo *> kIndex = [keyOf] {
        std::unordered_map<Key, const KoTagInfo *> built;
        for (const auto *table : {&kAndroidTags, &kVendorTags})
            for (const KoTagInfo &info : *table)
                built.emplace(keyOf(info), &info);
        return built;
    }();
    return kIndex;
}

template <typename Key> const KoTagInfo *lookUp(Key key, Key (*keyOf)(const KoTagInfo &))
{
    const auto &tags = index(keyOf);
    auto found = tags.find(key);
    return found == tags.end() ? nullptr : found->second;
}

std::string_view nameOf(const KoTagInfo &info)
{
    return info.name;
}

uint32_t idOf(const KoTagInfo &info)
{
    return info.id;
}

} // namespace

const KoTagInfo *KoTagTable::byName(const char *name)
{
    return name ? lookUp<std::string_view>(name, nameOf) : nullptr;
}

const KoTagInfo *KoTagTable::byId(uint32_t id)
{
    return lookUp<uint32_t>(id, idOf);
}

const std::vector<KoTagInfo> &KoTagTable::androidTags()
{
    return kAndroidTags;
}

const std::vector<KoTagInfo> &KoTagTable::vendorTags()
{
    return kVendorTags;
}
