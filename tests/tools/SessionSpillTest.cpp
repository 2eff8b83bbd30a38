// A session's output held in memory, then in a temporary file: given back
// whole and in order, emptied when moved or cleared, and a temporary
// folder that cannot be written is said, not lost.

#include "outcome/Error.h"
#include "output/SessionSpill.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <sstream>
#include <string>

namespace {

using zsl::output::SessionSpill;

// Writes `pieces` numbered lines of `width` bytes as a sink would, capture by capture.
std::string fill(SessionSpill &spill, size_t pieces, size_t width)
{
    std::string written;
    for (size_t i = 0; i < pieces; ++i) {
        std::string line = std::to_string(i) + ":";
        line.resize(width - 1, static_cast<char>('a' + i % 26));
        line += '\n';
        spill.stream() << line;
        spill.held();
        written += line;
    }
    return written;
}

struct SpillCase {
    const char *name;
    size_t pieces, width;
};

class Spill : public testing::TestWithParam<SpillCase> {};

TEST_P(Spill, GivesBackWhatWasWrittenInOrderThenNothing)
{
    SessionSpill spill;
    const std::string written = fill(spill, GetParam().pieces, GetParam().width);
    std::ostringstream out;
    spill.moveTo(out);
    EXPECT_EQ(out.str().size(), written.size());
    EXPECT_TRUE(out.str() == written); // not printed: megabytes
    std::ostringstream again;
    spill.moveTo(again);
    EXPECT_EQ(again.str(), "");
    // Used again for the next session.
    const std::string next = fill(spill, 3, 10);
    std::ostringstream third;
    spill.moveTo(third);
    EXPECT_EQ(third.str(), next);
}

INSTANTIATE_TEST_SUITE_P(Sizes, Spill,
                         testing::Values(SpillCase{"nothing", 0, 1}, SpillCase{"inMemory", 100, 80},
                                         // Past the memory's share several times: the file, then memory again.
                                         SpillCase{"throughTheFile", 20000, 1000}),
                         [](const testing::TestParamInfo<SpillCase> &info) { return info.param.name; });

TEST(SpillDrop, ClearForgetsWhatWasHeldInMemoryAndInTheFile)
{
    SessionSpill spill;
    fill(spill, 20000, 1000);
    spill.clear();
    spill.stream() << "kept";
    std::ostringstream out;
    spill.moveTo(out);
    EXPECT_EQ(out.str(), "kept");
}

TEST(SpillDrop, AFolderThatCannotHoldItIsNamed)
{
    const char *before = std::getenv("TMPDIR");
    const std::string saved = before ? before : "";
    setenv("TMPDIR", "/nonexistent-folder-of-zsl-tests", 1);
    SessionSpill spill;
    std::string message;
    try {
        fill(spill, 20000, 1000);
    } catch (const zsl::outcome::Error &error) {
        message = error.what();
    }
    if (before)
        setenv("TMPDIR", saved.c_str(), 1);
    else
        unsetenv("TMPDIR");
    EXPECT_NE(message.find("/nonexistent-folder-of-zsl-tests"), std::string::npos) << message;
    EXPECT_NE(message.find("TMPDIR"), std::string::npos) << message;
}

} // namespace
