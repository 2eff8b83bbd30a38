// The line splitter against a plain reference: random logs of marks, wanted
// first bytes, empty and long lines, read in random pieces (lines and marks
// across every kind of boundary), hand over the same lines with the same
// numbers as splitting the whole text at its newlines and asking each line.

#include "log/LineSplitter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace {

using Lines = std::vector<std::pair<std::string, uint64_t>>;

const std::vector<std::string_view> kMarks = {"KoAlgoEngine", "ZSLSelector", "chatty"};
constexpr std::string_view kStarts = "[\x1b=B-";

// A line the reader asks to see the next one after.
bool asksNext(std::string_view line)
{
    return line.find("NEXT") != std::string_view::npos;
}

Lines reference(const std::string &text)
{
    Lines wanted;
    bool next = false;
    uint64_t number = 0;
    for (size_t start = 0, end; (end = text.find('\n', start)) != std::string::npos; start = end + 1) {
        const std::string line = text.substr(start, end - start);
        ++number;
        const bool marked = std::any_of(kMarks.begin(), kMarks.end(),
                                        [&](std::string_view mark) { return line.find(mark) != std::string::npos; });
        if (next || marked || (!line.empty() && kStarts.find(line.front()) != std::string_view::npos)) {
            wanted.emplace_back(line, number);
            next = asksNext(line);
        }
    }
    return wanted;
}

std::string randomLog(std::mt19937 &random)
{
    // Pieces that make marks, near-marks (first and last byte in place), newlines and start bytes likely.
    const std::vector<std::string> pieces = {"KoAlgoEngine",
                                             "ZSLSelector",
                                             "chatty",
                                             "chaty",
                                             "cy",
                                             "K e",
                                             "Zr",
                                             "KoAlgoEngin",
                                             "hatty",
                                             "\n",
                                             "\n",
                                             "\n",
                                             "\n[",
                                             "\n-",
                                             "\nB",
                                             "\n=",
                                             "\n\x1b",
                                             "\n\n",
                                             "NEXT",
                                             " ",
                                             "12:40:05.085",
                                             "usage buffer",
                                             "x",
                                             std::string(40, 'a'),
                                             std::string(300, 'y')};
    std::string text;
    const size_t count = std::uniform_int_distribution<size_t>(0, 400)(random);
    for (size_t i = 0; i < count; ++i)
        text += pieces[std::uniform_int_distribution<size_t>(0, pieces.size() - 1)(random)];
    return text;
}

TEST(LineSplitter, HandsOverWhatSplittingTheWholeTextWould)
{
    std::mt19937 random(7);
    const zsl::log::LineFilter filter{kMarks, kStarts};
    for (int run = 0; run < 3000; ++run) {
        const std::string text = randomLog(random);
        // Pieces of 1 to 64 bytes, or of any size up to the whole: a block ends anywhere.
        const size_t most = run % 2 ? 64 : text.size() + 1;
        size_t at = 0;
        const zsl::log::ByteReader read = [&](char *buffer, size_t size) -> long {
            const size_t n = std::min({size, text.size() - at, std::uniform_int_distribution<size_t>(1, most)(random)});
            std::memcpy(buffer, text.data() + at, n);
            at += n;
            return static_cast<long>(n);
        };
        Lines got;
        zsl::log::forEachLine(
            read,
            [&](std::string_view line, uint64_t number) {
                got.emplace_back(std::string(line), number);
                return asksNext(line);
            },
            [](const std::string &) {}, "the log", &filter);
        ASSERT_EQ(got, reference(text)) << "run " << run << ": " << text;
    }
}

// A line longer than any log line is said, handed over empty, and the
// lines after it are read as before, in bulk or not.
TEST(LineSplitter, ALineTooLongIsSaidAndHandedOverEmpty)
{
    const std::string text = "first\n" + std::string(2 << 20, 'x') + "\nother\nKoAlgoEngine: x\nlast\n";
    const zsl::log::LineFilter filter{kMarks, kStarts};
    size_t at = 0;
    const zsl::log::ByteReader read = [&](char *buffer, size_t size) -> long {
        const size_t n = std::min({size, text.size() - at, size_t(60000)});
        std::memcpy(buffer, text.data() + at, n);
        at += n;
        return static_cast<long>(n);
    };
    Lines got;
    std::vector<std::string> problems;
    zsl::log::forEachLine(
        read,
        [&](std::string_view line, uint64_t number) {
            got.emplace_back(std::string(line), number);
            return false;
        },
        [&](const std::string &problem) { problems.push_back(problem); }, "the log", &filter);
    EXPECT_EQ(got, (Lines{{"", 2}, {"KoAlgoEngine: x", 4}}));
    ASSERT_EQ(problems.size(), 1u);
    EXPECT_EQ(problems[0].rfind("line 2 is longer than", 0), 0u) << problems[0];
}

} // namespace
