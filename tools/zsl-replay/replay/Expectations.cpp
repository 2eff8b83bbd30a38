// Expected results of a trace's steps: compared, and written back.

#include "replay/Expectations.h"

#include "outcome/FrameText.h"
#include "replay/TraceReader.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <map>
#include <sstream>

namespace zsl::replay {

using namespace zsl::outcome;

namespace {

std::string listText(const std::vector<uint32_t> &frames)
{
    return "[" + frameText(frames, "") + "]";
}

std::string verdictText(std::pair<bool, bool> verdict)
{
    return std::string("[") + (verdict.first ? "true" : "false") + ", " + (verdict.second ? "true" : "false") + "]";
}

void compare(std::vector<std::string> &out, const std::string &what, const std::string &expected,
             const std::string &got)
{
    if (!(expected == got))
        out.push_back(what + ": expected " + expected + ", got " + got);
}

using ordered = nlohmann::ordered_json;

// As dump(2), but a list of numbers or other plain values stays on one
// line ("consumer": [41, 42, 43]), as people write traces.
void writeJson(std::ostream &out, const ordered &value, int indent)
{
    const std::string inner(static_cast<size_t>(indent + 2), ' ');
    const auto plain = [](const ordered &v) { return !v.is_object() && !v.is_array(); };
    if (value.is_object() && !value.empty()) {
        out << "{\n";
        for (auto it = value.begin(); it != value.end(); ++it) {
            out << inner << ordered(it.key()).dump() << ": ";
            writeJson(out, it.value(), indent + 2);
            out << (std::next(it) == value.end() ? "\n" : ",\n");
        }
        out << std::string(static_cast<size_t>(indent), ' ') << "}";
    } else if (value.is_array() && !value.empty() && !std::all_of(value.begin(), value.end(), plain)) {
        out << "[\n";
        for (auto it = value.begin(); it != value.end(); ++it) {
            out << inner;
            writeJson(out, *it, indent + 2);
            out << (std::next(it) == value.end() ? "\n" : ",\n");
        }
        out << std::string(static_cast<size_t>(indent), ' ') << "]";
    } else if (value.is_array()) {
        out << "[";
        for (auto it = value.begin(); it != value.end(); ++it)
            out << (it == value.begin() ? "" : ", ") << it->dump();
        out << "]";
    } else {
        out << value.dump();
    }
}

} // namespace

std::vector<std::string> differences(const ExpectSpec &expect, const StepOutcome &outcome)
{
    std::vector<std::string> out;
    if (expect.needed) {
        const std::string got = outcome.needed ? (*outcome.needed ? "true" : "false") : "no answer";
        compare(out, "needed", *expect.needed ? "true" : "false", got);
    }
    if (expect.selection) {
        std::map<uint32_t, bool> ids;
        for (const auto &entry : *expect.selection)
            ids[entry.first] = true;
        for (const auto &entry : outcome.selection)
            ids[entry.first] = true;
        for (const auto &[id, unused] : ids) {
            auto expected = expect.selection->find(id);
            auto got = outcome.selection.find(id);
            compare(out, "selection for queue " + std::to_string(id),
                    expected == expect.selection->end() ? "no entry" : listText(expected->second),
                    got == outcome.selection.end() ? "no entry" : listText(got->second));
        }
    }
    if (expect.zsdTs)
        compare(out, "zsdTs", std::to_string(expect.zsdTs->at(outcome.captureNs)),
                outcome.zsdTs ? std::to_string(*outcome.zsdTs) : "none");
    if (expect.anchor) {
        auto name = [](std::optional<uint32_t> frame) { return frame ? std::to_string(*frame) : "none"; };
        compare(out, "anchor", name(*expect.anchor), name(outcome.anchorFrame));
    }
    if (expect.taken)
        compare(out, "taken", listText(*expect.taken), listText(outcome.taken));
    if (expect.checks) {
        std::vector<uint32_t> expectedFrames, checkedFrames;
        for (const auto &entry : *expect.checks)
            expectedFrames.push_back(entry.first);
        for (const CheckOutcome &check : outcome.checks) {
            checkedFrames.push_back(check.frame);
            auto expected = expect.checks->find(check.frame);
            if (expected == expect.checks->end())
                continue;
            const std::string frame = "frame " + std::to_string(check.frame);
            compare(out, frame + " verdict", verdictText(expected->second.verdict), verdictText(check.verdict));
            if (expected->second.reason)
                compare(out, frame + " reason", "\"" + *expected->second.reason + "\"", "\"" + check.reason + "\"");
        }
        std::sort(checkedFrames.begin(), checkedFrames.end());
        compare(out, "checked frames", listText(expectedFrames), listText(checkedFrames));
    }
    return out;
}

void writeExpectations(const std::string &path, const SessionOutcome &outcome)
{
    std::ifstream in(path, std::ios::binary);
    if (!in)
        throw TraceError(path, "", std::string("cannot read the file: ") + std::strerror(errno));
    std::ostringstream text;
    text << in.rdbuf();
    ordered root = ordered::parse(text.str()); // read once already: valid

    ordered &steps = root["steps"];
    for (size_t i = 0; i < steps.size() && i < outcome.steps.size(); ++i) {
        const StepOutcome &step = outcome.steps[i];
        ordered expect = ordered::object();
        if (step.needed)
            expect["needed"] = *step.needed;
        if (step.selectRan && step.zsdTs) {
            // Relative to the capture moment, or absolute where that would not read back.
            int64_t relative = 0;
            if (__builtin_sub_overflow(*step.zsdTs, step.captureNs, &relative) || relative > 9e18 || relative < -9e18)
                expect["zsdTs"] = *step.zsdTs;
            else
                expect["zsdTs"] =
                    (relative < 0 ? "" : "+") + (relative % 1000000 == 0 ? std::to_string(relative / 1000000) + "ms"
                                                                         : std::to_string(relative) + "ns");
            expect["anchor"] = step.anchorFrame ? ordered(*step.anchorFrame) : ordered();
        }
        if (step.selectRan) {
            expect["selection"] = ordered::object();
            for (const auto &[id, frames] : step.selection)
                expect["selection"][std::to_string(id)] = frames;
        }
        if (step.kind == StepKind::Capture && step.selectRan)
            expect["taken"] = step.taken;
        if (step.kind == StepKind::Capture || step.kind == StepKind::Check) {
            expect["checks"] = ordered::object();
            for (const CheckOutcome &check : step.checks) {
                ordered entry = {{"verdict", {check.verdict.first, check.verdict.second}}};
                if (!check.verdict.first)
                    entry["reason"] = check.reason;
                expect["checks"][std::to_string(check.frame)] = entry;
            }
        }
        steps[i].begin().value()["expect"] = expect;
    }

    const std::string temporary = path + ".expect.tmp";
    {
        std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
        writeJson(out, root, 0);
        out << "\n";
        if (!out.flush())
            throw TraceError(path, "", "cannot write " + temporary + ": " + std::strerror(errno));
    }
    if (std::rename(temporary.c_str(), path.c_str()) != 0) {
        const int error = errno;
        std::remove(temporary.c_str());
        throw TraceError(path, "", std::string("cannot replace the file: ") + std::strerror(error));
    }
}

} // namespace zsl::replay
