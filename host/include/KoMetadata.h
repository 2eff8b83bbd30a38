#pragma once
/*
 * KoMetadata: the host's camera-metadata container.
 *
 * Entries are keyed by 32-bit tag id and hold contiguous values of one
 * Android camera-metadata type. Selectors only read, through find() by tag id
 * (Android tags) or by full tag name (vendor tags); an absent tag answers an
 * entry with count 0. Concurrent find() calls on one object are safe. The
 * writers are for hosts and tests; an entry's data stays valid while the
 * object lives and that tag is not written again.
 */

#include <cstddef>
#include <cstdint>
#include <map>
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
        uint8_t type = TYPE_BYTE;
        size_t count = 0;
        std::vector<uint64_t> words; // 8-byte aligned storage for any type
    };

    bool store(uint32_t tag, uint8_t type, const void *values, size_t count, size_t width);

    std::map<uint32_t, Entry> mEntries;
};
