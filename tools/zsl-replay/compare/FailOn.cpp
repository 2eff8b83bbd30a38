// CI gates on compare's verdicts.

#include "compare/FailOn.h"

#include <cmath>
#include <cstdlib>

namespace zsl::compare {

std::variant<FailOn, std::string> parseFailOn(const std::string &text)
{
    const size_t colon = text.rfind(':');
    if (colon == std::string::npos)
        return "--fail-on " + text + ": write NAME:LIMIT, for example lag_p90_ms:+5";
    const std::string name = text.substr(0, colon), number = text.substr(colon + 1);
    FailOn gate;
    gate.measure = findMeasure(name);
    if (!gate.measure)
        return "--fail-on " + text + ": no measure is called " + name + " (docs/compare.md lists them)";
    char *end = nullptr;
    const double limit = std::strtod(number.c_str(), &end);
    if (number.empty() || *end != '\0' || !std::isfinite(limit))
        return "--fail-on " + text + ": the limit \"" + number + "\" is not a number";
    const bool lowerIsBetter = gate.measure->direction == Direction::LowerIsBetter;
    const char sign = number[0];
    if ((sign == '+' && !lowerIsBetter) || (sign == '-' && lowerIsBetter && limit != 0))
        return "--fail-on " + text + ": " + name + " gets worse as it " + (lowerIsBetter ? "rises" : "falls") +
               ": write " + name + ":" + (lowerIsBetter ? "+" : "-") + number.substr(1);
    gate.limit = std::fabs(limit);
    return gate;
}

std::vector<const MeasureResult *> tripped(const CompareResult &result, const std::vector<FailOn> &gates)
{
    std::vector<const MeasureResult *> out;
    for (const MeasureResult &measured : result.results)
        for (const FailOn &gate : gates)
            if (measured.measure == gate.measure && measured.verdict == Verdict::Worse &&
                worsening(measured) > gate.limit) {
                out.push_back(&measured);
                break;
            }
    return out;
}

} // namespace zsl::compare
