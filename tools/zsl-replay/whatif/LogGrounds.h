#pragma once
/*
 * LogGrounds: what one capture read from a device log tells for certain of
 * the selection at any other configuration, so that a what-if states only
 * facts the log grounds. The anchor scan logs each frame it examines up to
 * the anchor: those frames' records and shutter times are known, the ones
 * after it are not. The presence check logs at debug level the frames a
 * queue lacked and, by its silence, the one every queue held. A checked
 * frame's verdict does not depend on the configuration. A frame the host
 * checked was above the last used frame number, which no line prints. What
 * the trace rebuilt from the log fills in (shutter times after the anchor,
 * one requested frame, no used frame) is never read from here.
 */

#include "outcome/Outcome.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>

namespace zsl::whatif {

struct LogGrounds {
    explicit LogGrounds(const outcome::SessionOutcome &session, const outcome::StepOutcome &step);

    // Why the capture's selection cannot be followed at all ("" if it can).
    std::string unusable;
    bool noMetaQueue = false;              // the selector found no metadata queue: no property matters
    size_t consumerKnown = 0;              // consumer frames [0, consumerKnown): record and shutter time known
    std::optional<size_t> producerKnown;   // producer frames [0, value) known; none: the list is not in the log
    std::optional<size_t> requested;       // the frames the capture wants, when the log tells
    size_t requestedAtLeast = 1;           // ... else at least this many
    std::optional<uint32_t> aboveLastUsed; // a frame known to be above the last used frame number
    std::optional<int64_t> curTime;

    enum class Presence { Unknown, Present, Absent }; // in every queue of the capture
    Presence presence(uint32_t frame) const;
    // The verdict of a frame the log shows checked, or null.
    const outcome::CheckOutcome *verdict(uint32_t frame) const;

private:
    std::set<uint32_t> mPresent, mAbsent;
    std::map<uint32_t, outcome::CheckOutcome> mVerdicts;
};

} // namespace zsl::whatif
