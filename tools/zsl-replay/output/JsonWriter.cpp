// Compact JSON appended in place, escaped as the JSON library escapes.

#include "output/JsonWriter.h"

#include "output/Outputs.h"

#include <charconv>
#include <cmath>
#include <cstring>

namespace zsl::output {

namespace {

// Whether the library would print the text unchanged between quotes.
// Eight bytes at a time (a string per line of every view): a byte below a
// blank, at or above DEL, a quote or a backslash needs the library.
bool plain(std::string_view text)
{
    constexpr uint64_t kOnes = 0x0101010101010101ULL, kHigh = 0x8080808080808080ULL;
    auto zeroByte = [&](uint64_t word) { return (word - kOnes) & ~word & kHigh; };
    size_t at = 0;
    for (; at + 8 <= text.size(); at += 8) {
        uint64_t word;
        std::memcpy(&word, text.data() + at, 8);
        const uint64_t below = (word - 0x20 * kOnes) & ~word & kHigh;           // a byte below 0x20
        const uint64_t above = ((word + (0x7f - 0x7e) * kOnes) | word) & kHigh; // a byte > 0x7e
        if (below | above | zeroByte(word ^ ('"' * kOnes)) | zeroByte(word ^ ('\\' * kOnes)))
            return false;
    }
    for (; at < text.size(); ++at) {
        const auto c = static_cast<unsigned char>(text[at]);
        if (c < 0x20 || c > 0x7e || c == '"' || c == '\\')
            return false;
    }
    return true;
}

} // namespace

void JsonWriter::separate()
{
    if (mAfterKey) {
        mAfterKey = false;
        return;
    }
    if (!mHasValue.empty()) {
        if (mHasValue.back() == '1')
            mOut += ',';
        mHasValue.back() = '1';
    }
}

JsonWriter &JsonWriter::open(char bracket)
{
    separate();
    mOut += bracket;
    mHasValue.push_back('0');
    return *this;
}

JsonWriter &JsonWriter::close(char bracket)
{
    mOut += bracket;
    mHasValue.pop_back();
    return *this;
}

JsonWriter &JsonWriter::key(std::string_view name)
{
    string(name);
    mOut += ':';
    mAfterKey = true;
    return *this;
}

JsonWriter &JsonWriter::string(std::string_view text)
{
    separate();
    if (plain(text)) {
        mOut += '"';
        mOut += text;
        mOut += '"';
    } else {
        mOut += jsonText(nlohmann::json(std::string(text)));
    }
    return *this;
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
    mOut.append(digits, std::to_chars(digits, digits + sizeof(digits), value).ptr);
    return *this;
}

JsonWriter &JsonWriter::boolean(bool value)
{
    separate();
    mOut += value ? "true" : "false";
    return *this;
}

JsonWriter &JsonWriter::null()
{
    separate();
    mOut += "null";
    return *this;
}

JsonWriter &JsonWriter::number(double value)
{
    separate();
    if (!std::isfinite(value)) {
        mOut += "null";
        return *this;
    }
    // The library's own shortest-digits printer, which its dump calls: the
    // same bytes without building a document per number.
    char digits[64];
    mOut.append(digits, nlohmann::detail::to_chars(digits, digits + sizeof(digits), value));
    return *this;
}

JsonWriter &JsonWriter::raw(std::string_view json)
{
    separate();
    mOut += json;
    return *this;
}

} // namespace zsl::output
