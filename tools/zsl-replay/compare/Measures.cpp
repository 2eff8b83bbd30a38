// The measures compare knows.

#include "compare/Measures.h"

#include "outcome/PluginLines.h"

#include <algorithm>

namespace zsl::compare {

const std::vector<Measure> &measures()
{
    static const std::vector<Measure> all = [] {
        using Kind = Measure::Kind;
        std::vector<Measure> list = {
            {"hit_rate", "fraction", Direction::HigherIsBetter, Kind::Hit, 0, ""},
            {"missing_rate", "fraction", Direction::LowerIsBetter, Kind::Missing, 0, ""},
            {"lag_p50_ms", "ms", Direction::LowerIsBetter, Kind::Lag, 50, ""},
            {"lag_p90_ms", "ms", Direction::LowerIsBetter, Kind::Lag, 90, ""},
            {"lag_p99_ms", "ms", Direction::LowerIsBetter, Kind::Lag, 99, ""},
        };
        for (const char *refusal : outcome::kRefusalClasses)
            list.push_back({std::string("refusal_rate_") + refusal, "fraction", Direction::LowerIsBetter, Kind::Refusal,
                            0, refusal});
        list.push_back({"unknown_rate", "fraction", Direction::LowerIsBetter, Kind::Unknown, 0, ""});
        return list;
    }();
    return all;
}

const Measure *findMeasure(std::string_view name)
{
    const std::vector<Measure> &all = measures();
    const auto found =
        std::find_if(all.begin(), all.end(), [&](const Measure &measure) { return measure.name == name; });
    return found == all.end() ? nullptr : &*found;
}

const char *directionName(Direction direction)
{
    return direction == Direction::LowerIsBetter ? "lower is better" : "higher is better";
}

} // namespace zsl::compare
