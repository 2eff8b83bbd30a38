#pragma once
/*
 * KoTagTable: the names, ids and value types of the metadata tags the host
 * knows, the vendor tags of the selector plug-in and the Android tags it
 * reads. Used for look-up by name, and by hosts and tests to write and trace
 * metadata in the type a tag is declared with.
 */

#include <cstdint>
#include <vector>

struct KoTagInfo {
    const char *name;
    uint32_t id;
    uint8_t type; // KoMetadata::Type
};

class KoTagTable {
public:
    static constexpr uint32_t kVendorSectionStart = 0x80000000u;

    static const KoTagInfo *byName(const char *name);
    static const KoTagInfo *byId(uint32_t id);
    static const std::vector<KoTagInfo> &androidTags();
    static const std::vector<KoTagInfo> &vendorTags();
};
