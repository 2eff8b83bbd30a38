#pragma once
/*
 * Comparison: one capture before and after a what-if's change, each side
 * as a replay step gives it (anchor, selection, checks, frames taken), and
 * how the two differ: anchor moved earlier or later, taken in full or not.
 * A side read from a device log states only what the log grounds; every
 * other fact is named in `unknown` with the reason, and what is known of it
 * instead. Nothing is read from a step field a side does not state.
 */

#include "outcome/Outcome.h"

#include <nlohmann/json.hpp>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace zsl::whatif {

// A fact a side does not state: why, and what is known of it.
struct Unknown {
    std::string reason;
    std::string bound;                  // in words, "" when nothing is known
    nlohmann::json boundJson = nullptr; // the same for machines
};

// The facts a side may leave unknown, by their names in a replay step's JSON.
namespace fact {
constexpr char kZsdTs[] = "zsdTs";
constexpr char kAnchor[] = "anchorFrame";
constexpr char kAnchorOffset[] = "anchorOffset";
constexpr char kBegin[] = "csbegin";
constexpr char kSelected[] = "selectedFrames";
constexpr char kSelection[] = "selection";
constexpr char kProducer[] = "producer";
constexpr char kRequested[] = "requested";
constexpr char kTaken[] = "taken";
} // namespace fact

// A position in list order (the consumer list, then the producer list);
// kNoAnchor when no listed frame anchors.
constexpr size_t kNoAnchor = std::numeric_limits<size_t>::max();

struct Side {
    outcome::StepOutcome step;
    std::map<std::string, Unknown> unknown;
    // The anchor's position, when stated; else the least it may be.
    std::optional<size_t> anchorFrom;

    // Whether every requested frame was taken, when known (also when which
    // frames is not).
    std::optional<bool> takenInFull;

    bool states(const std::string &fact) const { return unknown.count(fact) == 0; }
    // Marks a fact unknown; the first reason given for it stays. The frames
    // taken unknown, so is whether all were taken, until set after.
    void leaveOpen(const std::string &fact, std::string reason, std::string bound = "",
                   nlohmann::json boundJson = nullptr);
    // How long before the capture moment each taken frame was shot, where known.
    std::vector<std::optional<double>> takenLagsMs() const;
};

// A side stating every fact of a replayed step.
Side exactSide(outcome::StepOutcome step);
// The anchor's position in list order, kNoAnchor when none anchored.
size_t anchorPosition(const outcome::StepOutcome &step);

enum class AnchorMove { Same, Earlier, Later, Unknown };

struct Comparison {
    std::string input;  // the trace or log read
    std::string device; // a bug report's build fingerprint
    bool fromLog = false;
    Side before, after;

    AnchorMove anchorMove() const;
    // Whether a stated fact differs between the sides; none when no stated
    // fact differs but some are unknown.
    std::optional<bool> changed() const;
    // Facts the after side leaves unknown.
    size_t unknownFacts() const;
};

} // namespace zsl::whatif
