// The answer a capture opens with: each kind of fact in it, and that it
// claims no more than the step holds (a refusal-free capture is "none
// refused" only when no check can be missing).

#include "output/Answer.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

namespace {

using namespace zsl::outcome;

constexpr int64_t kMoment = 100'000'000'000;

// A capture that selected 44 45 46, wanted one frame and took 44, shot 83 ms
// before the capture moment, every frame accepted.
StepOutcome capture()
{
    StepOutcome step;
    step.kind = StepKind::Capture;
    step.captureNs = kMoment;
    step.needed = true;
    step.selectRan = true;
    step.selectedFrames = {44, 45, 46};
    step.shutterNs = {{44, kMoment - 83'000'000}, {45, kMoment - 50'000'000}};
    for (uint32_t frame : step.selectedFrames)
        step.checks.push_back(CheckOutcome{frame, {true, true}, "", "", "", false, {}});
    step.requested = 1;
    step.taken = {44};
    return step;
}

CheckOutcome &check(StepOutcome &step, uint32_t frame)
{
    for (CheckOutcome &c : step.checks)
        if (c.frame == frame)
            return c;
    return step.checks.front();
}

struct Case {
    const char *name;
    bool fromLog;
    std::function<void(StepOutcome &)> change;
    std::string answer;
};

TEST(Answer, SaysWhatTheStepHoldsAndNoMore)
{
    const std::vector<Case> cases = {
        {"a replay", false, [](StepOutcome &) {}, "took frame 44 (shot 83.000 ms before the capture); none refused"},
        {"a whole debug-level log", true, [](StepOutcome &) {},
         "took frame 44 (shot 83.000 ms before the capture); none refused"},
        {"several frames, all times known", false,
         [](StepOutcome &s) {
             s.requested = 2;
             s.taken = {44, 45};
         },
         "took frames 44, 45 (shot 83.000, 50.000 ms before the capture); none refused"},
        {"a time not in the log", true,
         [](StepOutcome &s) {
             s.requested = 2;
             s.taken = {45, 46};
         },
         "took frames 45, 46 (45: shot 50.000 ms before, 46: shot: not in the log); none refused"},
        {"no time known", true, [](StepOutcome &s) { s.taken = {46}; },
         "took frame 46 (shot: not in the log); none refused"},
        {"the capture moment not in the log", true, [](StepOutcome &s) { s.momentKnown = false; },
         "took frame 44 (shot: the capture moment is not in the log); none refused"},
        {"fewer taken than wanted", false,
         [](StepOutcome &s) {
             s.requested = 3;
             check(s, 45).verdict = {false, true};
             check(s, 45).explanation = "AE: state 1 SEARCHING";
             s.taken = {44, 46};
         },
         "took frames 44, 46 (44: shot 83.000 ms before, 46: shot: not in the log), 2 of 3 requested frames; "
         "45 refused: AE: state 1 SEARCHING"},
        {"none taken", false,
         [](StepOutcome &s) {
             s.requested = 2;
             s.taken.clear();
         },
         "took none of 2 requested frames; none refused"},
        {"two refusals with their reasons", true,
         [](StepOutcome &s) {
             check(s, 44).verdict = {false, false};
             check(s, 44).explanation = "sensor mode: frame 2, request 3";
             check(s, 45).verdict = {false, true};
             check(s, 45).explanation = "camera 2: AF: mode 4";
             s.taken = {46};
         },
         "took frame 46 (shot: not in the log); 44 refused: sensor mode: frame 2, request 3; 45 refused: camera 2: AF: "
         "mode 4"},
        {"an info-level log: accepted frames have no line", true, [](StepOutcome &s) { s.debugLines = false; },
         "took frame 44 (shot 83.000 ms before the capture); no refusal in the log"},
        {"a frame's check not in the log", true, [](StepOutcome &s) { s.checks.pop_back(); },
         "took frame 44 (shot 83.000 ms before the capture); no refusal in the log"},
        {"a verdict not in the log", true, [](StepOutcome &s) { check(s, 46).unknown = "info level"; },
         "took frame 44 (shot 83.000 ms before the capture); 1 frame check without a verdict in the log"},
        {"the log ends inside it", true, [](StepOutcome &s) { s.completeness = Completeness::EndsInside; },
         "took frame 44 (shot 83.000 ms before the capture); no refusal in the log; the log ends inside this "
         "capture"},
        {"the frames taken not in the log", true,
         [](StepOutcome &s) {
             s.takenUnknown = "the checks are not in the log";
             s.checks.clear();
             s.completeness = Completeness::StartsInside;
         },
         "the frames taken are not in the log; the log starts inside this capture"},
        {"how many frames it wants not in the log", true, [](StepOutcome &s) { s.requested = 0; },
         "how many frames the capture wants is not in the log; none refused"},
        {"the selection not in the log", true,
         [](StepOutcome &s) {
             s.selectionUnknown = "its lines are missing";
             s.checks.clear();
             s.completeness = Completeness::LinesMissing;
         },
         "the selection is not in the log; lines of this capture are missing from the log"},
        {"ZSL not needed", false,
         [](StepOutcome &s) {
             s = StepOutcome{};
             s.kind = StepKind::Needed;
             s.needed = false;
         },
         "ZSL not needed: the capture takes no buffered frame"},
        {"needed, no selection in the log", true,
         [](StepOutcome &s) {
             s = StepOutcome{};
             s.kind = StepKind::Needed;
             s.needed = true;
         },
         "ZSL needed; no selection in the log"},
        {"a selection alone", false,
         [](StepOutcome &s) {
             s.kind = StepKind::Select;
             s.checks.clear();
         },
         "selected 44 45 46"},
        {"a frame check alone", true,
         [](StepOutcome &s) {
             s = StepOutcome{};
             s.kind = StepKind::Check;
             s.checks.push_back(CheckOutcome{64, {false, false}, "", "sensor mode: frame 2, request 3", "", false, {}});
         },
         "frame 64 refused: sensor mode: frame 2, request 3"},
    };
    for (const Case &c : cases) {
        StepOutcome step = capture();
        c.change(step);
        EXPECT_EQ(zsl::output::answerText(step, c.fromLog), c.answer) << c.name;
    }
}

} // namespace
