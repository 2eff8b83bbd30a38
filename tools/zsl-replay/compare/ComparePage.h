#pragma once
/*
 * ComparePage: a comparison as one self-contained HTML page (no request
 * leaves the file): per candidate and device, the taken frames' lags of
 * both sides drawn over each other, the rates as bars with their 95%
 * intervals, and the table of verdicts, in the style of the report page.
 */

#include "compare/Comparison.h"
#include "compare/Side.h"

#include <string>
#include <vector>

namespace zsl::compare {

std::string comparePage(const Side &base, const std::vector<Side> &candidates, const CompareResult &result);

} // namespace zsl::compare
