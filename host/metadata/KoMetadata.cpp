// libcom.korvan.metadatautils for Linux: the metadata container, which keeps
// known tags at their declared type.

#include <KoMetadata.h>
#include <KoTagTable.h>

#include <cstring>
#include <iterator>

KoMetadataEntry KoMetadata::find(uint32_t tag) const
{
    KoMetadataEntry entry;
    auto it = mEntries.find(tag);
    if (it == mEntries.end())
        return entry;
    entry.index = static_cast<size_t>(std::distance(mEntries.begin(), it));
    entry.tag = tag;
    entry.type = it->second.type;
    entry.count = it->second.count;
    if (entry.count != 0)
        entry.data.u8 = reinterpret_cast<const uint8_t *>(it->second.words.data());
    return entry;
}

KoMetadataEntry KoMetadata::find(const char *name) const
{
    const KoTagInfo *info = name ? KoTagTable::byName(name) : nullptr;
    return info ? find(info->id) : KoMetadataEntry{};
}

bool KoMetadata::store(uint32_t tag, uint8_t type, const void *values, size_t count, size_t width)
{
    const KoTagInfo *info = KoTagTable::byId(tag);
    if (info && info->type != type)
        return false;
    Entry &entry = mEntries[tag];
    entry.type = type;
    entry.count = count;
    entry.words.assign((count * width + sizeof(uint64_t) - 1) / sizeof(uint64_t), 0);
    if (count != 0)
        std::memcpy(entry.words.data(), values, count * width);
    return true;
}

bool KoMetadata::update(uint32_t tag, const uint8_t *values, size_t count)
{
    return store(tag, TYPE_BYTE, values, count, sizeof(*values));
}

bool KoMetadata::update(uint32_t tag, const int32_t *values, size_t count)
{
    return store(tag, TYPE_INT32, values, count, sizeof(*values));
}

bool KoMetadata::update(uint32_t tag, const float *values, size_t count)
{
    return store(tag, TYPE_FLOAT, values, count, sizeof(*values));
}

bool KoMetadata::update(uint32_t tag, const int64_t *values, size_t count)
{
    return store(tag, TYPE_INT64, values, count, sizeof(*values));
}

bool KoMetadata::update(uint32_t tag, const double *values, size_t count)
{
    return store(tag, TYPE_DOUBLE, values, count, sizeof(*values));
}

bool KoMetadata::update(uint32_t tag, const KoRational *values, size_t count)
{
    return store(tag, TYPE_RATIONAL, values, count, sizeof(*values));
}

template <typename T> bool KoMetadata::update(const char *name, const std::vector<T> &values)
{
    const KoTagInfo *info = name ? KoTagTable::byName(name) : nullptr;
    if (!info)
        return false;
    return update(info->id, values.data(), values.size());
}

template bool KoMetadata::update(const char *, const std::vector<uint8_t> &);
template bool KoMetadata::update(const char *, const std::vector<int32_t> &);
template bool KoMetadata::update(const char *, const std::vector<float> &);
template bool KoMetadata::update(const char *, const std::vector<int64_t> &);
template bool KoMetadata::update(const char *, const std::vector<double> &);
template bool KoMetadata::update(const char *, const std::vector<KoRational> &);

bool KoMetadata::erase(uint32_t tag)
{
    return mEntries.erase(tag) != 0;
}

bool KoMetadata::erase(const char *name)
{
    const KoTagInfo *info = name ? KoTagTable::byName(name) : nullptr;
    return info && erase(info->id);
}

std::vector<uint32_t> KoMetadata::tags() const
{
    std::vector<uint32_t> ids;
    ids.reserve(mEntries.size());
    for (const auto &entry : mEntries)
        ids.push_back(entry.first);
    return ids;
}
