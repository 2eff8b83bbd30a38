// Lines cut from blocks of bytes, with the wanted ones found block by block.

#include "log/LineSplitter.h"

#include "outcome/Error.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace zsl::log {

namespace {

constexpr size_t kBlockBytes = 128 << 10;
// Longer than any line logcat writes (its limit is some 4 KiB); such a line
// is not a log line and is passed over.
constexpr size_t kMaxLineBytes = 1 << 20;

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
const char *findMark(const char *from, const char *end, std::string_view mark, size_t anchor)
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

// The first place in [from, end) where any of `marks` stands; `end` when none.
const char *findAnyMark(const char *from, const char *end, const std::vector<std::string_view> &marks,
                        const std::vector<size_t> &anchors)
{
#if defined(__SSE2__)
    // Sixteen places at a time, each with a mark's first and last byte in
    // place: such a pair is rare, and only it is compared whole; one pass
    // for every mark.
    constexpr size_t kMost = 4;
    size_t longest = 0;
    bool fits = marks.size() <= kMost;
    for (std::string_view mark : marks) {
        longest = std::max(longest, mark.size());
        fits = fits && mark.size() >= 2;
    }
    if (fits && !marks.empty()) {
        __m128i firstBytes[kMost], lastBytes[kMost];
        for (size_t i = 0; i < marks.size(); ++i) {
            firstBytes[i] = _mm_set1_epi8(marks[i].front());
            lastBytes[i] = _mm_set1_epi8(marks[i].back());
        }
        for (; from + longest - 1 + 16 <= end; from += 16) {
            const __m128i starts = _mm_loadu_si128(reinterpret_cast<const __m128i *>(from));
            unsigned bits = 0;
            for (size_t i = 0; i < marks.size(); ++i) {
                const __m128i ends = _mm_loadu_si128(reinterpret_cast<const __m128i *>(from + marks[i].size() - 1));
                bits |= static_cast<unsigned>(_mm_movemask_epi8(
                    _mm_and_si128(_mm_cmpeq_epi8(starts, firstBytes[i]), _mm_cmpeq_epi8(ends, lastBytes[i]))));
            }
            for (; bits != 0; bits &= bits - 1) {
                const char *start = from + __builtin_ctz(bits);
                for (std::string_view mark : marks)
                    if (std::memcmp(start, mark.data(), mark.size()) == 0)
                        return start;
            }
        }
    }
#endif
    const char *first = end;
    for (size_t i = 0; i < marks.size(); ++i)
        first = std::min(first, findMark(from, end, marks[i], anchors[i]));
    return first;
}

// The high bit of each byte of `word` that is a newline: exact, with no
// carry from one byte into the next.
inline uint64_t newlineBits(uint64_t word)
{
    constexpr uint64_t kLow7 = 0x7F7F7F7F7F7F7F7FULL;
    const uint64_t x = word ^ 0x0A0A0A0A0A0A0A0AULL;
    return ~(((x & kLow7) + kLow7) | x | kLow7);
}

// Passes over the lines that end before `until` (no mark is in them: `until`
// is the first), stopping early at one that starts with a wanted byte.
// Answers where the first line not passed over starts, and counts the lines
// passed in `number`. Many bytes at a time (SSE2, else eight in a word):
// most lines of a phone's log are another component's, and a call per line
// would cost more than their bytes.
const char *skipLines(const char *at, const char *until, const char *end, const std::array<bool, 256> &startsWanted,
                      uint64_t &number)
{
    const char *lineStart = at;
    auto newline = [&](const char *at) {
        ++number;
        lineStart = at + 1;
        return lineStart < end && startsWanted[static_cast<unsigned char>(*lineStart)];
    };
    const char *p = at;
#if defined(__SSE2__)
    // Sixteen bytes at a time where every x86-64 has the instructions.
    const __m128i newlines = _mm_set1_epi8('\n');
    for (; p + 16 <= until; p += 16) {
        const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i *>(p));
        for (unsigned bits = static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(bytes, newlines))); bits != 0;
             bits &= bits - 1)
            if (newline(p + __builtin_ctz(bits)))
                return lineStart;
    }
