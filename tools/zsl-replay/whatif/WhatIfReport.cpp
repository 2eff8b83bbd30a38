// One capture before and after a change, as text, JSON and a table row.

#include "whatif/WhatIfReport.h"

#include "outcome/FrameText.h"
#include "output/Report.h"
#include "output/SvgText.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace zsl::whatif {

using namespace zsl::outcome;
using output::svg::fixed;

namespace {

std::string relativeMs(int64_t ns, int64_t captureNs)
{
    return fixed((static_cast<double>(ns) - static_cast<double>(captureNs)) / 1e6, 3) + " ms";
}

// A fact's key (as --json names it) in plain words, for people.
std::string factWords(const std::string &fact)
{
    static const std::pair<const char *, const char *> kWords[] = {
        {fact::kZsdTs, "the window's start"},
        {fact::kAnchor, "the anchor"},
        {fact::kAnchorOffset, "the anchor's offset"},
        {fact::kBegin, "where the selection begins"},
        {fact::kSelected, "the frames selected"},
        {fact::kSelection, "the selection per queue"},
        {fact::kProducer, "the producer list"},
        {fact::kRequested, "how many frames the capture wants"},
        {fact::kTaken, "the frames taken"}};
    for (const auto &[key, words] : kWords)
        if (fact == key)
            return words;
    return fact;
}

std::string openText(const Side &side, const char *fact)
{
    const Unknown &unknown = side.unknown.at(fact);
    return "not known" + (unknown.bound.empty() ? "" : " (" + unknown.bound + ")");
}

std::string anchorText(const Side &side)
{
    const StepOutcome &step = side.step;
    if (!side.states(fact::kAnchor))
        return openText(side, fact::kAnchor);
    if (!step.anchorFrame)
        return "none";
    auto shutter = step.shutterNs.find(*step.anchorFrame);
    return std::to_string(*step.anchorFrame) +
           (shutter == step.shutterNs.end() ? "" : " (" + relativeMs(shutter->second, step.captureNs) + ")");
}

std::string takenText(const Side &side)
{
    if (!side.states(fact::kTaken))
        return side.takenInFull ? openText(side, fact::kTaken) + ", in full: " + (*side.takenInFull ? "yes" : "no")
                                : openText(side, fact::kTaken);
    const std::vector<std::optional<double>> lags = side.takenLagsMs();
    std::string text;
    for (size_t i = 0; i < side.step.taken.size(); ++i)
        text += (i ? ", " : "") + std::to_string(side.step.taken[i]) +
                (lags[i] ? " (" + fixed(*lags[i], 3) + " ms ago)" : " (shot: not known)");
    if (text.empty())
        text = "none";
    return text + " of " + (side.states(fact::kRequested) ? "" : "at least ") + std::to_string(side.step.requested) +
           (side.takenInFull ? *side.takenInFull ? ", in full" : ", not in full" : "");
}

using View = ComparisonView;

View::Cell verdictCell(const Side &side, uint32_t frame)
{
    const auto &checks = side.step.checks;
    auto check =
        std::find_if(checks.begin(), checks.end(), [frame](const CheckOutcome &c) { return c.frame == frame; });
    if (check == checks.end())
        return {"-", View::State::NoCheck};
    if (!check->unknown.empty())
        return {"not known", View::State::NotKnown};
    if (check->verdict.first)
        return {"accepted", View::State::Accepted};
    return {"refused: " + check->explanation, View::State::Refused};
}

// A fact's cell: its value where the side states it, else not known.
View::Cell factCell(const Side &side, const char *fact, std::string text)
{
    return {std::move(text), side.states(fact) ? View::State::Known : View::State::NotKnown};
}

const char *moveText(AnchorMove move)
{
    switch (move) {
    case AnchorMove::Same:
        return "same";
    case AnchorMove::Earlier:
        return "earlier";
    case AnchorMove::Later:
        return "later";
    case AnchorMove::Unknown:
        break;
    }
    return nullptr;
}

nlohmann::ordered_json sideJson(const Comparison &comparison, const Side &side)
{
    SessionOutcome session;
    session.fromLog = comparison.fromLog;
    const nlohmann::json step = output::stepJson(session, side.step);
    nlohmann::ordered_json out;
    for (const auto &[key, value] : step.items())
        if (key != "log")
            out[key] = side.states(key) ? value : nlohmann::json();
    if (side.step.kind == StepKind::Capture && side.step.selectRan)
        out["takenInFull"] = side.takenInFull ? nlohmann::ordered_json(*side.takenInFull) : nullptr;
    nlohmann::ordered_json lags = nlohmann::ordered_json::array();
    for (const std::optional<double> &lag : side.takenLagsMs())
        lags.push_back(lag ? nlohmann::ordered_json(*lag) : nullptr);
    out["takenLagMs"] = side.states(fact::kTaken) ? lags : nlohmann::ordered_json();
    if (!side.unknown.empty()) {
        nlohmann::ordered_json reasons = nlohmann::ordered_json::object(), bounds = nlohmann::ordered_json::object();
        for (const auto &[fact, unknown] : side.unknown) {
            reasons[fact] = unknown.reason;
            if (!unknown.boundJson.is_null())
                bounds[fact] = unknown.boundJson;
        }
        out["unknown"] = reasons;
        if (!bounds.empty())
            out["bounds"] = bounds;
    }
    return out;
}

std::string framesOrEmpty(const Side &side, const char *fact, const std::vector<uint32_t> &frames)
{
    return side.states(fact) ? frameText(frames, "") : "";
}

} // namespace

