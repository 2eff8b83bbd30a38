// A what-if as one HTML page.

#include "whatif/WhatIfPage.h"

#include "output/SvgText.h"

#include <sstream>

namespace zsl::whatif {

using output::svg::escape;

namespace {

const char kStyle[] = R"(body { font: 14px/1.4 system-ui, sans-serif; margin: 1.5em; color: #222; }
h1 { font-size: 1.3em; }
pre.summary { background: #f4f6f8; padding: 0.8em; border-radius: 4px; white-space: pre-wrap; }
details { border-top: 1px solid #ddd; padding: 0.4em 0; }
summary { cursor: pointer; }
.verdict { color: #555; margin-left: 0.6em; }
.changed .verdict { color: #b35900; }
table { border-collapse: collapse; margin: 0.5em 0 0.3em 1.2em; }
th, td { text-align: left; padding: 2px 14px 2px 0; vertical-align: top; }
th { color: #666; font-weight: normal; }
td.open { color: #8a5a00; font-style: italic; }
td.differs { background: #fff3e0; }
ul.open { margin: 0.2em 0 0.4em 1.2em; color: #6b4a00; font-size: 0.93em; }
)";

bool notKnown(const std::string &cell)
{
    return cell.rfind("not known", 0) == 0;
}

} // namespace

void WhatIfPage::add(const Comparison &comparison)
{
    const std::optional<bool> changed = comparison.changed();
    mCaptures.push_back({comparisonView(comparison), !changed || *changed});
}

std::string WhatIfPage::html(const std::string &change, const WhatIfSummary &summary) const
{
    std::ostringstream text;
    summary.writeText(text, change);
    std::ostringstream page;
    page << "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n<title>What if "
         << escape(change) << "</title>\n<style>\n" << kStyle << "</style>\n</head>\n<body>\n<h1>What if "
         << escape(change) << "</h1>\n<pre class=\"summary\">" << escape(text.str()) << "</pre>\n";
    for (const Capture &capture : mCaptures) {
        const ComparisonView &view = capture.view;
        page << "<details" << (capture.unfolded ? " open" : "")
             << (view.verdict.rfind("changed", 0) == 0 ? " class=\"changed\"" : "") << ">\n<summary>"
             << escape(view.title) << "<span class=\"verdict\">" << escape(view.verdict) << "</span></summary>\n"
             << "<table>\n<tr><th></th><th>before</th><th>after</th></tr>\n";
        for (const auto &row : view.rows) {
            const auto &[what, was, now] = row;
            const bool comparable = !notKnown(was) && !notKnown(now);
            const bool differs = comparable && was != now;
            auto cell = [differs](const std::string &value) {
                const char *kind = notKnown(value) ? " class=\"open\"" : differs ? " class=\"differs\"" : "";
                return "<td" + std::string(kind) + ">" + escape(value) + "</td>";
            };
            page << "<tr><th>" << escape(what) << "</th>" << cell(was) << cell(now) << "</tr>\n";
        }
        page << "</table>\n";
        if (!view.notKnown.empty()) {
            page << "<ul class=\"open\">\n";
            for (const auto &[facts, reason] : view.notKnown)
                page << "<li>" << escape(facts) << ": " << escape(reason) << "</li>\n";
            page << "</ul>\n";
        }
        page << "</details>\n";
    }
    page << "</body>\n</html>\n";
    return page.str();
}

} // namespace zsl::whatif
