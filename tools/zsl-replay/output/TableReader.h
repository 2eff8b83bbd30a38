#pragma once
/*
 * TableReader: capture-table rows read back into CaptureRows, from JSON
 * Lines or CSV (told by the first byte), so that a summary of many tables
 * is made by the same code as the report's own (FleetSummary). The inverse
 * of CaptureTableWriter: a row of another schema, a missing column or a
 * value of the wrong type is an error naming the file and the line.
 */

#include "output/CaptureTable.h"

#include <functional>
#include <istream>
#include <string>

namespace zsl::output {

// Each row of `in` to `row`; `name` names it in errors. Throws outcome::Error.
void readCaptureTable(std::istream &in, const std::string &name, const std::function<void(CaptureRow)> &row);

} // namespace zsl::output
