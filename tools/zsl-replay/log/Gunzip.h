#pragma once
/*
 * Gunzip: gzip data unpacked through zlib, over any byte stream, several
 * members in a row too, as a ByteReader reads it. Damaged or cut data, and
 * data that expands like a zip bomb (checkExpansion), end the reading with
 * an outcome::Error.
 */

#include "log/LineSplitter.h"

#include <zlib.h>

#include <cstdint>
#include <string>

namespace zsl::log {

// Compressed data that expands beyond kBombBytes, and more than kBombRatio
// times its compressed size, is not a log: logs compress some 5 to 20 times.
constexpr uint64_t kBombBytes = uint64_t(64) << 20;
constexpr uint64_t kBombRatio = 100;

// Throws outcome::Error once `expanded` bytes from `compressed` look like a bomb.
void checkExpansion(uint64_t expanded, uint64_t compressed, const std::string &what);

class Gunzip {
public:
    Gunzip(ByteReader in, std::string what);
    ~Gunzip() { inflateEnd(&mZ); }
    Gunzip(const Gunzip &) = delete;
    Gunzip &operator=(const Gunzip &) = delete;

    // Up to `size` unpacked bytes; 0 at the end, -1 when the stream fails.
    long read(char *out, size_t size);

private:
    ByteReader mIn;
    std::string mWhat;
    z_stream mZ{};
    char mBuffer[1 << 16];
    uint64_t mCompressed = 0, mExpanded = 0;
    bool mBetweenMembers = true, mDone = false;
};

} // namespace zsl::log