ComparisonView comparisonView(const Comparison &comparison)
{
    const Side &before = comparison.before, &after = comparison.after;
    const StepOutcome &step = before.step;
    ComparisonView view;
    const std::string what = std::string(stepKindName(step.kind)) + " fwkFrame " + std::to_string(step.fwkFrame);
    const std::string label = step.label.empty() ? "" : ": " + step.label;
    view.title = what + " (" + comparison.input + ")" + label;
    view.heading = what + label;
    auto row = [&view](View::Fact fact, std::string what, View::Cell was, View::Cell now) {
        view.rows.push_back({fact, std::move(what), 0, std::move(was), std::move(now)});
    };
    if (step.needed)
        row(View::Fact::Needed, "ZSL needed", {*step.needed ? "yes" : "no"},
            {after.step.needed.value_or(false) ? "yes" : "no"});
    if (before.step.selectRan || after.step.selectRan) {
        auto window = [](const Side &side) {
            if (!side.states(fact::kZsdTs))
                return openText(side, fact::kZsdTs);
            return side.step.zsdTs ? "after " + relativeMs(*side.step.zsdTs, side.step.captureNs) : std::string("-");
        };
        row(View::Fact::Window, "window", factCell(before, fact::kZsdTs, window(before)),
            factCell(after, fact::kZsdTs, window(after)));
        row(View::Fact::Anchor, "anchor", factCell(before, fact::kAnchor, anchorText(before)),
            factCell(after, fact::kAnchor, anchorText(after)));
        auto begin = [](const Side &side) {
            return !side.states(fact::kBegin) ? openText(side, fact::kBegin)
                   : side.step.csbegin        ? std::to_string(*side.step.csbegin)
                                              : std::string("-");
        };
        row(View::Fact::Begin, "begin", factCell(before, fact::kBegin, begin(before)),
            factCell(after, fact::kBegin, begin(after)));
        auto selected = [](const Side &side) {
            return side.states(fact::kSelected) ? frameText(side.step.selectedFrames, "none")
                                                : openText(side, fact::kSelected);
        };
        row(View::Fact::Selected, "selected", factCell(before, fact::kSelected, selected(before)),
            factCell(after, fact::kSelected, selected(after)));
    }
    // Every frame either side checked, in list order.
    std::vector<uint32_t> frames = step.consumer;
    frames.insert(frames.end(), step.producer.begin(), step.producer.end());
    for (const Side *side : {&before, &after})
        for (const CheckOutcome &check : side->step.checks)
            if (std::find(frames.begin(), frames.end(), check.frame) == frames.end())
                frames.push_back(check.frame);
    for (uint32_t frame : frames) {
        View::Cell was = verdictCell(before, frame), now = verdictCell(after, frame);
        if (was.state != View::State::NoCheck || now.state != View::State::NoCheck) {
            row(View::Fact::FrameCheck, "frame " + std::to_string(frame), std::move(was), std::move(now));
            view.rows.back().frame = frame;
        }
    }
    if (step.kind == StepKind::Capture && step.selectRan)
        row(View::Fact::Taken, "taken", factCell(before, fact::kTaken, takenText(before)),
            factCell(after, fact::kTaken, takenText(after)));
    view.changed = comparison.changed();
    const AnchorMove move = comparison.anchorMove();
    view.verdict =
        std::string(!view.changed   ? "change not known"
                    : *view.changed ? "changed"
                                    : "unchanged") +
        (move == AnchorMove::Earlier || move == AnchorMove::Later ? std::string(", anchor ") + moveText(move) : "");
    // Facts not known for one reason are named together.
    for (const auto *side : {&before, &after}) {
        const size_t first = view.notKnown.size();
        for (const auto &[fact, unknown] : side->unknown) {
            if (fact == fact::kSelection || fact == fact::kProducer) // in --json only: no row shows them
                continue;
            const std::string &reason = unknown.reason; // a lambda may not take a structured binding
            auto same = std::find_if(view.notKnown.begin() + static_cast<std::ptrdiff_t>(first), view.notKnown.end(),
                                     [&reason](const auto &entry) { return entry.second == reason; });
            if (same == view.notKnown.end())
                view.notKnown.emplace_back(
                    std::string(side == &before ? "before" : "after") + ", not known: " + factWords(fact), reason);
            else
                same->first += ", " + factWords(fact);
        }
    }
    return view;
}

