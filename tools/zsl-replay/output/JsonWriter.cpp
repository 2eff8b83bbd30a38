// Compact JSON appended in place, escaped as the JSON library escapes.

#include "output/JsonWriter.h"

#include "output/Outputs.h"

#include <charconv>

namespace zsl::output {

namespace {

// Whether the library would print the text unchanged between quotes.
bool plain(std::string_view text)
{
    for (const unsigned char c : text)
        if (c < 0x20 || c > 0x7e || c == '"' || c == '\\')
            return false;
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
        if (mHasValue.back())
            mOut += ',';
        mHasValue.back() = true;
    }
}

JsonWriter &JsonWriter::open(char bracket)
{
    separate();
    mOut += bracket;
    mHasValue.push_back(false);
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

JsonWriter &JsonWriter::null()
{
    separate();
    mOut += "null";
    return *this;
}

JsonWriter &JsonWriter::value(const nlohmann::json &value)
{
    return raw(jsonText(value));
}

JsonWriter &JsonWriter::raw(std::string_view json)
{
    separate();
    mOut += json;
    return *this;
}

} // namespace zsl::output
