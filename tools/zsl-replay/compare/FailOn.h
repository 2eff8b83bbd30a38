#pragma once
/*
 * FailOn: a gate for CI, NAME:LIMIT (lag_p90_ms:+5, hit_rate:-0.01): it
 * trips when the measure is found worse by more than the limit, on any
 * device and candidate. The limit's sign, where given, must point the way
 * the measure gets worse, so that a gate cannot be written backwards.
 */

#include "compare/Comparison.h"
#include "compare/Measures.h"

#include <string>
#include <variant>
#include <vector>

namespace zsl::compare {

struct FailOn {
    const Measure *measure = nullptr;
    double limit = 0; // how much worse is allowed, in the measure's unit (not negative)
};

// The gate NAME:LIMIT, or why it is not one.
std::variant<FailOn, std::string> parseFailOn(const std::string &text);

// The results the gates trip on.
std::vector<const MeasureResult *> tripped(const CompareResult &result, const std::vector<FailOn> &gates);

} // namespace zsl::compare
