// A capture's printed time made ISO 8601, stating no more than the log does.

#include "output/CaptureTime.h"

#include <cctype>
#include <cstdio>
#include <ctime>
#include <optional>

namespace zsl::output {

namespace {

// A run of exactly `digits` digits at the front of `text`, taken off it.
std::optional<int> digitsOf(std::string_view &text, size_t digits)
{
    if (text.size() < digits)
        return std::nullopt;
    int value = 0;
    for (size_t i = 0; i < digits; ++i) {
        if (!std::isdigit(static_cast<unsigned char>(text[i])))
            return std::nullopt;
        value = value * 10 + (text[i] - '0');
    }
    text.remove_prefix(digits);
    return value;
}

bool take(std::string_view &text, char c)
{
    if (text.empty() || text.front() != c)
        return false;
    text.remove_prefix(1);
    return true;
}

// The digits after the point, as printed (milli-, micro- or nanoseconds).
std::string_view fractionOf(std::string_view &text)
{
    size_t digits = 0;
    while (digits < text.size() && digits < 9 && std::isdigit(static_cast<unsigned char>(text[digits])))
        ++digits;
    const std::string_view fraction = text.substr(0, digits);
    text.remove_prefix(digits);
    return fraction;
}

int daysIn(int year, int month)
{
    static const int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    return month == 2 && leap ? 29 : kDays[month - 1];
}

// Seconds since 1970 as printed by logcat -v epoch, in UTC. Boot-time
// seconds (-v monotonic) print alike; no device has run for 30 years, so a
// count below the year 2000 is not a date.
std::string fromEpoch(std::string_view text)
{
    while (take(text, ' ')) {
    }
    long long seconds = 0;
    size_t digits = 0;
    for (; digits < text.size() && std::isdigit(static_cast<unsigned char>(text[digits])); ++digits)
        seconds = seconds * 10 + (text[digits] - '0');
    text.remove_prefix(digits);
    constexpr long long kYear2000 = 946684800;
    if (digits == 0 || digits > 11 || seconds < kYear2000 || !take(text, '.'))
        return "";
    const std::string_view fraction = fractionOf(text);
    if (fraction.empty() || !text.empty())
        return "";
    const std::time_t time = static_cast<std::time_t>(seconds);
    std::tm utc{};
    if (!gmtime_r(&time, &utc))
        return "";
    char iso[64]; // room for any int the compiler cannot bound
    std::snprintf(iso, sizeof iso, "%04d-%02d-%02dT%02d:%02d:%02d.", utc.tm_year + 1900, utc.tm_mon + 1, utc.tm_mday,
                  utc.tm_hour, utc.tm_min, utc.tm_sec);
    return iso + std::string(fraction) + "+00:00";
}

} // namespace

std::string isoCaptureTime(std::string_view logTime, std::string_view reportTime)
{
    std::string_view text = logTime;
    // "[YYYY-]MM-DD HH:MM:SS.fff[ +hhmm]"
    std::optional<int> year, month = digitsOf(text, 2), day;
    if (month && !text.empty() && std::isdigit(static_cast<unsigned char>(text.front()))) { // four digits: a year
        text = logTime;
        year = digitsOf(text, 4);
        month = take(text, '-') ? digitsOf(text, 2) : std::nullopt;
    }
    day = month && take(text, '-') ? digitsOf(text, 2) : std::nullopt;
    if (!day)
        return fromEpoch(logTime);
    const auto hour = take(text, ' ') ? digitsOf(text, 2) : std::nullopt;
    const auto minute = hour && take(text, ':') ? digitsOf(text, 2) : std::nullopt;
    const auto second = minute && take(text, ':') ? digitsOf(text, 2) : std::nullopt;
    if (!second || !take(text, '.'))
        return "";
    const std::string_view fraction = fractionOf(text);
    std::string offset;
    if (take(text, ' ') && !text.empty() && (text.front() == '+' || text.front() == '-')) {
        const char sign = text.front();
        text.remove_prefix(1);
        const auto hours = digitsOf(text, 2), minutes = hours ? digitsOf(text, 2) : std::nullopt;
        if (!minutes)
            return "";
        char zone[16];
        std::snprintf(zone, sizeof zone, "%c%02d:%02d", sign, *hours, *minutes);
        offset = zone;
    }
    if (fraction.empty() || !text.empty() || *month < 1 || *month > 12 || *hour > 23 || *minute > 59 || *second > 60)
        return "";
    if (!year) {
        std::string_view report = reportTime;
        const auto reportYear = digitsOf(report, 4);
        const auto reportMonth = reportYear && take(report, '-') ? digitsOf(report, 2) : std::nullopt;
        if (!reportMonth)
            return "";
        year = *reportYear - (*month > *reportMonth ? 1 : 0);
    }
    if (*day < 1 || *day > daysIn(*year, *month))
        return "";
    char iso[64]; // room for any int the compiler cannot bound
    std::snprintf(iso, sizeof iso, "%04d-%02d-%02dT%02d:%02d:%02d.", *year, *month, *day, *hour, *minute, *second);
    return iso + std::string(fraction) + offset;
}

} // namespace zsl::output
