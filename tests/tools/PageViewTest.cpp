// What a capture's view on the page holds, without a browser: each line's
// place in the plug-in's source by number up to a bound, then written out;
// the timeline's frames, each with its time where the log tells it and
// drawn apart where it does not.

#include "PageData.h"
#include "ReplayCli.h"

#include "output/CaptureTable.h"
#include "output/FleetSummary.h"
#include "output/HtmlPage.h"
#include "output/Report.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <functional>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {

using kotest::count;
using kotest::pageDataBlock;
using kotest::TempFile;

TEST(HtmlPage, PlacesInThePluginsSourceAreNumberedUpToABoundThenWrittenOut)
{
    // Two captures: the first's lines name more distinct places than the
    // page numbers, the second's the first place again and a new one. Each
    // place reads back whole, by its number among the texts or as itself;
    // the texts hold at most the bound's number of places.
    const size_t bound = zsl::output::HtmlPage::kMaxPlaces;
    zsl::output::HtmlPage page;
    zsl::outcome::SessionOutcome read;
    read.name = "places";
    read.fromLog = true;
    std::vector<std::vector<std::string>> expected(2);
    for (size_t capture = 0; capture < 2; ++capture) {
        zsl::outcome::StepOutcome step;
        step.fwkFrame = static_cast<uint32_t>(capture + 1);
        const std::vector<size_t> places = capture == 0 ? std::vector<size_t>{} : std::vector<size_t>{0, bound + 5};
        for (size_t i = 0; i < (capture == 0 ? bound + 3 : places.size()); ++i) {
            kohost::LogLine line;
            line.fileName = "Selector.cpp";
            line.line = static_cast<int>(capture == 0 ? i : places[i]);
            line.function = "select";
            line.text = "text";
            step.log.push_back(line);
            expected[capture].push_back("Selector.cpp:" + std::to_string(line.line) + " select()");
        }
        page.add(read, step, zsl::output::captureRow(read, step), zsl::output::stepText(read, step));
    }
    page.endSession(read);
    std::ostringstream out;
    page.write(out, zsl::output::FleetSummary());
    const nlohmann::json head = pageDataBlock(out.str(), "zsl-head"), views = pageDataBlock(out.str(), "zsl-views-0");
    const nlohmann::json &texts = head.at("texts");
    size_t numbered = 0, written = 0;
    for (const nlohmann::json &text : texts)
        numbered += text.get<std::string>().rfind("Selector.cpp:", 0) == 0;
    EXPECT_EQ(numbered, bound);
    ASSERT_EQ(views.size(), 2u);
    for (size_t capture = 0; capture < 2; ++capture) {
        const nlohmann::json &lines = views[capture].at("lines");
        ASSERT_EQ(lines.size(), expected[capture].size());
        for (size_t i = 0; i < lines.size(); ++i) {
            const nlohmann::json &place = lines[i].at(3);
            written += place.is_string();
            EXPECT_EQ(place.is_number() ? texts.at(place.get<size_t>()) : place, expected[capture][i]) << i;
        }
    }
    EXPECT_EQ(written, 4u); // the first capture's last three, and the second's new one
}

