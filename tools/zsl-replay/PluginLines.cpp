// Reading the plug-in's line texts back: regular expressions over short,
// known message shapes.

#include "PluginLines.h"

#include <algorithm>
#include <regex>

namespace replay {

namespace {

bool contains(const std::string &text, const char *part)
{
    return text.find(part) != std::string::npos;
}

} // namespace

// The selection's own account of itself, from its lines.
void readSelectionLines(const std::vector<kohost::LogLine> &lines, StepOutcome &result)
{
    static const std::regex kZsdTs(R"(.* zsdTs:(-?\d+) curTime:(-?\d+))");
    static const std::regex kShutter(R"(.* (?:Consumer|Producer) list: (\d+) shutter time:(-?\d+) ?)");
    static const std::regex kAnchor(R"(.* ZSLAnchor offset:(-?\d+) csbegin:(-?\d+) .*)");
    std::smatch match;
    std::optional<std::pair<uint32_t, int64_t>> lastExamined;
    for (const kohost::LogLine &line : lines) {
        if (std::regex_match(line.text, match, kZsdTs)) {
            result.zsdTs = std::stoll(match[1]);
            result.curTime = std::stoll(match[2]);
        } else if (std::regex_match(line.text, match, kShutter)) {
            lastExamined = {static_cast<uint32_t>(std::stoul(match[1])), std::stoll(match[2])};
        } else if (std::regex_match(line.text, match, kAnchor)) {
            result.anchorOffset = std::stoi(match[1]);
            result.csbegin = std::stoi(match[2]);
        }
    }
    if (lastExamined && result.zsdTs && lastExamined->second > *result.zsdTs)
        result.anchorFrame = lastExamined->first;
}

// Why the plug-in refused a frame, in its own words.
std::string refusalReason(const std::vector<kohost::LogLine> &log)
{
    static const std::regex kInvalid(R"(.*No zslFrame: \d+ ?(?:,camid:(-?\d+) )?invalid)");
    static const std::regex kAeValue(R"(\[isAEStable\] tag\(0x1001f\) val=(\d+) target=([0-9,]+) bc=0)");
    static const std::regex kFrameMode(R"(.*perframeSensorMode ?[:=] ?(-?\d+))");
    static const std::regex kRequestMode(R"(.*reqDesiredSensorMode:(-?\d+))");
    std::vector<std::string> reasons;
    std::string rule;
    std::string frameMode = "?", requestMode = "?";
    std::smatch match;
    for (const kohost::LogLine &line : log) {
        const std::string &text = line.text;
        if (contains(text, "AF fail: ") || contains(text, "isRequiredEV fail") || contains(text, "not found") ||
            text == "Metadata is nullptr") {
            rule = text;
            while (!rule.empty() && rule.back() == ' ')
                rule.pop_back();
        } else if (std::regex_match(text, match, kAeValue)) {
            rule = "aeState " + match[1].str() + " not settled (accepted " + match[2].str() + ")";
        } else if (std::regex_match(text, match, kInvalid)) {
            reasons.push_back((match[1].matched ? "camera " + match[1].str() + ": " : std::string()) + rule);
        } else if (std::regex_match(text, match, kFrameMode)) {
            frameMode = match[1];
        } else if (std::regex_match(text, match, kRequestMode)) {
            requestMode = match[1];
        } else if (contains(text, "checkDesiredSensorMode fail")) {
            reasons.push_back("sensor mode " + frameMode + ", request wants " + requestMode);
        }
    }
    if (reasons.empty()) {
        bool sensorCheck = std::any_of(log.begin(), log.end(),
                                       [](const kohost::LogLine &line) { return contains(line.text, "checkFrameNum = "); });
        return sensorCheck ? "no sensor-mode queue" : "refused (no reason in the system log)";
    }
    std::string text;
    for (const std::string &reason : reasons)
        text += (text.empty() ? "" : "; ") + reason;
    return text;
}

} // namespace replay
