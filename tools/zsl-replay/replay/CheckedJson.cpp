// The checked reading of one JSON value: its shape, its range, and the
// message naming where it stands when it is neither.

#include "replay/CheckedJson.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdlib>

namespace zsl::replay {

bool allOf(const std::string &text, size_t from, int (*isClass)(int))
{
    return from < text.size() && std::all_of(text.begin() + static_cast<std::ptrdiff_t>(from), text.end(),
                                             [isClass](char c) { return isClass(static_cast<unsigned char>(c)) != 0; });
}

bool isHex(const std::string &text, size_t maxDigits)
{
    return text.size() > 2 && text.size() <= 2 + maxDigits && text[0] == '0' && (text[1] == 'x' || text[1] == 'X') &&
           allOf(text, 2, isxdigit);
}

std::string escapeKey(const std::string &key)
{
    std::string out;
    for (char c : key)
        out += c == '~' ? "~0" : c == '/' ? "~1" : std::string(1, c);
    return out;
}

void CheckedJson::fail(const std::string &place, const std::string &expected) const
{
    throw TraceError(mFile, place, expected);
}

const json &CheckedJson::object(const json &value, const std::string &place) const
{
    if (!value.is_object())
        fail(place, "expected an object");
    return value;
}

const json &CheckedJson::array(const json &value, const std::string &place) const
{
    if (!value.is_array())
        fail(place, "expected an array");
    return value;
}

// Every key must be known; required ones must be there.
void CheckedJson::keys(const json &value, const std::string &place, std::initializer_list<const char *> allowed,
                       std::initializer_list<const char *> required) const
{
    object(value, place);
    for (auto it = value.begin(); it != value.end(); ++it) {
        bool known = false;
        for (const char *key : allowed)
            known = known || it.key() == key;
        if (!known) {
            std::string list;
            for (const char *key : allowed)
                list += std::string(list.empty() ? "" : ", ") + "\"" + key + "\"";
            fail(at(place, it.key()), "unknown key \"" + it.key() + "\" (expected one of " + list + ")");
        }
    }
    for (const char *key : required)
        if (!value.contains(key))
            fail(at(place, key), std::string("missing required field \"") + key + "\"");
}

std::string CheckedJson::string(const json &value, const std::string &place) const
{
    if (!value.is_string())
        fail(place, "expected a string");
    return value.get<std::string>();
}

int64_t CheckedJson::integer(const json &value, const std::string &place, int64_t low, int64_t high,
                             const std::string &what) const
{
    std::string range = what + " from " + std::to_string(low) + " to " + std::to_string(high);
    if (value.is_number_unsigned()) {
        uint64_t v = value.get<uint64_t>();
        if (v > static_cast<uint64_t>(high))
            fail(place, "out of range: expected " + range);
        return static_cast<int64_t>(v);
    }
    if (value.is_number_integer()) {
        int64_t v = value.get<int64_t>();
        if (v < low || v > high)
            fail(place, "out of range: expected " + range);
        return v;
    }
    if (value.is_string()) {
        // Hex is welcome where engineers write masks: "0x40".
        const std::string text = value.get<std::string>();
        if (isHex(text, 16)) {
            errno = 0;
            unsigned long long v = std::strtoull(text.c_str(), nullptr, 16);
            if (errno == ERANGE || v > static_cast<unsigned long long>(high))
                fail(place, "out of range: expected " + range);
            return static_cast<int64_t>(v);
        }
    }
    fail(place, "expected an integer (" + range + ")");
}

uint32_t CheckedJson::u32(const json &value, const std::string &place, const std::string &what) const
{
    return static_cast<uint32_t>(integer(value, place, 0, std::numeric_limits<uint32_t>::max(), what));
}

// A number of ns (absolute) or a string "<sign><number><unit>" relative
// to the capture moment, unit ns, us, ms or s. The sign is required, so
// that "266.7ms" is not silently a frame from the future.
TimeValue CheckedJson::time(const json &value, const std::string &place) const
{
    if (value.is_number_integer())
        return {false, integer(value, place, std::numeric_limits<int64_t>::min(), std::numeric_limits<int64_t>::max(),
                               "a time in ns")};
    const std::string text = value.is_string() ? value.get<std::string>() : "";
    const size_t unitAt = text.find_first_not_of("0123456789.", 1);
    const std::string number = text.substr(0, unitAt);
    const std::string unit = unitAt == std::string::npos ? "" : text.substr(unitAt);
    const bool shaped = (text[0] == '+' || text[0] == '-') && number.size() > 1 && number[1] != '.' &&
                        number.back() != '.' && std::count(number.begin(), number.end(), '.') <= 1 &&
                        (unit == "ns" || unit == "us" || unit == "ms" || unit == "s");
    if (!value.is_string() || text.empty() || !shaped)
        fail(place, "expected a time: an integer of ns, or a signed time relative to the capture moment "
                    "such as \"-33ms\" or \"+2.5ms\"");
    // Read exactly, in decimal digits: "-2.01s" is -2010000000 ns, not a
    // floating-point product a nanosecond off.
    const int exponent = unit == "ns" ? 0 : unit == "us" ? 3 : unit == "ms" ? 6 : 9;
    const size_t point = number.find('.');
    const std::string whole = number.substr(1, point == std::string::npos ? std::string::npos : point - 1);
    std::string fraction = point == std::string::npos ? "" : number.substr(point + 1);
    if (fraction.find_first_not_of('0', std::min<size_t>(fraction.size(), exponent)) != std::string::npos)
        fail(place, "finer than a nanosecond: a time is a whole number of ns");
    fraction.resize(static_cast<size_t>(exponent), '0');
    const int sign = text[0] == '-' ? -1 : 1; // digits added with the sign: -2^63 is in range
    int64_t ns = 0;
    for (char digit : whole + fraction)
        if (__builtin_mul_overflow(ns, 10, &ns) || __builtin_add_overflow(ns, sign * (digit - '0'), &ns))
            fail(place, "out of range: expected a time within the 64-bit ns range");
    noteRelative(ns, place);
    return {true, ns};
}

// The latest relative time, with its place: added to a capture moment
// (never negative), it must stay within the 64-bit ns range.
void CheckedJson::noteRelative(int64_t ns, const std::string &place) const
{
    if (ns > mLatest.first)
        mLatest = {ns, place};
}

uint32_t CheckedJson::keyNumber(const std::string &key, const std::string &place, const std::string &what, int64_t low,
                                int64_t high) const
{
    // No leading zeros: "0044" would name frame 44 a second time.
    const size_t digits = key.rfind('-', 0) == 0 ? 1 : 0;
    if (!allOf(key, digits, isdigit) || key.size() - digits > 20 || (key[digits] == '0' && key.size() > digits + 1))
        fail(place, "expected " + what + " as the key, in decimal without leading zeros, not \"" + key + "\"");
    errno = 0;
    long long v = std::strtoll(key.c_str(), nullptr, 10);
    if (errno == ERANGE || v < low || v > high)
        fail(place, "out of range: expected " + what + " from " + std::to_string(low) + " to " + std::to_string(high));
    return static_cast<uint32_t>(v);
}

bool CheckedJson::boolean(const json &value, const std::string &place) const
{
    if (!value.is_boolean())
        fail(place, "expected true or false");
    return value.get<bool>();
}

} // namespace zsl::replay
