// An Android-log message of the selector split into its fields, as a
// device log's reader and the recorder both split it: the prefix's group,
// file, line and function, and the text after "()"; a message of another
// shape kept whole as the text.

#include <LogRecorder.h>
#include <android/log.h>

#include <gtest/gtest.h>

#include <string>

namespace {

struct LineCase {
    const char *message;
    const char *group, *fileName;
    int line;
    const char *function, *text;
};

// Each case's fields are what the message shows, read by eye.
const LineCase kCases[] = {
    {"ZSL ZSLSelectorDefault.cpp:213 isQualify()hf OK", "ZSL", "ZSLSelectorDefault.cpp", 213, "isQualify", "hf OK"},
    {"ZSL a.cpp:7 operator()()inside a lambda", "ZSL", "a.cpp", 7, "operator()", "inside a lambda"},
    {"ZSL a.cpp:12 f()", "ZSL", "a.cpp", 12, "f", ""},
    // The line number as atoi reads it: blanks and a sign before it, anything after.
    {"ZSL a.cpp: 42 f()text", "ZSL", "a.cpp", 42, "42 f", "text"},
    {"ZSL a.cpp:-3x f()text", "ZSL", "a.cpp", -3, "f", "text"},
    {"ZSL a.cpp:x f()text", "ZSL", "a.cpp", 0, "f", "text"},
    {"ZSL a.cpp:+7x f()text", "ZSL", "a.cpp", 7, "f", "text"},
    // Past an int, atoi's narrowing of strtol's long: 2^32 + 1 is 1; past a
    // long, the clamp (LONG_MAX narrows to -1, LONG_MIN to 0).
    {"ZSL a.cpp:4294967297 f()text", "ZSL", "a.cpp", 1, "f", "text"},
    {"ZSL a.cpp:99999999999999999999 f()text", "ZSL", "a.cpp", -1, "f", "text"},
    {"ZSL a.cpp:-99999999999999999999 f()text", "ZSL", "a.cpp", 0, "f", "text"},
    // Other shapes: the whole message is the text.
    {"no prefix at all", "", "", 0, "", "no prefix at all"},
    {"ZSL a.cpp:12 no parentheses", "", "", 0, "", "ZSL a.cpp:12 no parentheses"},
    {"ZSL a.cpp 12 f()", "", "", 0, "", "ZSL a.cpp 12 f()"},
    {"", "", "", 0, "", ""},
};

} // namespace

TEST(AndroidLine, MessagesSplitIntoTheirFields)
{
    for (const LineCase &c : kCases) {
        SCOPED_TRACE(c.message);
        // Made and returned, and made in a line the reader keeps: the same fields.
        kohost::LogLine inPlace;
        kohost::parseAndroidLine(inPlace, "D", c.message);
        for (const kohost::LogLine &line : {kohost::parseAndroidLine("D", c.message), inPlace}) {
            EXPECT_EQ(line.output, kohost::LogOutput::Android);
            EXPECT_EQ(line.level, "D");
            EXPECT_EQ(line.group, c.group);
            EXPECT_EQ(line.fileName, c.fileName);
            EXPECT_EQ(line.line, c.line);
            EXPECT_EQ(line.function, c.function);
            EXPECT_EQ(line.text, c.text);
        }
    }
}

// A recorder hears every priority while it lives, and leaves liblog's
// minimum priority as it found it: a test after it logs as before.
TEST(AndroidLine, RecorderGivesBackTheMinimumPriority)
{
    const int before = __android_log_get_minimum_priority();
    __android_log_set_minimum_priority(ANDROID_LOG_WARN);
    {
        kohost::LogRecorder capture;
        __android_log_print(ANDROID_LOG_DEBUG, "KoAlgoEngine", "ZSL a.cpp:1 f()heard");
        ASSERT_EQ(capture.android().size(), 1u);
        EXPECT_EQ(capture.android()[0].text, "heard");
    }
    EXPECT_EQ(__android_log_get_minimum_priority(), ANDROID_LOG_WARN);
    __android_log_set_minimum_priority(before);
}
