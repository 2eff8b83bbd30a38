// Reading the plug-in's line texts back: fixed markers and the decimal
// numbers after them, scanned in one pass without backtracking, so that a
// line of any length (a list of thousands of frames, a queue name of
// megabytes) costs linear time and no stack.

#include "PluginLines.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <string_view>

namespace replay {

namespace {

bool contains(std::string_view text, std::string_view part)
{
    return text.find(part) != std::string_view::npos;
}

// The signed decimal number right after the first marker in text.
template <typename T> std::optional<T> numberAfter(std::string_view text, std::string_view marker)
{
    const auto at = text.find(marker);
    if (at == std::string_view::npos)
        return std::nullopt;
    const char *begin = text.data() + at + marker.size();
    T value{};
    auto [end, error] = std::from_chars(begin, text.data() + text.size(), value);
    if (error != std::errc() || end == begin)
        return std::nullopt;
    return value;
}

} // namespace

// The selection's own account of itself, from its lines.
void readSelectionLines(const std::vector<kohost::LogLine> &lines, StepOutcome &result)
{
    std::optional<std::pair<uint32_t, int64_t>> lastExamined;
    for (const kohost::LogLine &line : lines) {
        const std::string_view text = line.text;
        if (auto zsdTs = numberAfter<int64_t>(text, " zsdTs:")) {
            result.zsdTs = zsdTs;
            result.curTime = numberAfter<int64_t>(text, " curTime:");
        } else if (contains(text, " shutter time:") &&
                   (contains(text, " Consumer list: ") || contains(text, " Producer list: "))) {
            auto frame = numberAfter<uint32_t>(text, " list: ");
            auto shutter = numberAfter<int64_t>(text, " shutter time:");
            if (frame && shutter)
                lastExamined = {*frame, *shutter};
        } else if (auto offset = numberAfter<int32_t>(text, " ZSLAnchor offset:")) {
            result.anchorOffset = offset;
            result.csbegin = numberAfter<int32_t>(text, " csbegin:");
        }
    }
    if (lastExamined && result.zsdTs && lastExamined->second > *result.zsdTs)
        result.anchorFrame = lastExamined->first;
}

// Why the plug-in refused a frame, in its own words.
std::string refusalReason(const std::vector<kohost::LogLine> &log)
{
    constexpr std::string_view kAeLine = "[isAEStable] tag(0x1001f) val=";
    std::vector<std::string> reasons;
    std::string rule;
    std::string frameMode = "?", requestMode = "?";
    for (const kohost::LogLine &line : log) {
        const std::string_view text = line.text;
        if (contains(text, "AF fail: ") || contains(text, "isRequiredEV fail") || contains(text, "not found") ||
            text == "Metadata is nullptr") {
            rule = text.substr(0, text.find_last_not_of(' ') + 1);
        } else if (text.rfind(kAeLine, 0) == 0 && contains(text, " target=")) {
            const auto target = text.find(" target=") + 8;
            const auto end = text.find(" bc=", target);
            rule = "aeState " + std::to_string(numberAfter<int>(text, kAeLine).value_or(-1)) +
                   " not settled (accepted " + std::string(text.substr(target, end - target)) + ")";
        } else if (contains(text, "No zslFrame: ") && text.size() >= 7 && text.substr(text.size() - 7) == "invalid") {
            auto camera = numberAfter<int>(text, ",camid:");
            reasons.push_back((camera ? "camera " + std::to_string(*camera) + ": " : std::string()) + rule);
        } else if (contains(text, "perframeSensorMode")) {
            const auto at = text.find_first_not_of(" :=", text.find("perframeSensorMode") + 18);
            if (auto mode = numberAfter<int>(text.substr(at == std::string_view::npos ? text.size() : at), ""))
                frameMode = std::to_string(*mode);
        } else if (auto mode = numberAfter<int>(text, "reqDesiredSensorMode:")) {
            requestMode = std::to_string(*mode);
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
