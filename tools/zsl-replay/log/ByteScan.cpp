// The byte loops under the line splitter, as wide as the processor allows.

#include "log/ByteScan.h"

#include <algorithm>
#include <cstring>

#if defined(__x86_64__) && defined(__GNUC__)
#define ZSL_SCAN_AVX2 1
#include <immintrin.h>
#elif defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace zsl::log {

namespace {

// Marks searched together, at most.
constexpr size_t kMostMarks = 4;

// Where in a mark to look first: at its rarest byte in a log, so that the
// search stops seldom (for "chatty" at 'y': 'c' is in every hex number).
size_t anchorOf(std::string_view mark)
{
    auto rarity = [](char c) {
        if (c >= 'G' && c <= 'Z')
            return 0;
        if (std::strchr("jkqvwxyz", c) && c != '\0')
            return 1;
        if ((c >= 'g' && c <= 'z') || (c >= 'A' && c <= 'Z'))
            return 2;
        return 3;
    };
    size_t best = 0;
    for (size_t i = 1; i < mark.size(); ++i)
        if (rarity(mark[i]) < rarity(mark[best]))
            best = i;
    return best;
}

// The first place in [from, end) where `mark` stands, found by its anchor byte; `end` when none.
const char *findOneMark(const char *from, const char *end, std::string_view mark, size_t anchor)
{
    const char *at = from + anchor;
    while (at < end) {
        const char *hit = static_cast<const char *>(std::memchr(at, mark[anchor], static_cast<size_t>(end - at)));
        if (!hit)
            break;
        const char *start = hit - anchor;
        if (static_cast<size_t>(end - start) >= mark.size() && std::memcmp(start, mark.data(), mark.size()) == 0)
            return start;
        at = hit + 1;
    }
    return end;
}

#if defined(__SSE2__)
// The mark among `marks` that starts at each place whose bit is set, if any.
const char *confirmed(const char *from, unsigned bits, const std::vector<std::string_view> &marks)
{
    for (; bits != 0; bits &= bits - 1) {
        const char *start = from + __builtin_ctz(bits);
        for (std::string_view mark : marks)
            if (std::memcmp(start, mark.data(), mark.size()) == 0)
                return start;
    }
    return nullptr;
}
#endif

// The high bit of each byte of `word` that is a newline: exact, with no
// carry from one byte into the next.
inline uint64_t newlineBits(uint64_t word)
{
    constexpr uint64_t kLow7 = 0x7F7F7F7F7F7F7F7FULL;
    const uint64_t x = word ^ 0x0A0A0A0A0A0A0A0AULL;
    return ~(((x & kLow7) + kLow7) | x | kLow7);
}

} // namespace

// A byte is a wanted start when its entries in the two tables share a bit:
// each high half-byte among the starts has a bit of its own, set in `low` at
// the low half-byte of each start that has it. Eight such bits at most.
std::optional<StartTables> startTables(std::string_view starts)
{
    StartTables tables;
    int bits = 0;
    for (const char c : starts) {
        const auto byte = static_cast<unsigned char>(c);
        auto &bit = tables.high[byte >> 4];
        if (bit == 0) {
            if (bits == 8)
                return std::nullopt;
            bit = static_cast<uint8_t>(1u << bits++);
        }
        tables.low[byte & 0x0f] |= bit;
    }
    return tables;
}

namespace {

#if ZSL_SCAN_AVX2
bool hasAvx2()
{
    static const bool has = (__builtin_cpu_init(), __builtin_cpu_supports("avx2"));
    return has;
}

// Thirty-two places at a time, each with a mark's first and last byte in
// place: such a pair is rare, and only it is compared whole. For `Count`
// marks, so that the loop over them unrolls and its vectors stay in
// registers. Advances `from` past the places searched; answers the mark
// found, if any.
template <size_t Count> __attribute__((target("avx2"))) const char *
marksAvx2(const char *&from, const char *end, const std::vector<std::string_view> &marks, size_t longest)
{
    __m256i firstBytes[Count], lastBytes[Count];
    size_t lastAt[Count];
    for (size_t i = 0; i < Count; ++i) {
        firstBytes[i] = _mm256_set1_epi8(marks[i].front());
        lastBytes[i] = _mm256_set1_epi8(marks[i].back());
        lastAt[i] = marks[i].size() - 1;
    }
    const char *at = from, *hit = nullptr;
    for (; at + longest - 1 + 32 <= end; at += 32) {
        const __m256i starts = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(at));
        __m256i pairs = _mm256_setzero_si256();
        for (size_t i = 0; i < Count; ++i) {
            const __m256i ends = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(at + lastAt[i]));
            pairs = _mm256_or_si256(pairs, _mm256_and_si256(_mm256_cmpeq_epi8(starts, firstBytes[i]),
                                                            _mm256_cmpeq_epi8(ends, lastBytes[i])));
        }
        if (const auto bits = static_cast<unsigned>(_mm256_movemask_epi8(pairs)); bits != 0)
            if ((hit = confirmed(at, bits, marks)))
                break;
    }
    from = at;
    return hit;
}