void writeComparisonText(std::ostream &out, const Comparison &comparison)
{
    const ComparisonView view = comparisonView(comparison);
    out << "-- " << view.title << "\n";
    auto row = [&out](const std::string &what, const std::string &was, const std::string &now) {
        char head[32];
        std::snprintf(head, sizeof(head), "   %-14s", what.c_str());
        // A long "before" puts "after" under it, in its column.
        out << head << was << (was.size() < 36 ? std::string(36 - was.size(), ' ') : "\n" + std::string(17 + 36, ' '))
            << now << "\n";
    };
    row("", "before", "after");
    for (const View::Row &each : view.rows)
        row(each.what, each.before.text, each.after.text);
    out << "   => " << view.verdict << "\n";
    for (const auto &[facts, reason] : view.notKnown)
        out << "   " << facts << ": " << reason << "\n";
}

nlohmann::ordered_json comparisonJson(const Comparison &comparison)
{
    const StepOutcome &step = comparison.before.step;
    const std::optional<bool> changed = comparison.changed();
    const char *move = moveText(comparison.anchorMove());
    return {{"input", comparison.input},
            {"device", comparison.device},
            {"fromLog", comparison.fromLog},
            {"kind", stepKindName(step.kind)},
            {"label", step.label},
            {"fwkFrame", step.fwkFrame},
            {"changed", changed ? nlohmann::ordered_json(*changed) : nullptr},
            {"anchorMoved", move ? nlohmann::ordered_json(move) : nullptr},
            {"unknownFacts", comparison.unknownFacts()},
            {"before", sideJson(comparison, comparison.before)},
            {"after", sideJson(comparison, comparison.after)}};
}

nlohmann::ordered_json comparisonRow(const Comparison &comparison)
{
    const StepOutcome &step = comparison.before.step;
    const std::optional<bool> changed = comparison.changed();
    const char *move = moveText(comparison.anchorMove());
    nlohmann::ordered_json row = {{"schema", kWhatIfTableSchema},
                                  {"input", comparison.input},
                                  {"device", comparison.device},
                                  {"fwk_frame", step.fwkFrame},
                                  {"kind", stepKindName(step.kind)},
                                  {"label", step.label},
                                  {"changed", changed ? nlohmann::ordered_json(*changed) : nullptr},
                                  {"anchor_moved", move ? nlohmann::ordered_json(move) : nullptr}};
    for (const auto &[prefix, side] : {std::pair<const char *, const Side *>{"before_", &comparison.before},
                                       std::pair<const char *, const Side *>{"after_", &comparison.after}}) {
        const std::string p = prefix;
        const StepOutcome &s = side->step;
        row[p + "zsd_ts_ms"] =
            side->states(fact::kZsdTs) && s.zsdTs
                ? nlohmann::ordered_json(
                      std::round((static_cast<double>(*s.zsdTs) - static_cast<double>(s.captureNs)) / 1e3) / 1e3)
                : nullptr;
        row[p + "anchor_frame"] =
            side->states(fact::kAnchor) && s.anchorFrame ? nlohmann::ordered_json(*s.anchorFrame) : nullptr;
        row[p + "csbegin"] = side->states(fact::kBegin) && s.csbegin ? nlohmann::ordered_json(*s.csbegin) : nullptr;
        row[p + "selected"] = framesOrEmpty(*side, fact::kSelected, s.selectedFrames);
        row[p + "taken"] = framesOrEmpty(*side, fact::kTaken, s.taken);
        row[p + "taken_in_full"] = side->takenInFull ? nlohmann::ordered_json(*side->takenInFull) : nullptr;
        std::string lags;
        for (const std::optional<double> &lag : side->takenLagsMs())
            lags += (lags.empty() ? "" : " ") + (lag ? fixed(*lag, 3) : std::string("?"));
        row[p + "taken_lag_ms"] = lags;
    }
    std::string unknown;
    for (const auto &[fact, why] : comparison.after.unknown)
        if (fact != fact::kSelection)
            unknown += (unknown.empty() ? "" : " | ") + fact + ": " + why.reason;
    row["after_unknown"] = unknown;
    return row;
}

} // namespace zsl::whatif
