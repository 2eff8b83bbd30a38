// The changes a what-if makes to the selector's properties.

#include "whatif/PropertyChange.h"

#include "outcome/Error.h"

#include <algorithm>
#include <charconv>
#include <cstdint>

namespace zsl::whatif {

using outcome::Error;
using outcome::SelectorConfig;

namespace {

bool knownName(const std::string &name)
{
    for (const char *known : {kPendingProperty, kDefaultProperty, kProjectProperty, kUserProperty, kWindow})
        if (name == known)
            return true;
    return false;
}

std::string knownNames()
{
    return std::string(kWindow) + ", " + kDefaultProperty + ", " + kProjectProperty + ", " + kUserProperty + ", " +
           kPendingProperty;
}

// NAME and the text after '=', the name checked.
std::pair<std::string, std::string> split(const std::string &text, const char *form)
{
    const auto equals = text.find('=');
    if (equals == std::string::npos || equals == 0)
        throw Error(std::string("\"") + text + "\" is not " + form);
    std::string name = text.substr(0, equals);
    if (!knownName(name))
        throw Error("\"" + name + "\" is not a property the selector reads; these are: " + knownNames());
    return {std::move(name), text.substr(equals + 1)};
}

int64_t number(const std::string &name, const std::string &text)
{
    int64_t value = 0;
    const char *begin = text.data(), *end = text.data() + text.size();
    const auto [at, error] = std::from_chars(begin + (text.rfind('+', 0) == 0 ? 1 : 0), end, value);
    if (text.empty() || error != std::errc() || at != end)
        throw Error(name + ": \"" + text + "\" is not a whole number" +
                    (error == std::errc::result_out_of_range ? " of 64 bits" : ""));
    if (name == kPendingProperty && value != 0 && value != 1)
        throw Error(name + ": takes 0 (off) or 1 (on), not " + text);
    return value;
}

int64_t wrappingSum(int64_t a, int64_t b, int64_t c)
{
    return static_cast<int64_t>(static_cast<uint64_t>(a) + static_cast<uint64_t>(b) + static_cast<uint64_t>(c));
}

} // namespace

PropertyChange Changes::parse(const std::string &text)
{
    auto [name, value] = split(text, "NAME=VALUE");
    return {name, number(name, value)};
}

std::vector<PropertyChange> Changes::sweep(const std::string &text)
{
    auto [name, range] = split(text, "NAME=FROM:TO:STEP");
    const auto first = range.find(':'), second = range.find(':', first == std::string::npos ? first : first + 1);
    if (first == std::string::npos || second == std::string::npos)
        throw Error("--sweep " + text + ": give NAME=FROM:TO:STEP");
    const int64_t from = number(name, range.substr(0, first));
    const int64_t to = number(name, range.substr(first + 1, second - first - 1));
    const int64_t step = number(name, range.substr(second + 1));
    if (step == 0 || (to > from && step < 0) || (to < from && step > 0))
        throw Error("--sweep " + text + ": the step must be non-zero and lead from " + std::to_string(from) + " to " +
                    std::to_string(to));
    // In 128 bits: FROM and TO may lie at the ends of int64.
    const __int128 count = (static_cast<__int128>(to) - from) / step + 1;
    if (count > static_cast<__int128>(kMaxSweepValues))
        throw Error("--sweep " + text + ": " +
                    (count > INT64_MAX ? std::string("more than 2^63") : std::to_string(static_cast<int64_t>(count))) +
                    " values; at most " + std::to_string(kMaxSweepValues));
    std::vector<PropertyChange> values;
    for (__int128 i = 0; i < count; ++i)
        values.push_back({name, static_cast<int64_t>(from + i * step)});
    return values;
}

Changes::Changes(std::vector<PropertyChange> changes) : mChanges(std::move(changes))
{
    for (size_t i = 0; i < mChanges.size(); ++i)
        for (size_t j = 0; j < i; ++j)
            if (mChanges[i].name == mChanges[j].name)
                throw Error(mChanges[i].name + " is set twice");
    if (find(kWindow) && find(kUserProperty))
        throw Error(std::string("window sets ") + kUserProperty + ": give one of them");
}

const PropertyChange *Changes::find(const std::string &name) const
{
    auto at = std::find_if(mChanges.begin(), mChanges.end(), [&](const PropertyChange &c) { return c.name == name; });
    return at == mChanges.end() ? nullptr : &*at;
}

const char *unitOf(const std::string &name)
{
    return name == kPendingProperty ? "" : "ms";
}

std::string Changes::text() const
{
    std::string text;
    for (const PropertyChange &change : mChanges)
        text += (text.empty() ? "" : ", ") + change.name + "=" + std::to_string(change.value) +
                (change.name == kWindow ? " ms" : "");
    return text;
}

PropertyList Changes::applied(PropertyList properties, const SelectorConfig &before) const
{
    auto set = [&properties](const std::string &name, int64_t value) {
        auto at = std::find_if(properties.begin(), properties.end(), [&](const auto &p) { return p.first == name; });
        if (at == properties.end())
            properties.emplace_back(name, std::to_string(value));
        else
            at->second = std::to_string(value);
    };
    for (const PropertyChange &change : mChanges)
        if (change.name != kWindow)
            set(change.name, change.value);
    if (const PropertyChange *window = find(kWindow)) {
        const int64_t defaultMs = find(kDefaultProperty) ? find(kDefaultProperty)->value : before.defaultMs;
        const int64_t projectMs = find(kProjectProperty) ? find(kProjectProperty)->value : before.projectMs;
        int64_t user = 0;
        if (__builtin_sub_overflow(window->value, defaultMs, &user) || __builtin_sub_overflow(user, projectMs, &user))
            throw Error("window=" + std::to_string(window->value) + " cannot be reached in 64 bits from default " +
                        std::to_string(defaultMs) + " and project " + std::to_string(projectMs));
        set(kUserProperty, user);
    }
    return properties;
}

std::optional<int64_t> Changes::windowMs(const std::optional<SelectorConfig> &before) const
{
    if (const PropertyChange *window = find(kWindow))
        return window->value;
    auto part = [&](const char *name, int64_t SelectorConfig::*field) -> std::optional<int64_t> {
        if (const PropertyChange *change = find(name))
            return change->value;
        return before ? std::optional<int64_t>((*before).*field) : std::nullopt;
    };
    const auto defaultMs = part(kDefaultProperty, &SelectorConfig::defaultMs);
    const auto projectMs = part(kProjectProperty, &SelectorConfig::projectMs);
    const auto userMs = part(kUserProperty, &SelectorConfig::userMs);
    if (!defaultMs || !projectMs || !userMs)
        return std::nullopt;
    return wrappingSum(*defaultMs, *projectMs, *userMs);
}

std::optional<bool> Changes::pending(const std::optional<SelectorConfig> &before) const
{
    if (const PropertyChange *change = find(kPendingProperty))
        return change->value != 0;
    return before ? std::optional<bool>(before->pending) : std::nullopt;
}

} // namespace zsl::whatif
