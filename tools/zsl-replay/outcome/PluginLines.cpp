// Reading the plug-in's line texts back: fixed markers and the decimal
// numbers after them, scanned in one pass without backtracking, so that a
// line of any length (a list of thousands of frames, a queue name of
// megabytes) costs linear time and no stack.

#include "outcome/PluginLines.h"

#include "outcome/AndroidEnums.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <set>
#include <string_view>

namespace zsl::outcome {

namespace {

bool contains(std::string_view text, std::string_view part)
{
    return text.find(part) != std::string_view::npos;
}


// "2 CONVERGED": a value with Android's name for it, where it has one.
std::string named(uint32_t tag, std::optional<int> value)
{
    if (!value)
        return "?";
    const std::vector<std::string> *names = enumNames(tag);
    const bool known = names && *value >= 0 && static_cast<size_t>(*value) < names->size();
    return std::to_string(*value) + (known ? " " + (*names)[static_cast<size_t>(*value)] : "");
}

// The engineer's wording of one rule line of the plug-in.
std::string explain(std::string_view text)
{
    if (auto history = numberAfter<int>(text, "EV(History)="))
        return "EV: frame " + std::to_string(*history) + ", request " +
               std::to_string(numberAfter<int>(text, "EV(Target)=").value_or(0));
    if (contains(text, "AF fail: "))
        return "AF: mode " + named(0x10007, numberAfter<int>(text, "afMode=")) + ", state " +
               named(0x10020, numberAfter<int>(text, "afState=")) + ", lens " +
               named(0x80009, numberAfter<int>(text, "lensState="));
    if (contains(text, "aeState"))
        return "AE: state " + named(0x1001f, numberAfter<int>(text, "aeState ")) + ", not 2 CONVERGED, 3 LOCKED or 4 FLASH_REQUIRED";
    if (contains(text, "tag(0x1001f) not found"))
        return "AE: android.control.aeState missing";
    for (const char *tag : {"android.control.afMode", "android.control.afState", "android.lens.state"})
        if (contains(text, tag))
            return std::string("AF: ") + tag + " missing";
    if (text == "Metadata is nullptr")
        return "no metadata";
    return std::string(text);
}

} // namespace

// Every decimal number of a list's text, "41 42 43 ".
std::vector<uint32_t> numbersIn(std::string_view text)
{
    std::vector<uint32_t> numbers;
    const char *at = text.data(), *end = text.data() + text.size();
    while (at < end) {
        uint32_t value = 0;
        auto [next, error] = std::from_chars(at, end, value);
        if (error == std::errc())
            numbers.push_back(value);
        at = next == at ? at + 1 : next;
    }
    return numbers;
}

// The selection's own account of itself, from its lines.
void readSelectionLines(const std::vector<kohost::LogLine> &lines, StepOutcome &result)
{
    std::optional<std::pair<uint32_t, int64_t>> lastExamined;
    for (const kohost::LogLine &line : lines) {
        const std::string_view text = line.text;
        if (const auto list = text.find(" Current Consumer list: "); list != std::string_view::npos) {
            result.consumer = numbersIn(text.substr(list + 23));
        } else if (const auto list = text.find(" Current Producer list: "); list != std::string_view::npos) {
            result.producer = numbersIn(text.substr(list + 23));
        } else if (text.rfind("<mc anchor pick> anchorTS:", 0) == 0) {
            const uint32_t type = numberAfter<uint32_t>(text, "motionCapType:0x", 16).value_or(0);
            if ((type & 0xFF) == 1) // a motion capture: zsdTs follows the anchor time stamp
                result.motionCapture = {numberAfter<int64_t>(text, "anchorTS:").value_or(0), type};
        } else if (auto zsdTs = numberAfter<int64_t>(text, " zsdTs:")) {
            result.zsdTs = zsdTs;
            result.curTime = numberAfter<int64_t>(text, " curTime:");
        } else if (contains(text, " shutter time:") &&
                   (contains(text, " Consumer list: ") || contains(text, " Producer list: "))) {
            auto frame = numberAfter<uint32_t>(text, " list: ");
            auto shutter = numberAfter<int64_t>(text, " shutter time:");
            if (frame && shutter) {
                lastExamined = {*frame, *shutter};
                result.shutterNs.emplace(*frame, *shutter);
            }
        } else if (auto offset = numberAfter<int32_t>(text, " ZSLAnchor offset:")) {
            result.anchorOffset = offset;
            result.csbegin = numberAfter<int32_t>(text, " csbegin:");
        } else if (auto gone = numberAfter<uint32_t>(text, " list: "); gone && contains(text, "ResultMetaTarget removed")) {
            result.warnings.push_back(
                {*gone, "frame " + std::to_string(*gone) + " is listed but has left the queue (no record)"});
        } else if (auto lacked = numberAfter<uint32_t>(text, "cannot find zslFrame: ")) {
            const auto name = text.find(" in [");
            result.warnings.push_back(
                {*lacked, "the selection's first frame " + std::to_string(*lacked) + " was passed over: queue " +
                              std::string(text.substr(name + 4, text.find("], move") - name - 3)) + " does not hold it"});
        }
    }
    if (lastExamined && result.zsdTs && lastExamined->second > *result.zsdTs)
        result.anchorFrame = lastExamined->first;
}

// Why the plug-in refused a frame.
Refusal refusal(const std::vector<kohost::LogLine> &log)
{
    constexpr std::string_view kAeLine = "[isAEStable] tag(0x1001f) val=";
    std::vector<Refusal> reasons;
    std::string rule;
    std::string explanation;
    std::string frameMode = "?", requestMode = "?";
    for (const kohost::LogLine &line : log) {
        const std::string_view text = line.text;
        if (contains(text, "AF fail: ") || contains(text, "isRequiredEV fail") || contains(text, "not found") ||
            text == "Metadata is nullptr") {
            rule = text.substr(0, text.find_last_not_of(' ') + 1);
            explanation = explain(rule);
        } else if (text.rfind(kAeLine, 0) == 0 && contains(text, " target=")) {
            const auto target = text.find(" target=") + 8;
            const auto end = text.find(" bc=", target);
            rule = "aeState " + std::to_string(numberAfter<int>(text, kAeLine).value_or(-1)) +
                   " not settled (accepted " + std::string(text.substr(target, end - target)) + ")";
            explanation = explain(rule);
        } else if (contains(text, "No zslFrame: ") && text.size() >= 7 && text.substr(text.size() - 7) == "invalid") {
            auto camera = numberAfter<int>(text, ",camid:");
            const std::string who = camera ? "camera " + std::to_string(*camera) + ": " : "";
            reasons.push_back({who + rule, who + explanation});
        } else if (contains(text, "perframeSensorMode")) {
            const auto at = text.find_first_not_of(" :=", text.find("perframeSensorMode") + 18);
            if (auto mode = numberAfter<int>(text.substr(at == std::string_view::npos ? text.size() : at), ""))
                frameMode = std::to_string(*mode);
        } else if (auto mode = numberAfter<int>(text, "reqDesiredSensorMode:")) {
            requestMode = std::to_string(*mode);
        } else if (contains(text, "checkDesiredSensorMode fail")) {
            reasons.push_back({"sensor mode " + frameMode + ", request wants " + requestMode,
                               "sensor mode: frame " + frameMode + ", request " + requestMode});
        }
    }
    if (reasons.empty()) {
        bool sensorCheck = std::any_of(log.begin(), log.end(),
                                       [](const kohost::LogLine &line) { return contains(line.text, "checkFrameNum = "); });
        if (sensorCheck)
            return {"no sensor-mode queue", "sensor mode: no sensor-mode queue to compare with"};
        return {"refused (no reason in the system log)", "not in the log: the system log was closed"};
    }
    Refusal all;
    for (const Refusal &reason : reasons) {
        all.reason += (all.reason.empty() ? "" : "; ") + reason.reason;
        all.explanation += (all.explanation.empty() ? "" : "; ") + reason.explanation;
    }
    return all;
}

std::vector<std::string> refusalClasses(std::string_view explanation)
{
    // Each of the explanation's parts, "[camera N: ]CLASS: ...", by the words
    // explain() and refusal() start it with.
    static const std::pair<std::string_view, std::string_view> kStarts[] = {
        {"AE: ", "ae"}, {"AF: ", "af"}, {"EV: ", "ev"}, {"sensor mode: ", "sensor_mode"},
        {"no metadata", "no_metadata"}, {"not in the log: ", "unlogged"}};
    std::set<std::string_view> named;
    while (!explanation.empty()) {
        const size_t end = std::min(explanation.find("; "), explanation.size());
        std::string_view part = explanation.substr(0, end);
        explanation.remove_prefix(std::min(end + 2, explanation.size()));
        if (part.rfind("camera ", 0) == 0 && part.find(": ") != std::string_view::npos)
            part.remove_prefix(part.find(": ") + 2);
        std::string_view kind = "other";
        for (const auto &[start, name] : kStarts)
            if (part.rfind(start, 0) == 0)
                kind = name;
        named.insert(kind);
    }
    std::vector<std::string> classes;
    for (const char *kind : kRefusalClasses)
        if (named.count(kind))
            classes.emplace_back(kind);
    return classes;
}

} // namespace zsl::outcome
