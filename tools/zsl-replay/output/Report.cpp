// The text and JSON reports of a session's outcome.

#include "output/Report.h"

#include "outcome/FrameText.h"
#include "output/Answer.h"
#include "output/TextOut.h"
#include "output/TimeText.h"

#include <cstdio>
#include <string>

namespace zsl::output {

using namespace zsl::outcome;

namespace {

std::string frames(const std::vector<uint32_t> &list)
{
    return frameText(list, "(none)");
}

// A time relative to the capture moment, in ms.
std::string relativeMs(int64_t ns, int64_t captureNs)
{
    // In double: the difference of two times near the int64 limits overflows.
    return millisecondsText((static_cast<double>(ns) - static_cast<double>(captureNs)) / 1e6, true) + " ms";
}

// How long before the capture moment a frame was shot, where the metadata
// queue holds its record.
std::string lag(const StepOutcome &step, uint32_t frame)
{
    auto shutter = step.shutterNs.find(frame);
    if (shutter == step.shutterNs.end())
        return step.notes.empty() ? "" : "shot: not in the log";
    if (!step.momentKnown)
        return "shot: not known against the capture moment, which is not in the log";
    return "shot " +
           millisecondsText((static_cast<double>(step.captureNs) - static_cast<double>(shutter->second)) / 1e6) +
           " ms before the capture";
}

std::string verdictText(const CheckOutcome &check)
{
    if (!check.unknown.empty())
        return "verdict unknown: " + check.unknown;
    std::string text = check.verdict.first ? "accepted" : "refused: " + check.explanation;
    if (!check.verdict.first && check.explanation != check.reason)
        text += "   [plug-in: " + check.reason + "]";
    if (check.verdict.second != check.verdict.first && check.verdict.first)
        text += " (second flag false)";
    return text;
}

// "took 2 of 4 requested frames: 125 (shot ...), 126 (...); 2 missing: ..."
std::string takenText(const StepOutcome &step)
{
    std::string text = "took " + std::to_string(step.taken.size()) + " of " + std::to_string(step.requested) +
                       " requested frame" + (step.requested == 1 ? "" : "s");
    for (size_t i = 0; i < step.taken.size(); ++i) {
        const std::string when = lag(step, step.taken[i]);
        text += (i == 0 ? ": " : ", ") + std::to_string(step.taken[i]) + (when.empty() ? "" : " (" + when + ")");
    }
    if (step.taken.size() >= step.requested)
        return text;
    std::vector<uint32_t> refused;
    for (const CheckOutcome &check : step.checks)
        if (!check.verdict.first)
            refused.push_back(check.frame);
    text += "; " + std::to_string(step.requested - step.taken.size()) + " missing:";
    if (!refused.empty())
        text += " refused " + frames(refused) + ";";
    return text + " the selection held " + std::to_string(step.selectedFrames.size()) + " frame" +
           (step.selectedFrames.size() == 1 ? "" : "s");
}

nlohmann::json logJson(const std::vector<kohost::LogLine> &log)
{
    nlohmann::json lines = nlohmann::json::array();
    for (const kohost::LogLine &line : log)
        lines.push_back({{"level", line.level},
                         {"file", line.fileName},
                         {"function", line.function},
                         {"line", line.line},
                         {"text", line.text}});
    return lines;
}

} // namespace

void writeText(std::ostream &out, const SessionOutcome &trace, bool withLog)
{
    writeSessionHeader(out, trace);
    for (const StepOutcome &step : trace.steps)
        writeStepText(out, trace, step, withLog);
}

void writeSessionHeader(std::ostream &out, const SessionOutcome &trace)
{
    out << "== " << trace.name << "  (" << trace.file << ")" << (trace.fromLog ? ", read from a log" : "") << "\n";
    if (!trace.description.empty())
        out << "   " << trace.description << "\n";
    if (!trace.fingerprint.empty() || !trace.reportTime.empty())
        out << "   bug report of " << (trace.fingerprint.empty() ? "a device it does not name" : trace.fingerprint)
            << (trace.reportTime.empty() ? "" : ", taken " + trace.reportTime) << "\n";
    for (const kohost::LogLine &line : trace.setupLog)
        out << "   selector: " << line.text << "\n";
}

void writeStepText(std::ostream &out, const SessionOutcome &trace, const StepOutcome &step, bool withLog)
{
    out << stepText(trace, step);
    if (withLog)
        writeStepLog(out, step);
}

void writeStepLog(std::ostream &out, const StepOutcome &step)
{
    for (const kohost::LogLine &line : step.log)
        out << "      | " << line.level << " " << line.function << "() " << line.text << "\n";
}

std::string stepText(const SessionOutcome &trace, const StepOutcome &step, const std::string *answer)
{
    TextOut out;
    out << "-- " << stepKindName(step.kind) << " fwkFrame " << step.fwkFrame;
    if (!step.label.empty())
        out << ": " << step.label;
    if (!step.logTime.empty())
        out << ", at " << step.logTime;
    out << "\n";
    const std::string made = answer ? std::string() : answerText(step, trace.fromLog);
    if (const std::string &said = answer ? *answer : made; !said.empty())
        out << "   answer: " << said << "\n";
    if (step.completeness != Completeness::Whole)
        out << "   not whole: " << completenessText(step.completeness, step.completenessWhy) << "\n";
    if (step.needed)
        out << "   ZSL needed: " << (*step.needed ? "yes" : "no") << "\n";
    if (step.selectRan) {
        out << "   consumer list: " << frames(step.consumer)
            << "   producer list: " << (step.producerKnown ? frames(step.producer) : "not in the log") << "\n";
        if (!step.momentKnown && step.zsdTs)
            out << "   window: frames shot after " << *step.zsdTs
                << " ns of the boot-time clock may anchor the selection (zsdTs); the capture moment is not in the "
                   "log\n";
        if (step.motionCapture && step.momentKnown) {
            char type[16];
            std::snprintf(type, sizeof(type), "0x%x", step.motionCapture->second);
            out << "   motion capture " << type << ": anchor time stamp at "
                << relativeMs(step.motionCapture->first, step.captureNs) << ", zsdTs "
                << ((step.motionCapture->second & 0xF0000) ? 30 : 60) << " ms after it\n";
        }
        if (step.zsdTs && step.momentKnown)
            out << "   window: frames shot after " << relativeMs(*step.zsdTs, step.captureNs)
                << " may anchor the selection (zsdTs)\n";
        if (step.anchorFrame && step.momentKnown && step.shutterNs.count(*step.anchorFrame))
            out << "   anchor: frame " << *step.anchorFrame << ", the first shot after that, at "
                << relativeMs(step.shutterNs.at(*step.anchorFrame), step.captureNs) << "\n";
        else if (step.anchorFrame)
            out << "   anchor: frame " << *step.anchorFrame << ", the first shot after that\n";
        else if (!step.selectionUnknown.empty())
            out << "   anchor: not known\n";
        else if (step.anchorOffset)
            out << "   anchor: none, no listed frame was shot after that\n";
        if (step.anchorOffset)
            out << "   the selection starts at list position " << *step.csbegin << " (csbegin; anchor offset "
                << *step.anchorOffset << ")\n";
        if (!step.selectionUnknown.empty())
            out << "   selected: not known (" << step.selectionUnknown << ")\n";
        else if (trace.fromLog && !step.selectedFrames.empty())
            out << "   selected: " << frames(step.selectedFrames)
                << (step.selectionCaveat.empty() ? "" : " (" + step.selectionCaveat + ")") << "\n";
        else if (step.selection.empty())
            out << "   selected: none (the selector finished early)\n";
        for (const auto &[id, list] : step.selection)
            out << "   selected for queue " << id << ": " << frames(list) << "\n";
    }
    for (const StepWarning &warning : step.warnings)
        out << "   warning: " << warning.text << "\n";
    for (const CheckOutcome &check : step.checks) {
        const std::string when = lag(step, check.frame);
        out << "   frame " << check.frame << (when.empty() ? "" : " (" + when + ")") << ": " << verdictText(check)
            << "\n";
    }
    if (!step.takenUnknown.empty())
        out << "   taken: not in the log (" << step.takenUnknown << ")\n";
    else if (step.kind == StepKind::Capture && step.selectRan && (step.requested > 0 || !trace.fromLog))
        out << "   " << takenText(step) << "\n";
    for (const std::string &note : step.notes)
        out << "   note: " << note << "\n";
    return out.take();
}

nlohmann::json toJson(const SessionOutcome &trace)
{
    nlohmann::json steps = nlohmann::json::array();
    for (const StepOutcome &step : trace.steps)
        steps.push_back(stepJson(trace, step));
    nlohmann::json out = sessionJson(trace);
    out["steps"] = std::move(steps);
    return out;
}

nlohmann::json stepJson(const SessionOutcome &trace, const StepOutcome &step)
{
    nlohmann::json out = {{"kind", stepKindName(step.kind)},
                          {"label", step.label},
                          {"fwkFrame", step.fwkFrame},
                          {"captureTimeNs", step.momentKnown ? nlohmann::json(step.captureNs) : nlohmann::json()},
                          {"answer", answerText(step, trace.fromLog)}};
    if (trace.fromLog) {
        // The capture table's names; an id the log's format does not show is null.
        out["pid"] = step.pid == kUnknownId ? nlohmann::json() : nlohmann::json(step.pid);
        out["tid"] = step.tid == kUnknownId ? nlohmann::json() : nlohmann::json(step.tid);
        out["line"] = step.firstLine;
        out["log_time"] = step.logTime;
    }
    if (step.needed)
        out["needed"] = *step.needed;
    if (step.selectRan) {
        nlohmann::json selection = nlohmann::json::object();
        for (const auto &[id, list] : step.selection)
            selection[std::to_string(id)] = list;
        out["selection"] = selection;
        out["consumer"] = step.consumer;
        out["producer"] = step.producerKnown ? nlohmann::json(step.producer) : nlohmann::json();
        if (step.motionCapture)
            out["motionCapture"] = {{"anchorTimeStampNs", step.motionCapture->first},
                                    {"motionCapType", step.motionCapture->second}};
        out["zsdTs"] = step.zsdTs ? nlohmann::json(*step.zsdTs) : nlohmann::json();
        out["curTime"] = step.curTime ? nlohmann::json(*step.curTime) : nlohmann::json();
        out["anchorFrame"] = step.anchorFrame ? nlohmann::json(*step.anchorFrame) : nlohmann::json();
        out["anchorOffset"] = step.anchorOffset ? nlohmann::json(*step.anchorOffset) : nlohmann::json();
        out["csbegin"] = step.csbegin ? nlohmann::json(*step.csbegin) : nlohmann::json();
        nlohmann::json shutter = nlohmann::json::object();
        for (const auto &[frame, ns] : step.shutterNs)
            shutter[std::to_string(frame)] = ns;
        out["shutterTimeNs"] = shutter;
    }
    nlohmann::json checks = nlohmann::json::array();
    for (const CheckOutcome &check : step.checks) {
        const bool known = check.unknown.empty();
        checks.push_back(
            {{"frame", check.frame},
             {"verdict", known ? nlohmann::json{check.verdict.first, check.verdict.second} : nlohmann::json()},
             {"accepted", known ? nlohmann::json(check.verdict.first) : nlohmann::json()},
             {"secondFlag", known ? nlohmann::json(check.verdict.second) : nlohmann::json()},
             {"reason", check.reason},
             {"explanation", check.explanation}});
        if (!known)
            checks.back()["unknown"] = check.unknown;
    }
    out["checks"] = checks;
    if (step.kind == StepKind::Capture && step.selectRan) {
        out["taken"] = step.takenUnknown.empty() ? nlohmann::json(step.taken) : nlohmann::json();
        out["requested"] = step.requested;
    }
    nlohmann::json warnings = nlohmann::json::array();
    for (const StepWarning &warning : step.warnings)
        warnings.push_back({{"frame", warning.frame}, {"text", warning.text}});
    out["warnings"] = warnings;
    if (trace.fromLog) {
        out["completeness"] = completenessName(step.completeness);
        if (step.completeness != Completeness::Whole)
            out["completenessWhy"] = completenessText(step.completeness, step.completenessWhy);
        out["selectedFrames"] = step.selectionUnknown.empty() ? nlohmann::json(step.selectedFrames) : nlohmann::json();
        if (!step.selectionUnknown.empty())
            out["selectionUnknown"] = step.selectionUnknown;
        out["notes"] = step.notes;
        if (!step.selectionCaveat.empty())
            out["selectionCaveat"] = step.selectionCaveat;
        if (!step.takenUnknown.empty())
            out["takenUnknown"] = step.takenUnknown;
    }
    out["log"] = logJson(step.log);
    return out;
}

nlohmann::json sessionJson(const SessionOutcome &trace)
{
    return {{"name", trace.name},
            {"file", trace.file},
            {"fromLog", trace.fromLog},
            {"device", trace.fingerprint},
            {"reportTime", trace.reportTime},
            {"setupLog", logJson(trace.setupLog)}};
}

} // namespace zsl::output
