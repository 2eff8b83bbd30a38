// Capture-table rows read twice, told apart from rows of other captures.

#include "output/RepeatedCaptures.h"

#include <gtest/gtest.h>

namespace {

using zsl::output::CaptureRow;
using zsl::output::RepeatedCaptures;

// Rows are the same capture by their input, first line, process, thread,
// log time, fwkFrame and kind (a zip's logs each number lines from 1); a row
// that names no place in a log is never a repeat.
TEST(RepeatedCaptures, TheSameCaptureByWhereItWasRead)
{
    CaptureRow a;
    a.input = "dev.log";
    a.line = 15;
    a.logTime = "11-23 18:40:05.085";
    a.fwkFrame = 100;
    CaptureRow same = a, otherEntry = a, otherLine = a, otherInput = a, old = a, oldOtherFrame = a, replayed;
    otherEntry.fwkFrame = 101; // another log of the same zip, at the same line
    otherLine.line = 60;
    otherInput.input = "dev-2.log";
    old.line.reset();
    oldOtherFrame.line.reset();
    oldOtherFrame.fwkFrame = 300;
    replayed.input = "trace.json";
    RepeatedCaptures seen;
    EXPECT_FALSE(seen.seenBefore(a));
    EXPECT_TRUE(seen.seenBefore(same));
    EXPECT_FALSE(seen.seenBefore(otherEntry));
    EXPECT_FALSE(seen.seenBefore(otherLine));
    EXPECT_FALSE(seen.seenBefore(otherInput));
    EXPECT_FALSE(seen.seenBefore(old));
    EXPECT_TRUE(seen.seenBefore(old));
    EXPECT_FALSE(seen.seenBefore(oldOtherFrame));
    EXPECT_FALSE(seen.seenBefore(replayed));
    EXPECT_FALSE(seen.seenBefore(replayed));
    EXPECT_EQ(seen.takeRepeats(), 2u);
    EXPECT_EQ(seen.takeRepeats(), 0u);
    EXPECT_TRUE(seen.seenBefore(a)); // kept across tables
    CaptureRow fresh = a;
    fresh.line = 99;
    EXPECT_FALSE(seen.seenBefore(fresh));
    seen.forgetSinceTake(); // its table failed
    EXPECT_FALSE(seen.seenBefore(fresh));
    EXPECT_TRUE(seen.seenBefore(a));
}

} // namespace