// A view's timeline: the frames drawn (each list's once, in the order the
// queues, the consumer list, the selection and the frames taken name them),
// each with its time before the capture where the log tells it; what is
// not known drawn as unknown, not as nothing.
TEST(Timeline, AViewDrawsWhatTheCaptureKnowsAndNothingItDoesNot)
{
    const auto timeline = [](const std::function<void(zsl::outcome::StepOutcome &)> &make) {
        zsl::outcome::SessionOutcome read;
        read.name = "one";
        read.fromLog = true;
        zsl::outcome::StepOutcome step;
        step.selectRan = true;
        step.captureNs = 1'000'000'000;
        step.curTime = step.captureNs;
        step.zsdTs = 900'000'000;
        step.anchorFrame = 44;
        step.consumer = {42, 43, 44, 45};
        step.selectedFrames = {44, 45};
        step.taken = {44};
        step.shutterNs = {{42, 850'000'000}, {44, 950'000'000}, {45, 983'250'000}};
        make(step);
        zsl::output::HtmlPage page;
        page.add(read, step, zsl::output::captureRow(read, step), zsl::output::stepText(read, step));
        page.endSession(read);
        std::ostringstream out;
        page.write(out, zsl::output::FleetSummary());
        return pageDataBlock(out.str(), "zsl-views-0").at(0).at("timeline");
    };
    using nlohmann::json;
    const json known = json::parse(R"({"anchor": 44, "frames": [[42, -150.0], [43, null], [44, -50.0], [45, -16.75]],
        "momentKnown": true, "selected": [44, 45], "taken": [44], "zsdMs": -100.0})");
    const struct {
        const char *what;
        std::function<void(zsl::outcome::StepOutcome &)> make;
        json expected;
    } cases[] = {
        {"all known", [](auto &) {}, known},
        {"no selection ran", [](auto &step) { step.selectRan = false; }, nullptr},
        {"no capture moment", [](auto &step) { step.momentKnown = false; },
         json::parse(R"({"anchor": 44, "frames": [[42, null], [43, null], [44, null], [45, null]],
             "momentKnown": false, "selected": [44, 45], "taken": [44], "zsdMs": null})")},
        {"taken not known", [](auto &step) { step.takenUnknown = "the checks log at debug level"; },
         [&] {
             json t = known;
             t["taken"] = nullptr;
             return t;
         }()},
        {"selection not known",
         [](auto &step) {
             step.selectionUnknown = "its lines were lost";
             step.selection[0] = {44, 45};
         },
         [&] {
             json t = known;
             t["selected"] = json::array();
             return t;
         }()},
        {"selected by queue only, a frame the consumer list lacks",
         [](auto &step) {
             step.selectedFrames.clear();
             step.selection[0] = {45, 46};
             step.anchorFrame.reset();
         },
         [&] {
             json t = known;
             t["anchor"] = nullptr;
             t["selected"] = {45, 46};
             t["frames"].push_back({46, nullptr});
             return t;
         }()},
    };
    for (const auto &c : cases)
        EXPECT_EQ(timeline(c.make), c.expected) << c.what;
}

TEST(Timeline, FramesWhoseTimeTheLogLacksAreDrawnApart)
{
    // In examples/device.log fwkFrame 300 takes frame 65, whose shutter time is not in the log.
    TempFile svg("", ".svg");
    ASSERT_EQ(kotest::replay("explain " ZSL_SOURCE_DIR "/examples/device.log --svg " + svg.path()).status, 0);
    const std::string text = svg.text();
    EXPECT_EQ(count(text, ">time not in the log</text>"), 4u + 1u); // each capture's zone, and the legend
    EXPECT_NE(text.find("class='selected taken'><title>frame 65</title>"), std::string::npos);
    EXPECT_EQ(count(text, ">id 0, meta queue</text>"), 4u);
    for (const char *frame : {"45", "46", "55", "56", "66", "75", "76"})
        EXPECT_NE(text.find(std::string("<title>frame ") + frame + "</title>"), std::string::npos) << frame;
    // Shot before the capture moment, they are drawn before its line, panel by panel.
    const std::regex now("x1='([0-9.]+)'[^>]*class='now'"), frame("<circle cx='([0-9.]+)'[^>]*><title>frame ([0-9]+)<");
    const std::set<std::string> untimed{"45", "46", "55", "56", "65", "66", "75", "76"};
    size_t panels = 0, checked = 0;
    for (size_t from = text.find("class='now'"); from != std::string::npos; ++panels) {
        const size_t next = text.find("class='now'", from + 1);
        std::smatch line;
        const std::string head = text.substr(text.rfind("<line", from), from - text.rfind("<line", from) + 12);
        ASSERT_TRUE(std::regex_search(head, line, now)) << head;
        const double nowX = std::stod(line[1]);
        const std::string panel = text.substr(from, next == std::string::npos ? std::string::npos : next - from);
        for (std::sregex_iterator it(panel.begin(), panel.end(), frame), end; it != end; ++it)
            if (untimed.count((*it)[2])) {
                EXPECT_LT(std::stod((*it)[1]), nowX) << "frame " << (*it)[2];
                ++checked;
            }
        from = next;
    }
    EXPECT_EQ(panels, 4u);
    EXPECT_EQ(checked, 8u);
}

} // namespace
