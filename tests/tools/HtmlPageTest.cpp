// The HTML page's bytes, without a browser (tests/page/ opens it in one):
// text planted in a trace cannot end the page's script elements nor run,
// the page's own script carries the nonce its policy names, and the
// timeline draws frames whose time the log lacks.

#include "ReplayCli.h"

#include "output/CaptureTable.h"
#include "output/FleetSummary.h"
#include "output/HtmlPage.h"
#include "output/PageBlock.h"
#include "output/Report.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <fstream>
#include <functional>
#include <regex>
#include <set>
#include <sstream>
#include <string>

namespace {

using kotest::Outcome;
using kotest::TempFile;

size_t count(const std::string &text, const std::string &part)
{
    size_t n = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
        ++n;
    return n;
}

std::string overviewNamed(const std::string &name, const std::string &queue)
{
    std::ifstream in(ZSL_SOURCE_DIR "/examples/overview.json");
    nlohmann::json trace = nlohmann::json::parse(in);
    trace["name"] = name;
    trace["queues"][0]["name"] = queue;
    return trace.dump();
}

TEST(HtmlPage, TextInTheDataNeverEndsAScriptElement)
{
    const std::string planted = "</script><script>window.pwned=1</script><!--";
    TempFile trace(overviewNamed(planted, "<img src=x onerror=alert(1)>"), ".json");
    TempFile page("", ".html");
    ASSERT_EQ(kotest::replay("replay " + trace.path() + " --html " + page.path()).status, 0);
    const std::string html = page.text();
    // Every script element the page opens is closed once: ours, and its data blocks.
    EXPECT_EQ(count(html, "<script"), count(html, "</script>"));
    EXPECT_EQ(html.find(planted), std::string::npos);
    EXPECT_EQ(html.find("<img"), std::string::npos);
    EXPECT_NE(html.find("\\u003c/script>\\u003cscript>window.pwned=1"), std::string::npos);
    EXPECT_EQ(count(html, "<script nonce="), 1u);
    // The template's marks are all filled in, and it is written once.
    for (const char *mark : {"<!--data-->", "<!--views-->", "@NONCE@", "@CSS@", "@JS@"})
        EXPECT_EQ(html.find(mark), std::string::npos) << mark;
    EXPECT_EQ(count(html, "</html>"), 1u);
    EXPECT_EQ(html.substr(html.size() - 8), "</html>\n");
}

TEST(HtmlPage, OnlyThePagesOwnScriptMayRunAndItsNonceIsNewEachTime)
{
    TempFile first("", ".html"), second("", ".html");
    ASSERT_EQ(kotest::replay("--html " + first.path()).status, 0);
    ASSERT_EQ(kotest::replay("--html " + second.path()).status, 0);
    const std::regex policy("script-src 'nonce-([0-9a-f]{32})'"), script("<script nonce=\"([0-9a-f]{32})\">");
    std::smatch a, b, c;
    const std::string one = first.text(), two = second.text();
    ASSERT_TRUE(std::regex_search(one, a, policy));
    ASSERT_TRUE(std::regex_search(one, b, script));
    EXPECT_EQ(a[1], b[1]);
    ASSERT_TRUE(std::regex_search(two, c, policy));
    EXPECT_NE(a[1], c[1]);
    EXPECT_NE(one.find("default-src 'none'"), std::string::npos);
}

// A data block of the page by its id, as the page's script reads it (gzip and base64 undone).
nlohmann::json dataBlock(const std::string &html, const std::string &id)
{
    // Found by plain search: std::regex recurses once per character of a long block.
    const size_t at = html.find("id=\"" + id + "\"");
    if (at == std::string::npos)
        return nullptr;
    const size_t from = html.find('>', at) + 1, to = html.find("</script>", from);
    const std::string text = html.substr(from, to - from);
    if (html.substr(at, from - at).find("gzip-base64") == std::string::npos)
        return nlohmann::json::parse(text);
    static const std::string digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string bytes;
    uint32_t bits = 0;
    int held = 0;
    for (char c : text) {
        if (c == '=')
            break;
        bits = bits << 6 | static_cast<uint32_t>(digits.find(c));
        if ((held += 6) >= 8)
            bytes += static_cast<char>(bits >> (held -= 8) & 0xff);
    }
    return nlohmann::json::parse(zsl::output::gunzip(bytes));
}

TEST(HtmlPage, ASessionDroppedHalfWayLeavesNoCaptureOfItsOwn)
{
    // Sessions read one after another, some dropped half-way: the page holds
    // the captures of those kept, each view with its own capture and its
    // session's header. Cut where a dropped session began: inside the chunk
    // of views being filled (the first, or a later one), in a full chunk
    // (read back and cut), at a chunk's edge, and before anything was kept;
    // and after more full chunks than are compressed at once, whose buffers
    // are used again.
    struct Session {
        size_t captures;
        bool keep;
    };
    const std::vector<std::vector<Session>> plans = {
        {{300, true}, {300, false}, {10, true}}, {{10, true}, {5, false}, {3, true}},
        {{300, true}, {5, false}, {3, true}},    {{5, false}, {2, true}},
        {{256, true}, {256, false}, {1, true}},  {{255, true}, {2, false}, {1, true}, {0, false}, {3, true}},
        {{1300, true}, {600, false}, {3, true}},
    };
    for (size_t plan = 0; plan < plans.size(); ++plan) {
        SCOPED_TRACE("plan " + std::to_string(plan));
        zsl::output::HtmlPage page;
        std::vector<uint32_t> expected, sessionOf;
        size_t kept = 0;
        for (size_t s = 0; s < plans[plan].size(); ++s) {
            zsl::outcome::SessionOutcome read;
            read.name = "session" + std::to_string(s);
            read.file = read.name + ".log";
            read.fromLog = true;
            for (size_t i = 0; i < plans[plan][s].captures; ++i) {
                zsl::outcome::StepOutcome step;
                step.fwkFrame = static_cast<uint32_t>(10000 * (s + 1) + i);
                page.add(read, step, zsl::output::captureRow(read, step), zsl::output::stepText(read, step));
                if (plans[plan][s].keep) {
                    expected.push_back(step.fwkFrame);
                    sessionOf.push_back(static_cast<uint32_t>(kept));
                }
            }
            if (plans[plan][s].keep) {
                page.endSession(read);
                ++kept;
            } else {
                page.dropSession();
            }
        }
        std::ostringstream out;
        page.write(out, zsl::output::FleetSummary());
        const std::string html = out.str();
        const nlohmann::json head = dataBlock(html, "zsl-head");
        ASSERT_EQ(head.at("sessions").size(), kept);
        std::vector<uint32_t> frames, viewed, viewSessions;
        for (const char *block : {"zsl-rows", "zsl-rows-rest"})
            for (const nlohmann::json &row : dataBlock(html, block))
                frames.push_back(row.at(4).get<uint32_t>());
        for (size_t chunk = 0;; ++chunk) {
            const nlohmann::json views = dataBlock(html, "zsl-views-" + std::to_string(chunk));
            if (views.is_null())
                break;
            for (const nlohmann::json &view : views) {
                const std::string first = view.at("text")[0];
                viewed.push_back(static_cast<uint32_t>(std::stoul(first.substr(first.rfind(' ') + 1))));
                viewSessions.push_back(view.at("session").get<uint32_t>());
            }
        }
        EXPECT_EQ(frames, expected);
        EXPECT_EQ(viewed, expected);
        EXPECT_EQ(viewSessions, sessionOf);
        if (!sessionOf.empty()) {
            const std::string last = "session" + std::to_string(plans[plan].size() - 1);
            EXPECT_EQ(head.at("sessions")[sessionOf.back()][0], "== " + last + "  (" + last + ".log), read from a log");
        }
    }
}

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
    const nlohmann::json head = dataBlock(out.str(), "zsl-head"), views = dataBlock(out.str(), "zsl-views-0");
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

TEST(HtmlPage, APageOfManyCapturesHoldsItsFirstRowsBeforeTheScriptAndTheOthersAfter)
{
    // Up to 1,000 rows (the table shows them at once): one block. More: the
    // first 100 (the table's first page) before the script, the others after
    // it and before the views; together every row once, in order.
    for (const size_t captures : {999u, 1000u, 1001u, 1300u}) {
        SCOPED_TRACE(captures);
        zsl::output::HtmlPage page;
        zsl::outcome::SessionOutcome read;
        read.name = "many";
        read.fromLog = true;
        for (size_t i = 0; i < captures; ++i) {
            zsl::outcome::StepOutcome step;
            step.fwkFrame = static_cast<uint32_t>(i + 1);
            page.add(read, step, zsl::output::captureRow(read, step), zsl::output::stepText(read, step));
        }
        page.endSession(read);
        std::ostringstream out;
        page.write(out, zsl::output::FleetSummary());
        const std::string html = out.str();
        const nlohmann::json first = dataBlock(html, "zsl-rows"), rest = dataBlock(html, "zsl-rows-rest");
        EXPECT_EQ(dataBlock(html, "zsl-head").at("captures"), captures);
        const bool split = captures > 1000;
        EXPECT_EQ(first.size(), split ? 100 : captures);
        EXPECT_EQ(rest.is_null(), !split);
        std::vector<uint32_t> frames;
        for (const nlohmann::json *block : {&first, &rest})
            if (!block->is_null())
                for (const nlohmann::json &row : *block)
                    frames.push_back(row.at(4).get<uint32_t>());
        ASSERT_EQ(frames.size(), captures);
        for (size_t i = 0; i < captures; ++i)
            ASSERT_EQ(frames[i], i + 1);
        const size_t script = html.find("<script nonce="), views = html.find("id=\"zsl-views-0\"");
        EXPECT_LT(html.find("id=\"zsl-rows\""), script);
        if (split) {
            EXPECT_GT(html.find("id=\"zsl-rows-rest\""), script);
            EXPECT_LT(html.find("id=\"zsl-rows-rest\""), views);
        }
    }
}

TEST(HtmlPage, ScriptSafeJsonKeepsTheValue)
{
    for (const std::string text : {"</script>", "<!--<script>", "a<b", "plain", "\xe2\x9c\x93 <"}) {
        const std::string json = nlohmann::json(text).dump();
        std::ostringstream written;
        zsl::output::writeScriptSafeJson(written, json);
        const std::string safe = written.str();
        EXPECT_EQ(safe.find('<'), std::string::npos) << text;
        EXPECT_EQ(nlohmann::json::parse(safe).get<std::string>(), text);
    }
}

TEST(HtmlPage, Base64AsTheStandardWritesIt)
{
    const auto base64 = [](std::string_view bytes) {
        std::ostringstream out;
        zsl::output::writeBase64(out, bytes);
        return out.str();
    };
    // RFC 4648's own examples, every padding; and bytes above 0x7f.
    const std::pair<std::string_view, std::string_view> cases[] = {
        {"", ""},
        {"f", "Zg=="},
        {"fo", "Zm8="},
        {"foo", "Zm9v"},
        {"foob", "Zm9vYg=="},
        {"fooba", "Zm9vYmE="},
        {"foobar", "Zm9vYmFy"},
        {std::string_view("\xff\xfe\x00", 3), "//4A"},
    };
    for (const auto &[bytes, text] : cases)
        EXPECT_EQ(base64(bytes), text);
    // Past the writer's piece of 4,096 digits: each group of three bytes as
    // alone, and each length around it ends as its last bytes alone do.
    std::string bytes;
    for (size_t i = 0; i < 3 * 1025; ++i)
        bytes += static_cast<char>(i * 7 % 256);
    const std::string whole = base64(bytes);
    ASSERT_EQ(whole.size(), 4 * 1025u);
    for (size_t group = 0; group < 1025; ++group)
        ASSERT_EQ(whole.substr(4 * group, 4), base64(bytes.substr(3 * group, 3))) << group;
    for (size_t length = 3 * 1023; length <= bytes.size(); ++length) {
        const std::string text = base64(bytes.substr(0, length));
        const size_t full = length / 3;
        ASSERT_EQ(text.size(), (length + 2) / 3 * 4);
        EXPECT_EQ(text.substr(0, 4 * full), whole.substr(0, 4 * full)) << length;
        EXPECT_EQ(text.substr(4 * full), base64(bytes.substr(3 * full, length - 3 * full))) << length;
    }
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
        return dataBlock(out.str(), "zsl-views-0").at(0).at("timeline");
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
