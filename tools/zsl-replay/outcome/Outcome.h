#pragma once
/*
 * Outcome: what happened in a capture session, step by step: the queues as
 * the selector saw them, its answers, the time stamps and anchor its lines
 * name, each checked frame's verdict and reason, and the frames the host
 * took. A replay fills it; the report and the timeline read only this, so
 * that any other source of the same facts can feed them too.
 */

#include "outcome/Completeness.h"
#include "outcome/StepKind.h"

#include <LogRecorder.h>
#include <ZSLSelectorBase.h>

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace zsl::outcome {

// A process or thread id the line's format does not show (brief, time and
// process show no thread; tag and raw no process either).
constexpr int kUnknownId = -1;

// One queue as the host held it at the step's capture moment.
struct QueueView {
    uint32_t id = 0;
    int type = 0;
    std::string name;
    std::vector<uint32_t> held; // frame numbers with a record
};

// What a frame's metadata shows of the states the frame check reads.
struct FrameStates {
    std::optional<int> aeState, afState, lensState;
    // Filled from a device log, for a trace written from it.
    std::optional<int> afMode, ev;
    std::optional<uint32_t> motionCapType;
};

// Something the selection's lines show that an engineer should see: a
// listed frame gone from the queue, a first frame passed over.
struct StepWarning {
    enum class Kind {
        LeftQueue,       // a listed frame without a record: it has left the queue
        FirstFrameLacked // the selection's first frame is not in every queue: the begin moved past it
    };
    uint32_t frame = 0;
    std::string text;
    Kind kind = Kind::LeftQueue;
};

// Whose metadata a frame's states are: the frame's own, or a physical
// camera's, by its id or, where a log never showed the id, by its place in
// the frame's record (from 1). The own first, then the cameras, then those
// without an id; ids in the order their decimal text sorts, the order every
// output has shown them in.
struct StatesSource {
    enum class Kind { Own, Camera, UnknownCamera };
    Kind kind = Kind::Own;
    int id = 0; // the camera id, or its place in the record

    static StatesSource camera(int id) { return {Kind::Camera, id}; }
    static StatesSource unknownCamera(int place) { return {Kind::UnknownCamera, place}; }
    bool isCamera() const { return kind != Kind::Own; }
    bool operator<(const StatesSource &other) const
    {
        return kind != other.kind ? kind < other.kind : std::to_string(id) < std::to_string(other.id);
    }
};

// The class of rule a refusal names, by its stable name in the table and
// the summaries (kRefusalClasses, in this order).
enum class RefusalClass : uint8_t { Ae, Af, Ev, SensorMode, NoMetadata, Unlogged, Other };
constexpr const char *kRefusalClasses[] = {"ae", "af", "ev", "sensor_mode", "no_metadata", "unlogged", "other"};
// A set of them, one bit each.
using RefusalClasses = uint8_t;
constexpr RefusalClasses bitOf(RefusalClass kind)
{
    return static_cast<RefusalClasses>(1u << static_cast<unsigned>(kind));
}

struct CheckOutcome {
    uint32_t frame = 0;
    std::pair<bool, bool> verdict;
    std::string reason;      // for a refusal: the plug-in's own words
    std::string explanation; // the same, worded alike for every rule
    // Read from a device log: why the verdict is not in the log (empty when
    // it is); verdict is then meaningless.
    std::string unknown;
    // Read from a device log: no line names the frame; it is numbered in
    // selection order.
    bool frameInferred = false;
    std::vector<kohost::LogLine> log;
    RefusalClasses refusalClasses = 0; // for a refusal: the classes of rule it names
};

// What the lines of a step's frame checks show of the capture request
// (read from a device log; the first value each line shows).
struct RequestSeen {
    std::optional<int> ev;              // the request's EV setting
    std::optional<int> superResolution; // its super-resolution switch, where read
    bool sensorCheck = false;           // the platform's sensor-mode check ran
    std::optional<int32_t> desiredSensorMode;
    bool desiredSensorModeSet = false; // ... and the request carried it
    bool quickSnapshot = false;
    std::optional<int64_t> anchorTs; // a motion capture's anchor pick
    std::optional<uint32_t> motionCapType;
};

struct StepOutcome {
    StepKind kind = StepKind::Capture;
    std::string label;
    uint32_t fwkFrame = 0;
    int64_t captureNs = 0; // the capture moment, boot-time clock
    std::vector<QueueView> queues;
    // Read from a device log: the process and thread whose lines made the
    // step, the number of its first line and that line's time as the log
    // prints it (0 and "" for a replay).
    int pid = 0, tid = 0;
    size_t firstLine = 0;
    std::string logTime;
    std::optional<bool> needed;
    bool selectRan = false;
    kohal::ZSLSelection selection;
    std::vector<uint32_t> selectedFrames;                      // the list the host checks
    std::optional<std::pair<int64_t, uint32_t>> motionCapture; // anchorTS and motionCapType
    std::optional<int64_t> zsdTs;
    std::optional<int64_t> curTime;
    std::optional<uint32_t> anchorFrame; // first frame shot after zsdTs
    std::optional<int32_t> anchorOffset;
    std::optional<int32_t> csbegin;
    std::vector<uint32_t> consumer;
    std::vector<uint32_t> producer;
    bool producerKnown = true;             // false: a log that never showed the producer list
    std::map<uint32_t, int64_t> shutterNs; // the metadata queue's records
    // The metadata queue's records' states by whose metadata they are, and
    // the first sensor-mode queue's records' modes.
    std::map<StatesSource, std::map<uint32_t, FrameStates>> states;
    std::map<uint32_t, int32_t> sensorModes;
    std::vector<CheckOutcome> checks;
    std::vector<uint32_t> taken; // the frames the host takes
    size_t requested = 0;        // the frames the capture wants
    std::vector<StepWarning> warnings;
    // Read from a device log: what the log cannot tell, and what was assumed;
    // what may differ in selectedFrames, and why the frames taken are not
    // known (each empty when the log tells).
    std::vector<std::string> notes;
    std::string selectionCaveat;
    std::string takenUnknown;
    RequestSeen request; // read from a device log
    // Read from a device log: how much of the capture's lines it holds, and
    // why not all, in words; what the missing lines leave unknown is said in
    // selectionUnknown, takenUnknown and each check's unknown.
    Completeness completeness = Completeness::Whole;
    std::string completenessWhy;
    // Read from a device log: why the frames selected (and the anchor the
    // selection counts from) are not known; empty when they are.
    std::string selectionUnknown;
    // Read from an info-level log: the selection ended without its end line,
    // because no consumer frame was new enough and pending support is on.
    bool finishedEarly = false;
    // The capture moment (curTime) is known: a lag needs it. A log may lack it.
    bool momentKnown = true;
    // Read without thread ids: its lines interleave with another capture's of
    // its process, and lines that name no fwkFrame may be either's.
    bool mixedThreads = false;
    // Read from a device log: whether the process wrote debug lines; if not,
    // what the plug-in logs at debug level (the presence check, accepted
    // frames) is not in the log.
    bool debugLines = true;
    std::vector<kohost::LogLine> log;
};

// The selector's configuration as its construction line states it.
struct SelectorConfig {
    bool pending = false;
    int64_t defaultMs = 0, projectMs = 0, userMs = 0;
};

struct SessionOutcome {
    std::string name;
    std::string file;
    std::string description;
    std::vector<kohost::LogLine> setupLog; // the selector's configuration line
    std::optional<SelectorConfig> config;  // ... read from a device log: the last one
    std::vector<StepOutcome> steps;
    std::vector<kohost::LogLine> androidLog; // every Android-log line, in order
    bool fromLog = false;                    // read from a device log, not replayed
    std::string fingerprint, reportTime;     // a bug report's build fingerprint and time
};

} // namespace zsl::outcome
