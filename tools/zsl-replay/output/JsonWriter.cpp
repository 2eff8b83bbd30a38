// Compact JSON appended in place, escaped as the JSON library escapes.

#include "output/JsonWriter.h"

#include "output/Outputs.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace zsl::output {

namespace {

// Whether the library would print the text unchanged between quotes: a
// byte below a blank, at or above DEL, a quote or a backslash needs the
// library. Sixteen bytes at a time where the processor has SSE2 (every
// x86-64), else eight (a string per line of every view).
bool plain(std::string_view text)
{
    const char *p = text.data();
    const size_t n = text.size();
    size_t at = 0;
#if defined(__SSE2__)
    if (n >= 16) {
        const __m128i blank = _mm_set1_epi8(0x1f), del = _mm_set1_epi8(0x7f);
        const __m128i quote = _mm_set1_epi8('"'), backslash = _mm_set1_epi8('\\');
        // The last block overlaps the one before it rather than leaving a tail.
        for (size_t block = 0;; block += 16) {
            const size_t from = std::min(block, n - 16);
            const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i *>(p + from));
            // Signed: bytes from 0x80 on are negative, below the blank.
            const __m128i printable = _mm_and_si128(_mm_cmpgt_epi8(bytes, blank), _mm_cmplt_epi8(bytes, del));
            const __m128i special = _mm_or_si128(_mm_cmpeq_epi8(bytes, quote), _mm_cmpeq_epi8(bytes, backslash));
            if (_mm_movemask_epi8(_mm_andnot_si128(special, printable)) != 0xffff)
                return false;
            if (from == n - 16)
                return true;
        }
    }
#endif
    constexpr uint64_t kOnes = 0x0101010101010101ULL, kHigh = 0x8080808080808080ULL;
    auto zeroByte = [&](uint64_t word) { return (word - kOnes) & ~word & kHigh; };
    for (; at + 8 <= n; at += 8) {
        uint64_t word;
        std::memcpy(&word, p + at, 8);
        const uint64_t below = (word - 0x20 * kOnes) & ~word & kHigh;           // a byte below 0x20
        const uint64_t above = ((word + (0x7f - 0x7e) * kOnes) | word) & kHigh; // a byte > 0x7e
        if (below | above | zeroByte(word ^ ('"' * kOnes)) | zeroByte(word ^ ('\\' * kOnes)))
            return false;
    }
    for (; at < n; ++at) {
        const auto c = static_cast<unsigned char>(p[at]);
        if (c < 0x20 || c > 0x7e || c == '"' || c == '\\')
            return false;
    }
    return true;
}

} // namespace

void JsonWriter::put(std::string_view text)
{
    if (text.size() > sizeof(mStage) - mUsed) {
        flush();
        if (text.size() > sizeof(mStage)) {
            mOut += text;
            return;
        }
    }
    std::memcpy(mStage + mUsed, text.data(), text.size());
    mUsed += text.size();
}

void JsonWriter::flush()
{
    mOut.append(mStage, mUsed);
    mUsed = 0;
}

JsonWriter &JsonWriter::written()
{
    if (mHasValue.empty())
        flush();
    return *this;
}

void JsonWriter::separate()
{
    if (mAfterKey) {
        mAfterKey = false;
        return;
    }
    if (!mHasValue.empty()) {
        if (mHasValue.back() == '1')
            put(',');
        mHasValue.back() = '1';
    }
}

JsonWriter &JsonWriter::open(char bracket)
{
    separate();
    put(bracket);
    mHasValue.push_back('0');
    return *this;
}

JsonWriter &JsonWriter::close(char bracket)
{
    put(bracket);
    mHasValue.pop_back();
    return written();
}

JsonWriter &JsonWriter::key(std::string_view name)
{
    string(name);
    put(':');
    mAfterKey = true;
    return *this;
}

JsonWriter &JsonWriter::string(std::string_view text)
{
    separate();
    if (plain(text)) {
        put('"');
        put(text);
        put('"');
    } else {
        put(jsonText(nlohmann::json(std::string(text))));
    }
    return written();
}

JsonWriter &JsonWriter::number(uint64_t value)
{
    return decimal(value);
}

JsonWriter &JsonWriter::number(int64_t value)
{
    return decimal(value);
}

template <typename T> JsonWriter &JsonWriter::decimal(T value)
{
    // Written in place: a number is written for every line of every view.
    separate();
    char digits[24];
    put(std::string_view(digits,
                         static_cast<size_t>(std::to_chars(digits, digits + sizeof(digits), value).ptr - digits)));
    return written();
}

JsonWriter &JsonWriter::boolean(bool value)
{
    separate();
    put(value ? "true" : "false");
    return written();
}

JsonWriter &JsonWriter::null()
{
    separate();
    put("null");
    return written();
}

JsonWriter &JsonWriter::number(double value)
{
    separate();
    if (!std::isfinite(value)) {
        put("null");
        return written();
    }
    // The library's own shortest-digits printer, which its dump calls: the
    // same bytes without building a document per number.
    char digits[64];
    put(std::string_view(
        digits, static_cast<size_t>(nlohmann::detail::to_chars(digits, digits + sizeof(digits), value) - digits)));
    return written();
}

JsonWriter &JsonWriter::raw(std::string_view json)
{
    separate();
    put(json);
    return written();
}

} // namespace zsl::output
