// A capture's answer in one sentence, from its facts.

#include "output/Answer.h"

#include "outcome/FrameText.h"
#include "output/Plural.h"
#include "output/TimeText.h"

namespace zsl::output {

using namespace zsl::outcome;

namespace {

// How long before the capture moment each frame was shot, or why that is
// not known: "(shot 83.087 ms before the capture)".
std::string whenShot(const StepOutcome &step, const std::vector<uint32_t> &frames)
{
    std::vector<std::string> lags;
    size_t unknown = 0;
    for (uint32_t frame : frames) {
        const auto shutter = step.shutterNs.find(frame);
        if (shutter == step.shutterNs.end() || !step.momentKnown) {
            ++unknown;
            lags.emplace_back();
            continue;
        }
        lags.push_back(
            millisecondsText((static_cast<double>(step.captureNs) - static_cast<double>(shutter->second)) / 1e6));
    }
    const char *why = step.momentKnown ? "shot: not in the log" : "shot: the capture moment is not in the log";
    if (unknown == frames.size())
        return std::string(" (") + why + ")";
    std::string text;
    if (unknown == 0) {
        for (const std::string &lag : lags)
            text += (text.empty() ? "" : ", ") + lag;
        return " (shot " + text + " ms before the capture)";
    }
    // Some known, some not: frame by frame.
    text = " (";
    for (size_t i = 0; i < frames.size(); ++i)
        text += (i == 0 ? "" : ", ") + std::to_string(frames[i]) + ": " +
                (lags[i].empty() ? std::string(why) : "shot " + lags[i] + " ms before");
    return text + ")";
}

std::string takenPart(const StepOutcome &step, bool fromLog)
{
    if (!step.takenUnknown.empty())
        return "the frames taken are not in the log";
    if (step.requested == 0)
        return fromLog ? "how many frames the capture wants is not in the log" : "the capture wants no frame";
    if (step.taken.empty())
        return "took none of " + plural(step.requested, "requested frame", "requested frames");
    std::string text = step.taken.size() == 1 ? "took frame " : "took frames ";
    for (size_t i = 0; i < step.taken.size(); ++i)
        text += (i == 0 ? "" : ", ") + std::to_string(step.taken[i]);
    text += whenShot(step, step.taken);
    if (step.taken.size() < step.requested)
        text += ", " + std::to_string(step.taken.size()) + " of " +
                plural(step.requested, "requested frame", "requested frames");
    return text;
}

// Each refusal with its reason; or that there was none, as far as the log
// tells.
std::string refusalsPart(const StepOutcome &step, bool fromLog)
{
    std::string text;
    size_t unknown = 0;
    for (const CheckOutcome &check : step.checks) {
        if (!check.unknown.empty())
            ++unknown;
        else if (!check.verdict.first)
            text += (text.empty() ? "" : "; ") + std::to_string(check.frame) + " refused: " + check.explanation;
    }
    if (unknown > 0)
        text += (text.empty() ? "" : "; ") + plural(unknown, "frame check", "frame checks") +
                " without a verdict in the log";
    if (!text.empty() || step.checks.empty())
        return text;
    // Every verdict known and none a refusal: certain only when no line of the
    // capture can be missing and every selected frame's check is there (a log
    // may end after the frames taken were checked, before the others were).
    const bool certain = !fromLog || (step.completeness == Completeness::Whole && step.debugLines &&
                                      step.checks.size() >= step.selectedFrames.size());
    return certain ? "none refused" : "no refusal in the log";
}

std::string capturePart(const StepOutcome &step, bool fromLog)
{
    if (step.needed && !*step.needed)
        return "ZSL not needed: the capture takes no buffered frame";
    if (!step.selectRan)
        return step.kind == StepKind::Needed || step.needed
                   ? std::string("ZSL needed; ") + (fromLog ? "no selection in the log" : "no selection asked")
                   : "";
    if (!step.selectionUnknown.empty())
        return "the selection is not in the log";
    if (step.kind == StepKind::Select)
        return "selected " + frameText(step.selectedFrames);
    return takenPart(step, fromLog);
}

} // namespace

std::string answerText(const StepOutcome &step, bool fromLog)
{
    std::vector<std::string> parts;
    if (step.kind == StepKind::Check) {
        for (const CheckOutcome &check : step.checks)
            parts.push_back("frame " + std::to_string(check.frame) +
                            (!check.unknown.empty() ? " checked: verdict not in the log"
                             : check.verdict.first  ? " accepted"
                                                    : " refused: " + check.explanation));
    } else {
        if (std::string capture = capturePart(step, fromLog); !capture.empty())
            parts.push_back(std::move(capture));
        if (std::string refusals = refusalsPart(step, fromLog); !refusals.empty())
            parts.push_back(std::move(refusals));
    }
    if (step.completeness != Completeness::Whole)
        parts.push_back(completenessText(step.completeness, ""));
    std::string text;
    for (const std::string &part : parts)
        text += (text.empty() ? "" : "; ") + part;
    return text;
}

} // namespace zsl::output