const char *marksAvx2(const char *&from, const char *end, const std::vector<std::string_view> &marks, size_t longest)
{
    static_assert(kMostMarks == 4, "one search per number of marks");
    switch (marks.size()) {
    case 1:
        return marksAvx2<1>(from, end, marks, longest);
    case 2:
        return marksAvx2<2>(from, end, marks, longest);
    case 3:
        return marksAvx2<3>(from, end, marks, longest);
    default:
        return marksAvx2<4>(from, end, marks, longest);
    }
}

// Lines thirty-two bytes at a time up to `until`, counted in bulk into
// `number`, without a branch per line: only a block where a newline is
// followed by a wanted start (told by `starts`' two tables) is gone through
// to stop at that line. Reads one byte past a block, so stops 33 bytes
// before `end`; `lineStart` is where the last line passed over ends.
// Advances `p` past the bytes searched; answers whether it stopped at a
// wanted line.
__attribute__((target("avx2"))) bool linesAvx2(const char *&p, const char *until, const char *end,
                                               const StartTables &starts, uint64_t &number, const char *&lineStart)
{
    const __m256i newlines = _mm256_set1_epi8('\n');
    const __m256i nibble = _mm256_set1_epi8(0x0f);
    const __m256i byLow = _mm256_broadcastsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i *>(starts.low)));
    const __m256i byHigh = _mm256_broadcastsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i *>(starts.high)));
    // In locals, written back once: the compiler cannot tell that they are
    // not among the bytes read.
    const char *at = p, *start = lineStart;
    uint64_t lines = 0;
    bool stopped = false;
    for (; at + 32 <= until && at + 33 <= end; at += 32) {
        const __m256i bytes = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(at));
        const __m256i next = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(at + 1));
        const __m256i low = _mm256_shuffle_epi8(byLow, _mm256_and_si256(next, nibble));
        const __m256i high = _mm256_shuffle_epi8(byHigh, _mm256_and_si256(_mm256_srli_epi16(next, 4), nibble));
        const auto unwanted = static_cast<uint32_t>(
            _mm256_movemask_epi8(_mm256_cmpeq_epi8(_mm256_and_si256(low, high), _mm256_setzero_si256())));
        const auto bits = static_cast<uint32_t>(_mm256_movemask_epi8(_mm256_cmpeq_epi8(bytes, newlines)));
        if (const uint32_t stops = bits & ~unwanted; stops != 0) {
            // The lines up to the first wanted one's start.
            const unsigned first = static_cast<unsigned>(__builtin_ctz(stops));
            lines += static_cast<unsigned>(__builtin_popcount(bits & ((2u << first) - 1)));
            start = at + first + 1;
            stopped = true;
            break;
        }
        lines += static_cast<unsigned>(__builtin_popcount(bits));
    }
    // Where the last line passed over ends, found once, not block by block.
    if (!stopped && lines != 0)
        start = static_cast<const char *>(memrchr(p, '\n', static_cast<size_t>(at - p))) + 1;
    p = at;
    number += lines;
    lineStart = start;
    return stopped;
}

// Newlines thirty-two bytes at a time up to `until`; each to `newline`, which
// answers whether to stop there. Advances `p` past the bytes searched.
template <typename Newline>
__attribute__((target("avx2"))) bool newlinesAvx2(const char *&p, const char *until, const Newline &newline)
{
    const __m256i newlines = _mm256_set1_epi8('\n');
    for (; p + 32 <= until; p += 32) {
        const __m256i bytes = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(p));
        for (unsigned bits = static_cast<unsigned>(_mm256_movemask_epi8(_mm256_cmpeq_epi8(bytes, newlines))); bits != 0;
             bits &= bits - 1)
            if (newline(p + __builtin_ctz(bits)))
                return true;
    }
    return false;
}
#endif

} // namespace

