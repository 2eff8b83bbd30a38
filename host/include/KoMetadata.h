#pragma once
/*
 * KoMetadata: the host's camera-metadata container.
 *
 * Entries are keyed by 32-bit tag id and hold values of one Android
 * camera-metadata type; as in Android's camera metadata, the entries are
 * sorted by tag and their values lie in one contiguous 8-byte aligned block,
 * so find() by id is a binary search and `index` the entry's position. find()
 * by full tag name (vendor tags) goes through the tag table's name index. An
 * absent tag answers an entry with count 0. Concurrent find() calls on one
 * object are safe. The writers are for hosts and tests; as in Android, an
 * entry's data stays valid until the object is next written.
 */

#include <cstddef>
#include <cstdint>
#include <vector>

struct KoRational {
    int32_t numerator;
    int32_t denominator;
};

// Laid out as the Android camera-metadata read-only entry.
struct KoMetadataEntry {
    size_t index = 0;
    uint32_t tag = 0;
    uint8_t type = 0;
    size_t count = 0;
    union {
        const uint8_t *u8;
        const int32_t *i32;
        const float *f;
        const int64_t *i64;
        const double *d;
        const KoRational *r;
    } data{nullptr};
};

class KoMetadata {
public:
    // Android camera-metadata value type codes.
    enum Type : uint8_t {
        TYPE_BYTE = 0,
        TYPE_INT32 = 1,
        TYPE_FLOAT = 2,
        TYPE_INT64 = 3,
        TYPE_DOUBLE = 4,
        TYPE_RATIONAL = 5,
    };

    KoMetadataEntry find(uint32_t tag) const;
    KoMetadataEntry find(const char *name) const;

    // Writers: set a tag's values (any count, 0 included) or erase it. As in
    // Android's camera metadata, a tag the tag tables know only takes values
    // of its declared type; the writers answer false for another type, and
    // the by-name forms also for a name the tables do not know.
    bool update(uint32_t tag, const uint8_t *values, size_t count);
    bool update(uint32_t tag, const int32_t *values, size_t count);
    bool update(uint32_t tag, const float *values, size_t count);
    bool update(uint32_t tag, const int64_t *values, size_t count);
    bool update(uint32_t tag, const double *values, size_t count);
    bool update(uint32_t tag, const KoRational *values, size_t count);
    // Instantiated for uint8_t, int32_t, float, int64_t, double, KoRational.
    template <typename T> bool update(const char *name, const std::vector<T> &values);
    template <typename T> bool update(uint32_t tag, const std::vector<T> &values)
    {
        return update(tag, values.data(), values.size());
    }
    bool erase(uint32_t tag);
    bool erase(const char *name);

    // Tags present, in ascending id order.
    std::vector<uint32_t> tags() const;

private:
    struct Entry {
        uint32_t tag = 0;
        uint8_t type = TYPE_BYTE;
        size_t count = 0;
        size_t offset = 0; // in mData, in 8-byte words
        size_t words = 0;
    };

    bool store(uint32_t tag, uint8_t type, const void *values, size_t count, size_t width);
    std::vector<Entry>::const_iterator lowerBound(uint32_t tag) const;
    void release(std::vector<Entry>::const_iterator entry);

    std::vector<Entry> mEntries; // sorted by tag
    std::vector<uint64_t> mData; // every entry's values, 8-byte aligned for any type
};
