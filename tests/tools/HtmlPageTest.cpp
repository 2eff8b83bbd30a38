// The HTML page's bytes, without a browser (tests/page/ opens it in one):
// text planted in a trace cannot end the page's script elements nor run,
// the page's own script carries the nonce its policy names, and the
// timeline draws frames whose time the log lacks.

#include "ReplayCli.h"

#include "output/HtmlPage.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <fstream>
#include <regex>
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

TEST(HtmlPage, ScriptSafeJsonKeepsTheValue)
{
    for (const std::string text : {"</script>", "<!--<script>", "a<b", "plain", "\xe2\x9c\x93 <"}) {
        const std::string json = nlohmann::json(text).dump();
        const std::string safe = zsl::output::scriptSafeJson(json);
        EXPECT_EQ(safe.find('<'), std::string::npos) << text;
        EXPECT_EQ(nlohmann::json::parse(safe).get<std::string>(), text);
    }
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
}

} // namespace
