// The HTML page's bytes, without a browser (tests/page/ opens it in one):
// text planted in a trace cannot end the page's script elements nor run,
// the page's own script carries the nonce its policy names, sessions
// dropped and rows split keep every capture once, and its blocks are
// encoded as the standards write them. What a view holds: PageViewTest.

#include "PageData.h"
#include "ReplayCli.h"

#include "output/CaptureTable.h"
#include "output/FleetSummary.h"
#include "output/HtmlPage.h"
#include "output/PageBlock.h"
#include "output/Report.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

namespace {

using kotest::count;
using kotest::Outcome;
using kotest::pageDataBlock;
using kotest::TempFile;

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
        const nlohmann::json head = pageDataBlock(html, "zsl-head");
        ASSERT_EQ(head.at("sessions").size(), kept);
        std::vector<uint32_t> frames, viewed, viewSessions;
        for (const char *block : {"zsl-rows", "zsl-rows-rest"})
            for (const nlohmann::json &row : pageDataBlock(html, block))
                frames.push_back(row.at(4).get<uint32_t>());
        for (size_t chunk = 0;; ++chunk) {
            const nlohmann::json views = pageDataBlock(html, "zsl-views-" + std::to_string(chunk));
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
        const nlohmann::json first = pageDataBlock(html, "zsl-rows"), rest = pageDataBlock(html, "zsl-rows-rest");
        EXPECT_EQ(pageDataBlock(html, "zsl-head").at("captures"), captures);
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

} // namespace