ByteScan::ByteScan(const LineFilter &filter, Width widest) : mMarks(filter.marks)
{
#if ZSL_SCAN_AVX2
    mAvx2 = widest == Width::Best && hasAvx2();
#endif
#if defined(__SSE2__)
    mSse2 = widest <= Width::Sse2;
#endif
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
    mWord = widest <= Width::Word;
#endif
    mInOnePass = !mMarks.empty() && mMarks.size() <= kMostMarks;
    for (std::string_view mark : mMarks) {
        mAnchors.push_back(anchorOf(mark));
        mLongest = std::max(mLongest, mark.size());
        mInOnePass = mInOnePass && mark.size() >= 2;
    }
    for (char c : filter.starts)
        mStarts[static_cast<unsigned char>(c)] = true;
    mStartTables = startTables(filter.starts);
}

const char *ByteScan::findMark(const char *from, const char *end) const
{
    if (!mInOnePass)
        return findEachMark(from, end);
#if ZSL_SCAN_AVX2
    if (mAvx2)
        if (const char *hit = marksAvx2(from, end, mMarks, mLongest))
            return hit;
#endif
#if defined(__SSE2__)
    // The same, sixteen places at a time, where every x86-64 has the instructions.
    if (!mSse2)
        return findEachMark(from, end);
    __m128i firstBytes[kMostMarks], lastBytes[kMostMarks];
    for (size_t i = 0; i < mMarks.size(); ++i) {
        firstBytes[i] = _mm_set1_epi8(mMarks[i].front());
        lastBytes[i] = _mm_set1_epi8(mMarks[i].back());
    }
    for (; from + mLongest - 1 + 16 <= end; from += 16) {
        const __m128i starts = _mm_loadu_si128(reinterpret_cast<const __m128i *>(from));
        unsigned bits = 0;
        for (size_t i = 0; i < mMarks.size(); ++i) {
            const __m128i ends = _mm_loadu_si128(reinterpret_cast<const __m128i *>(from + mMarks[i].size() - 1));
            bits |= static_cast<unsigned>(_mm_movemask_epi8(
                _mm_and_si128(_mm_cmpeq_epi8(starts, firstBytes[i]), _mm_cmpeq_epi8(ends, lastBytes[i]))));
        }
        if (const char *hit = bits ? confirmed(from, bits, mMarks) : nullptr)
            return hit;
    }
#endif
    return findEachMark(from, end);
}

const char *ByteScan::findEachMark(const char *from, const char *end) const
{
    const char *first = end;
    for (size_t i = 0; i < mMarks.size(); ++i)
        first = std::min(first, findOneMark(from, end, mMarks[i], mAnchors[i]));
    return first;
}

const char *ByteScan::skipLines(const char *at, const char *until, const char *end, uint64_t &number) const
{
    const char *lineStart = at;
    auto newline = [&](const char *at) {
        ++number;
        lineStart = at + 1;
        return lineStart < end && startsWanted(*lineStart);
    };
    const char *p = at;
#if ZSL_SCAN_AVX2
    if (mAvx2 && mStartTables && linesAvx2(p, until, end, *mStartTables, number, lineStart))
        return lineStart;
    if (mAvx2 && newlinesAvx2(p, until, newline))
        return lineStart;
#endif
#if defined(__SSE2__)
    const __m128i newlines = _mm_set1_epi8('\n');
    for (; mSse2 && p + 16 <= until; p += 16) {
        const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i *>(p));
        for (unsigned bits = static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(bytes, newlines))); bits != 0;
             bits &= bits - 1)
            if (newline(p + __builtin_ctz(bits)))
                return lineStart;
    }
#endif
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
    for (; mWord && p + 8 <= until; p += 8) {
        uint64_t word;
        std::memcpy(&word, p, sizeof(word));
        for (uint64_t bits = newlineBits(word); bits != 0; bits &= bits - 1)
            if (newline(p + __builtin_ctzll(bits) / 8))
                return lineStart;
    }
#endif
    for (; p < until; ++p)
        if (*p == '\n' && newline(p))
            return lineStart;
    return lineStart;
}

} // namespace zsl::log