#endif
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
    for (; p + 8 <= until; p += 8) {
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

} // namespace

void forEachLine(const ByteReader &read, const std::function<bool(std::string_view, uint64_t)> &line,
                 const std::function<void(const std::string &)> &problem, const std::string &what,
                 const LineFilter *filter)
{
    // Page-aligned, and small enough to stay in the cache between the
    // kernel's copy and the line search; not cleared: the reader fills it.
    const std::unique_ptr<char, void (*)(void *)> block(static_cast<char *>(std::aligned_alloc(4096, kBlockBytes)),
                                                        std::free);
    std::string carried;   // the start of a line that crosses a block's end
    bool skipping = false; // inside a line too long to keep
    bool wantNext = false;
    uint64_t number = 0;
    const char *nextMark = nullptr; // the first mark in the block at or after a line's start
    std::vector<size_t> anchors;
    for (std::string_view mark : filter ? filter->marks : std::vector<std::string_view>())
        anchors.push_back(anchorOf(mark));
    std::array<bool, 256> startsWanted{}; // a look-up, not a search, on every line
    for (char c : filter ? filter->starts : std::string_view())
        startsWanted[static_cast<unsigned char>(c)] = true;
    auto wanted = [&](std::string_view text, const char *start, const char *end) {
        if (!filter || wantNext || (!text.empty() && startsWanted[static_cast<unsigned char>(text.front())]))
            return true;
        if (!start) // a line carried across blocks: searched whole
            return std::any_of(filter->marks.begin(), filter->marks.end(),
                               [&](std::string_view mark) { return text.find(mark) != std::string_view::npos; });
        if (nextMark < start)
            nextMark = findAnyMark(start, end, filter->marks, anchors);
        return nextMark < start + text.size();
    };
    long got;
    while ((got = read(block.get(), kBlockBytes)) > 0) {
        const char *at = block.get();
        const char *end = at + got;
        nextMark = nullptr;
        while (at < end) {
            // Lines no reader wants are counted in bulk up to the next mark.
            if (filter && !wantNext && !skipping && carried.empty() && !startsWanted[static_cast<unsigned char>(*at)]) {
                if (nextMark < at)
                    nextMark = findAnyMark(at, end, filter->marks, anchors);
                at = skipLines(at, nextMark, end, startsWanted, number);
                if (at >= end)
                    break;
            }
            const char *newline = static_cast<const char *>(std::memchr(at, '\n', static_cast<size_t>(end - at)));
            if (!newline) {
                if (!skipping)
                    carried.append(at, end);
                if (carried.size() > kMaxLineBytes) {
                    carried.clear();
                    skipping = true;
                }
                break;
            }
            ++number;
            if (skipping) {
                problem("line " + std::to_string(number) + " is longer than " + std::to_string(kMaxLineBytes) +
                        " bytes and was passed over");
                wantNext = line({}, number);
                skipping = false;
            } else if (!carried.empty()) {
                carried.append(at, newline);
                if (wanted(carried, nullptr, end))
                    wantNext = line(carried, number);
                carried.clear();
            } else if (const std::string_view text(at, static_cast<size_t>(newline - at)); wanted(text, at, end)) {
                wantNext = line(text, number);
            }
            at = newline + 1;
        }
    }
    if (got < 0)
        throw outcome::Error("cannot read " + what + ": " + std::strerror(errno));
    // A line cut by the end may have lost any part of its text: not guessed at.
    if (skipping || !carried.empty())
        problem("the log ends in the middle of line " + std::to_string(number + 1) + ", which is left out");
}

ByteReader streamReader(std::FILE *stream)
{
    return [stream](char *buffer, size_t size) -> long {
        const size_t got = std::fread(buffer, 1, size, stream);
        return got == 0 && std::ferror(stream) ? -1 : static_cast<long>(got);
    };
}

} // namespace zsl::log
