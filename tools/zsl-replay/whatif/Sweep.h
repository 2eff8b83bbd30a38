#pragma once
/*
 * Sweep: a what-if at each value of one property, a summary per value: the
 * rows as text, JSON and a picture of the value against the captures taken
 * in full and the median and p90 lag. Shares and lags are over the captures
 * known at every value, so that the rows compare alike.
 */

#include "whatif/WhatIfSummary.h"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

namespace zsl::whatif {

// One row of a sweep: a value, and the summary of every capture at it.
struct SweepRow {
    int64_t value = 0;
    WhatIfSummary summary;
};

// Of a sweep's rows, the captures known at every value: taken in full, and the lags.
std::vector<bool> inFullAtEveryValue(const std::vector<SweepRow> &rows);
std::vector<bool> lagsAtEveryValue(const std::vector<SweepRow> &rows);

void writeSweepText(std::ostream &out, const std::string &name, const std::vector<SweepRow> &rows);
nlohmann::ordered_json sweepJson(const std::string &name, const std::vector<SweepRow> &rows);
// The value against the captures taken in full, and against the median and
// p90 lag, as an SVG.
std::string sweepSvg(const std::string &name, const std::vector<SweepRow> &rows);

} // namespace zsl::whatif
