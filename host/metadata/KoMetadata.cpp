// libcom.korvan.metadatautils for Linux: the metadata container, which keeps
// known tags at their declared type, entries sorted by tag and values in one
// block, as Android's camera metadata does.

#include <KoMetadata.h>
#include <KoTagTable.h>

#include <algorithm>
#include <cstring>

std::vector<KoMetadata::Entry>::const_iterator KoMetadata::lowerBound(uint32_t tag) const
{
    return std::lower_bound(mEntries.begin(), mEntries.end(), tag,
                            [](const Entry &entry, uint32_t key) { return entry.tag < key; });
}

KoMetadataEntry KoMetadata::find(uint32_t tag) const
{
    KoMetadataEntry entry;
    auto it = lowerBound(tag);
    if (it == mEntries.end() || it->tag != tag)
        return entry;
    entry.index = static_cast<size_t>(it - mEntries.begin());
    entry.tag = tag;
    entry.type = it->type;
    entry.count = it->count;
    if (entry.count != 0)
        entry.data.u8 = reinterpret_cast<const uint8_t *>(mData.data() + it->offset);
    return entry;
}

KoMetadataEntry KoMetadata::find(const char *name) const
{
    const KoTagInfo *info = KoTagTable::byName(name);
    return info ? find(info->id) : KoMetadataEntry{};
}

// Removes an entry's values from the block; later values move down.
void KoMetadata::release(std::vector<Entry>::const_iterator entry)
{
    const size_t offset = entry->offset, words = entry->words;
    mData.erase(mData.begin() + static_cast<std::ptrdiff_t>(offset),
                mData.begin() + static_cast<std::ptrdiff_t>(offset + words));
    for (Entry &other : mEntries)
        if (other.offset > offset)
            other.offset -= words;
}

bool KoMetadata::store(uint32_t tag, uint8_t type, const void *values, size_t count, size_t width)
{
    const KoTagInfo *info = KoTagTable::byId(tag);
    if (info && info->type != type)
        return false;
    const size_t words = (count * width + sizeof(uint64_t) - 1) / sizeof(uint64_t);
    const auto at = lowerBound(tag);
    const size_t position = static_cast<size_t>(at - mEntries.begin());
    if (at == mEntries.end() || at->tag != tag) {
        mEntries.insert(at, Entry{tag, type, 0, mData.size(), 0});
    } else if (at->words != words) { // values of another size go to the end of the block
        release(at);
        mEntries[position].offset = mData.size();
        mEntries[position].words = 0;
    }
    Entry &entry = mEntries[position];
    if (entry.words != words)
        mData.resize(mData.size() + words);
    entry.type = type;
    entry.count = count;
    entry.words = words;
    std::fill_n(mData.begin() + static_cast<std::ptrdiff_t>(entry.offset), words, 0);
    if (count != 0)
        std::memcpy(mData.data() + entry.offset, values, count * width);
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
    const KoTagInfo *info = KoTagTable::byName(name);
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
    auto at = lowerBound(tag);
    if (at == mEntries.end() || at->tag != tag)
        return false;
    release(at);
    mEntries.erase(at);
    return true;
}

bool KoMetadata::erase(const char *name)
{
    const KoTagInfo *info = KoTagTable::byName(name);
    return info && erase(info->id);
}

std::vector<uint32_t> KoMetadata::tags() const
{
    std::vector<uint32_t> ids;
    ids.reserve(mEntries.size());
    for (const Entry &entry : mEntries)
        ids.push_back(entry.tag);
    return ids;
}
