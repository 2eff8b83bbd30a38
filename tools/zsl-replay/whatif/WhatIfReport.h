#pragma once
/*
 * WhatIfReport: one capture before and after a change, written for an
 * engineer (side by side: window, anchor, begin, selection, each frame's
 * verdict, frames taken and their lag; then what changed, and each fact
 * the input does not ground, with why and what is known of it), for
 * machines (each side as a replay step's JSON, a fact not grounded null and
 * named under "unknown", its bounds under "bounds"), and as a table row.
 */

#include "output/CaptureTable.h"
#include "whatif/Comparison.h"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace zsl::whatif {

// The schema of the what-if table's rows, in every row.
constexpr char kWhatIfTableSchema[] = "zsl-whatif-table/1";

// What the text report and the page show of a comparison: a title, rows of
// a fact before and after, what changed, and each side's facts not known,
// those of one reason named together.
struct ComparisonView {
    // A row's fact, the same for every capture; FrameCheck rows, one per frame.
    enum class Fact { Needed, Window, Anchor, Begin, Selected, FrameCheck, Taken };
    // How one side's cell reads: a value, not known, a frame's verdict, or no check of the frame.
    enum class State { Known, NotKnown, Accepted, Refused, NoCheck };
    struct Cell {
        std::string text;
        State state = State::Known;
    };
    struct Row {
        Fact fact;
        std::string what;   // the row's name: "window", "frame 64"
        uint32_t frame = 0; // a frame check's frame
        Cell before, after;
    };
    std::string title;   // what the capture is, the input named
    std::string heading; // the same without the input, for a page that names it once
    std::vector<Row> rows;
    std::optional<bool> changed;
    std::string verdict;                                       // "changed, anchor earlier"
    std::vector<std::pair<std::string, std::string>> notKnown; // "after, not known: facts", why
};
ComparisonView comparisonView(const Comparison &comparison);

void writeComparisonText(std::ostream &out, const Comparison &comparison);
nlohmann::ordered_json comparisonJson(const Comparison &comparison);
nlohmann::ordered_json comparisonRow(const Comparison &comparison);

} // namespace zsl::whatif
