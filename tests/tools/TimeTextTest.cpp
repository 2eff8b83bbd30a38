// Lags and offsets in the reports: the digits printf gives, on random
// times and on the ones where rounding and signs go wrong; frame lists,
// every number whole.

#include "outcome/FrameText.h"
#include "output/TimeText.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <limits>
#include <random>
#include <string>
#include <vector>

namespace {

using zsl::output::millisecondsText;

std::string printed(const char *format, double ms)
{
    char text[400];
    std::snprintf(text, sizeof(text), format, ms);
    return text;
}

TEST(TimeText, WritesPrintfsDigits)
{
    std::vector<double> times = {0.0,
                                 -0.0,
                                 0.0005,
                                 -0.0005,
                                 0.0004999,
                                 -0.0004,
                                 1.5,
                                 -1.5,
                                 83.087,
                                 0.0015,
                                 2.0625,
                                 1e-9,
                                 -1e-9,
                                 1e15,
                                 -1e15,
                                 9.2233720368547758e12,
                                 std::numeric_limits<double>::max(),
                                 std::numeric_limits<double>::lowest()};
    // Differences of two boot-time clocks in ns, as the reports take them.
    std::mt19937_64 random(7);
    for (int i = 0; i < 20000; ++i) {
        const auto a = static_cast<int64_t>(random() >> (random() % 64));
        const auto b = static_cast<int64_t>(random() >> (random() % 64));
        times.push_back((static_cast<double>(a) - static_cast<double>(b)) / 1e6);
    }
    for (double ms : times) {
        ASSERT_EQ(millisecondsText(ms), printed("%.3f", ms)) << ms;
        ASSERT_EQ(millisecondsText(ms, true), printed("%+.3f", ms)) << ms;
    }
}

TEST(TimeText, SignsAsTheReportsShowThem)
{
    const struct {
        double ms;
        bool sign;
        const char *text;
    } cases[] = {
        {0.0, true, "+0.000"},   {-0.0004, true, "-0.000"}, {-0.0004, false, "-0.000"}, {83.0, false, "83.000"},
        {83.0, true, "+83.000"}, {-1.2345, true, "-1.234"}, {1.2346, false, "1.235"},
    };
    for (const auto &c : cases)
        EXPECT_EQ(millisecondsText(c.ms, c.sign), c.text) << c.ms;
}

TEST(FrameText, ListsEveryNumberWholeWithOneBlankBetween)
{
    const struct {
        std::vector<uint32_t> frames;
        const char *text;
    } cases[] = {
        {{}, "none"},
        {{0}, "0"},
        {{41, 42, 43}, "41 42 43"},
        {{std::numeric_limits<uint32_t>::max(), 1000000000, 999999999, 7}, "4294967295 1000000000 999999999 7"},
    };
    for (const auto &c : cases)
        EXPECT_EQ(zsl::outcome::frameText(c.frames), c.text);
    EXPECT_EQ(zsl::outcome::frameText({}, ""), "");
}

} // namespace
