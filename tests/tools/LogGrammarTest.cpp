// Two of the log reader's stages on their own: logd's gap marker read in
// each of logcat's formats, and a frame check's lines told whole by the
// check grammar.

#include "log/CheckGrammar.h"
#include "log/GapMarker.h"
#include "log/LineParser.h"
#include "output/CaptureTable.h"

#include <PluginLoader.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <map>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {

using namespace zsl::outcome;

// logd's gap marker in each of logcat's formats: the process whose lines
// were dropped where the format shows it, any process where it does not;
// other lines are not markers.
TEST(GapMarker, ReadInEveryFormatWithItsProcess)
{
    const std::string message = "uid=1047(cameraserver) CameraThread expire 5 lines";
    const std::pair<std::string, std::optional<int>> cases[] = {
        {"11-23 18:40:05.191  1187  1301 I chatty  : " + message, 1187},                  // threadtime
        {"11-23 18:40:05.191  root  1187  1301 I chatty  : " + message, 1187},            // threadtime, uid
        {"I/chatty  ( 1187): " + message, 1187},                                          // brief
        {"11-23 18:40:05.191 I/chatty  ( 1187): " + message, 1187},                      // time
        {"I( 1187) " + message + "  (chatty)", 1187},                                      // process
        {"I( 1187: 1301) " + message, 1187},                                               // thread
        {"I/chatty  : " + message, kUnknownId},                                            // tag
        {"1301 I chatty  : " + message, kUnknownId},                                       // a thread, no process
        {message, kUnknownId},                                                             // raw
        {"11-23 18:40:05.191  1187  1301 I chatty  : uid=1047(cameraserver) identical 12 lines", 1187},
        {"11-23 18:40:05.191  1187  1301 I chatty  : uid=1047 expire 1 line", 1187},
        {"11-23 18:40:05.191  1187  1301 I chatty  : uid=1047(cameraserver) expire many lines", std::nullopt},
        {"11-23 18:40:05.191  1187  1301 I chatty  : uid=1047(cameraserver) expire 5 frames", std::nullopt},
        {"11-23 18:40:05.191  1187  1301 I chatty  : user 1047 expire 5 lines", std::nullopt},
        {"11-23 18:40:05.191  1187  1301 I KoAlgoEngine: ZSL f.cpp:1 f()hf OK", std::nullopt},
    };
    for (const auto &[line, pid] : cases)
        EXPECT_EQ(zsl::log::readGapMarker(line), pid) << line;
}

std::vector<kohost::LogLine> callOf(const std::vector<std::string> &texts)
{
    std::vector<kohost::LogLine> lines;
    for (const std::string &text : texts)
        lines.push_back(*zsl::log::parseLogLine("11-23 18:40:05.191  1187  1301 D KoAlgoEngine: ZSL f.cpp:1 f()" + text));
    return lines;
}

// A check's lines held to one whole call: a lost end line merges two
// checks, or leaves one open; neither is read as a verdict.
TEST(CheckGrammar, OneWholeCallOnly)
{
    const std::string ev = "get EV setting=0", ok = "hf OK", aeOff = "AE X", srOff =
        "[ZSLSelector] get korvan.superResolution.enabled failed, srEnable = 0";
    const std::string refused = "[ZSLSelector] fwkFrame:7, No zslFrame: 3invalid";
    struct Case {
        const char *name;
        std::vector<std::string> lines;
        bool begun, sound, ended;
    };
    const Case cases[] = {
        {"accepted", {ev, ok, srOff}, true, true, true},
        {"refused", {ev, aeOff, refused}, true, true, true},
        {"an accepted check's end lost, the next refused", {ev, ok, ev, aeOff, refused}, true, false, true},
        {"a refusal with nothing after it missing", {ev, aeOff, ev}, true, false, false},
        {"its first lines lost", {ok, srOff}, false, true, true},
        {"its end lost", {ev, ok}, true, true, false},
        {"a line after its refusal", {ev, aeOff, refused, ok}, true, false, false},
    };
    for (const Case &c : cases) {
        const zsl::log::CallShape shape = zsl::log::callShape(callOf(c.lines), true, false);
        EXPECT_EQ(shape.begun, c.begun) << c.name;
        EXPECT_EQ(shape.sound, c.sound) << c.name;
        EXPECT_EQ(shape.ended, c.ended) << c.name;
    }
}

} // namespace
