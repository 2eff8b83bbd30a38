#pragma once
/*
 * ByteScan: the searches a log's bytes go through before they are lines:
 * where the next line a reader wants may stand (one of the filter's marks),
 * and the lines before it, counted many bytes at a time. Most lines of a
 * phone's log are another component's, so these loops are what reading
 * costs: they compare 32 bytes at a time where the processor has AVX2, 16
 * where it has SSE2 (every x86-64), and 8 in a word elsewhere (arm64).
 */

#include "log/LineSplitter.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace zsl::log {

// Which bytes start a wanted line, as two tables of sixteen looked up by a
// byte's low and high half: none when the starts have more than eight
// different high halves.
struct StartTables {
    uint8_t low[16] = {};
    uint8_t high[16] = {};
};
std::optional<StartTables> startTables(std::string_view starts);

class ByteScan {
public:
    // The widest loop used: the best this processor has, or narrower (for
    // tests, which compare every width with the bytes one by one).
    enum class Width { Best, Sse2, Word, Byte };
    explicit ByteScan(const LineFilter &filter, Width widest = Width::Best);

    // Whether a line starting with `c` is wanted whatever it holds.
    bool startsWanted(char c) const { return mStarts[static_cast<unsigned char>(c)]; }
    // The first place in [from, end) where any mark stands; `end` when none.
    const char *findMark(const char *from, const char *end) const;
    // Passes over the lines that end before `until` (no mark is in them:
    // `until` is the first), stopping early at one that starts with a wanted
    // byte. Answers where the first line not passed over starts, and counts
    // the lines passed in `number`.
    const char *skipLines(const char *at, const char *until, const char *end, uint64_t &number) const;

private:
    const char *findEachMark(const char *from, const char *end) const;

    std::vector<std::string_view> mMarks;
    std::vector<size_t> mAnchors; // where in each mark to look first
    size_t mLongest = 0;
    bool mInOnePass = false; // few marks of two bytes or more: searched together
    bool mAvx2 = false, mSse2 = false, mWord = false;
    std::array<bool, 256> mStarts{};
    std::optional<StartTables> mStartTables; // the same, for a vector's bytes
};

} // namespace zsl::log
