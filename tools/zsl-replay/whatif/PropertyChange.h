#pragma once
/*
 * PropertyChange: what a what-if changes of the selector's configuration:
 * one property set to a value (--set NAME=VALUE), or one property swept over
 * a range (--sweep NAME=FROM:TO:STEP). NAME is one of the four properties
 * the selector reads, or "window", which sets the user offset so that the
 * time window (default + project + user, in ms) comes to VALUE. Applied to a
 * trace's properties against the configuration the plug-in itself stated
 * for them, so that "window" means what the selector will compute.
 */

#include "outcome/Outcome.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace zsl::whatif {

constexpr char kPendingProperty[] = "persist.vendor.kohal.selector.pending.mask";
constexpr char kDefaultProperty[] = "ro.vendor.camera3.zsl.default";
constexpr char kProjectProperty[] = "ro.vendor.camera3.zsl.project";
constexpr char kUserProperty[] = "vendor.debug.camera3.zsl.timestamp";
constexpr char kWindow[] = "window";
constexpr size_t kMaxSweepValues = 1000;

struct PropertyChange {
    std::string name; // one of the four properties, or kWindow
    int64_t value = 0;
};

// The unit of a property's values: "ms" for the window and its three parts,
// "" for the pending switch (0 or 1).
const char *unitOf(const std::string &name);

using PropertyList = std::vector<std::pair<std::string, std::string>>;

// The changes of one what-if, checked together.
class Changes {
public:
    // "NAME=VALUE"; throws outcome::Error with the reason in one line.
    static PropertyChange parse(const std::string &text);
    // "NAME=FROM:TO:STEP": the changes of each value, FROM first; throws
    // outcome::Error for a zero or wrong-signed step, or too many values.
    static std::vector<PropertyChange> sweep(const std::string &text);

    // Throws outcome::Error when a name is given twice, or the window with
    // the user offset it sets.
    explicit Changes(std::vector<PropertyChange> changes);

    const std::vector<PropertyChange> &list() const { return mChanges; }
    // "window=150 ms, persist...=1", for a report's head.
    std::string text() const;

    // `properties` with the changes made; `before` is the configuration the
    // plug-in stated for `properties`. Throws outcome::Error when the window
    // asked for cannot be reached in 64 bits.
    PropertyList applied(PropertyList properties, const outcome::SelectorConfig &before) const;

    // What the changed configuration is known to be when the one before is
    // known (`before`) or not: the window's ms, and the pending switch.
    std::optional<int64_t> windowMs(const std::optional<outcome::SelectorConfig> &before) const;
    std::optional<bool> pending(const std::optional<outcome::SelectorConfig> &before) const;

private:
    const PropertyChange *find(const std::string &name) const;

    std::vector<PropertyChange> mChanges;
};

} // namespace zsl::whatif
