// A what-if as one HTML page: the summary, then one table of every capture
// with the same columns, each cell before and after.

#include "whatif/WhatIfPage.h"

#include "output/SvgText.h"

#include <algorithm>
#include <sstream>

namespace zsl::whatif {

using output::svg::escape;

namespace {

const char kStyle[] = R"(body { font: 14px/1.4 system-ui, sans-serif; margin: 1.5em; color: #222; }
h1 { font-size: 1.3em; margin-bottom: 0.2em; }
p.inputs { color: #444; margin: 0 0 0.8em; }
pre.summary { background: #f4f6f8; padding: 0.8em; border-radius: 4px; white-space: pre-wrap; }
table { border-collapse: collapse; margin: 0.6em 0; }
th, td { text-align: left; padding: 3px 10px 3px 6px; vertical-align: top; border: 1px solid #ddd; }
thead th { background: #eef1f5; position: sticky; top: 0; }
td.changed { color: #b35900; font-weight: bold; }
td.open { color: #8a5a00; font-style: italic; }
td.differs { background: #fff3e0; }
td.unknown { color: #6b4a00; font-size: 0.93em; min-width: 22em; max-width: 36em; }
td.unknown p { margin: 0 0 0.3em; }
.legend { color: #555; font-size: 0.9em; }
.wrap { overflow-x: auto; }
)";

using View = ComparisonView;

// The columns every capture shares, each a row of its view (the frame
// checks' rows are gathered into one column).
const std::pair<View::Fact, const char *> kFacts[] = {{View::Fact::Needed, "ZSL needed"},
                                                      {View::Fact::Window, "window"},
                                                      {View::Fact::Anchor, "anchor"},
                                                      {View::Fact::Begin, "begin"},
                                                      {View::Fact::Selected, "selected"}};

// "before → after", or the value once when the two agree.
std::string cell(const View::Cell &was, const View::Cell &now)
{
    const bool open = was.state == View::State::NotKnown || now.state == View::State::NotKnown;
    const char *kind = open ? " class=\"open\"" : was.text != now.text ? " class=\"differs\"" : "";
    const std::string text = was.text == now.text ? was.text : was.text + " \u2192 " + now.text;
    return "<td" + std::string(kind) + ">" + escape(text) + "</td>";
}

// A frame check's verdict as a mark with its frame: "64 ✗".
std::string mark(uint32_t frame, const View::Cell &verdict)
{
    if (verdict.state == View::State::NoCheck)
        return "";
    const char *sign = verdict.state == View::State::Accepted   ? "\u2713"
                       : verdict.state == View::State::NotKnown ? "?"
                                                                : "\u2717";
    return std::to_string(frame) + " " + sign;
}

std::string frameChecks(const View &view)
{
    std::string before, after;
    for (const View::Row &row : view.rows) {
        if (row.fact != View::Fact::FrameCheck)
            continue;
        if (const std::string m = mark(row.frame, row.before); !m.empty())
            before += (before.empty() ? "" : ", ") + m;
        if (const std::string m = mark(row.frame, row.after); !m.empty())
            after += (after.empty() ? "" : ", ") + m;
    }
    if (before == after)
        return "<td>" + escape(before.empty() ? "-" : before) + "</td>";
    return "<td class=\"differs\">before: " + escape(before.empty() ? "-" : before) +
           "<br>after: " + escape(after.empty() ? "-" : after) + "</td>";
}

} // namespace

void WhatIfPage::add(const Comparison &comparison)
{
    mCaptures.push_back({comparisonView(comparison), comparison.input, comparison.device});
    if (std::find(mInputs.begin(), mInputs.end(), std::make_pair(comparison.input, comparison.device)) == mInputs.end())
        mInputs.emplace_back(comparison.input, comparison.device);
}

std::string WhatIfPage::html(const std::string &change, const WhatIfSummary &summary) const
{
    std::ostringstream text;
    summary.writeText(text, change);
    std::ostringstream page;
    page << "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n<title>What if " << escape(change)
         << "</title>\n<style>\n"
         << kStyle << "</style>\n</head>\n<body>\n<h1>What if " << escape(change) << "</h1>\n<p class=\"inputs\">"
         << (mInputs.size() == 1 ? "Input: " : "Inputs: ");
    for (size_t i = 0; i < mInputs.size(); ++i)
        page << (i ? "; " : "") << escape(mInputs[i].first)
             << (mInputs[i].second.empty() ? "" : " (bug report of " + escape(mInputs[i].second) + ")");
    page << "</p>\n<pre class=\"summary\">" << escape(text.str()) << "</pre>\n";
    page << "<p class=\"legend\">Each cell shows the capture before the change, then \u2192 after it; one value "
            "where both agree. Frame checks: \u2713 accepted, \u2717 refused, ? verdict not known. Shaded: "
            "differs; in italics: not known, with why in the last column.</p>\n";
    page << "<div class=\"wrap\"><table>\n<thead><tr><th>#</th><th>capture</th><th>what changed</th>";
    for (const auto &[fact, name] : kFacts)
        page << "<th>" << name << "</th>";
    page << "<th>frame checks</th><th>taken</th><th>not known</th></tr></thead>\n<tbody>\n";
    size_t number = 0;
    for (const Capture &capture : mCaptures) {
        const ComparisonView &view = capture.view;
        // One input is named in the header; several, in each row.
        page << "<tr><td>" << ++number << "</td><td>" << escape(mInputs.size() == 1 ? view.heading : view.title)
             << "</td><td" << (view.changed.value_or(false) ? " class=\"changed\"" : "") << ">" << escape(view.verdict)
             << "</td>";
        auto rowOf = [&view](View::Fact fact) {
            return std::find_if(view.rows.begin(), view.rows.end(),
                                [&](const View::Row &row) { return row.fact == fact; });
        };
        for (const auto &[fact, name] : kFacts) {
            const auto row = rowOf(fact);
            page << (row == view.rows.end() ? "<td>-</td>" : cell(row->before, row->after));
        }
        page << frameChecks(view);
        const auto taken = rowOf(View::Fact::Taken);
        page << (taken == view.rows.end() ? "<td>-</td>" : cell(taken->before, taken->after))
             << "<td class=\"unknown\">";
        for (const auto &[facts, reason] : view.notKnown)
            page << "<p>" << escape(facts) << ": " << escape(reason) << "</p>";
        page << "</td></tr>\n";
    }
    page << "</tbody>\n</table></div>\n</body>\n</html>\n";
    return page.str();
}

} // namespace zsl::whatif
