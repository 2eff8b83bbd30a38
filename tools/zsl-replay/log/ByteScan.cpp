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

#if ZSL_SCAN_AVX2
bool hasAvx2()
{
    static const bool has = (__builtin_cpu_init(), __builtin_cpu_supports("avx2"));
    return has;
}

// Thirty-two places at a time, each with a mark's first and last byte in
// place: such a pair is rare, and only it is compared whole. Advances
// `from` past the places searched; answers the mark found, if any.
__attribute__((target("avx2"))) const char *marksAvx2(const char *&from, const char *end,
                                                      const std::vector<std::string_view> &marks, size_t longest)
{
    __m256i firstBytes[kMostMarks], lastBytes[kMostMarks];
    for (size_t i = 0; i < marks.size(); ++i) {
        firstBytes[i] = _mm256_set1_epi8(marks[i].front());
        lastBytes[i] = _mm256_set1_epi8(marks[i].back());
    }
    for (; from + longest - 1 + 32 <= end; from += 32) {
        const __m256i starts = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(from));
        unsigned bits = 0;
        for (size_t i = 0; i < marks.size(); ++i) {
            const __m256i ends = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(from + marks[i].size() - 1));
            bits |= static_cast<unsigned>(_mm256_movemask_epi8(
                _mm256_and_si256(_mm256_cmpeq_epi8(starts, firstBytes[i]), _mm256_cmpeq_epi8(ends, lastBytes[i]))));
        }
        if (const char *hit = bits ? confirmed(from, bits, marks) : nullptr)
            return hit;
    }
    return nullptr;
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
