#pragma once
/*
 * TimelineLayout: what a trace viewer shows of the sessions, whatever the
 * file's format. Per session a root (the camera process where the log
 * names it); per queue a track with an instant at each frame's shutter
 * time; per step a track (on its thread, where the log names one) with the
 * capture as a slice holding the plug-in's calls, and the zsdTs moment;
 * counters per frame for AE state, AF state, lens state and sensor mode; a
 * flow between each capture and each frame the host took. Times are the
 * boot-time clock's, the plug-in's own numbers. The calls' slices are laid
 * out one after another from the capture moment: neither a replay (its
 * clock is pinned) nor a log (its clock is the wall clock, in
 * milliseconds) times them on the boot-time clock. A format (the Trace
 * Event Format's JSON, Perfetto's protobuf) receives the layout through
 * TimelineFormat.
 */

#include "outcome/Outcome.h"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace zsl::output {

class TimelineFormat {
public:
    virtual ~TimelineFormat() = default;
    // A session begins; `pid` is the camera process's when the log names it.
    virtual void session(const std::string &name, std::optional<int> pid) = 0;
    // A track of the session, numbered by the layout, described before its
    // first event; `thread` is the step's (pid, tid) when the log names it.
    virtual void track(int track, const std::string &name, std::optional<std::pair<int, int>> thread) = 0;
    virtual void slice(int track, const std::string &name, int64_t beginNs, int64_t endNs,
                       const nlohmann::json &args) = 0;
    virtual void instant(int track, const std::string &name, int64_t ns, const nlohmann::json &args) = 0;
    virtual void counter(const std::string &name, int64_t ns, int value) = 0;
    // A flow between two moments on two tracks, each inside a slice there.
    virtual void flow(int fromTrack, int64_t fromNs, int toTrack, int64_t toNs) = 0;
};

void layOutTimeline(const std::vector<outcome::SessionOutcome> &sessions, TimelineFormat &format);

} // namespace zsl::output
