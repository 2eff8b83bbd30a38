// The byte loops at every width the processor allows against a search one
// byte at a time: random text dense with the marks' first and last bytes,
// marks planted at every offset of a vector and cut by the end, newlines
// followed by wanted and unwanted bytes, searched from unaligned places.

#include "log/ByteScan.h"

#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

using zsl::log::ByteScan;
using zsl::log::LineFilter;

const LineFilter kFilter{{"KoAlgoEngine", "ZSLSelector", "chatty"}, "[\x1b"};
// A bug report's starts too; and starts of more high half-bytes than a
// vector's tables tell apart.
const LineFilter kReportFilter{kFilter.marks, "[\x1b=B-"};
const LineFilter kManyStarts{kFilter.marks, "[\x1b=B-0`p\x80\xf0"};
// One to four marks: each number searched in one pass.
const LineFilter kOneMark{{"KoAlgoEngine"}, "[\x1b"};
const LineFilter kTwoMarks{{"chatty", "ZSLSelector"}, "[\x1b"};
const LineFilter kFourMarks{{"KoAlgoEngine", "ZSLSelector", "chatty", "Sel"}, "[\x1b=B-"};
const LineFilter *const kFilters[] = {&kFilter, &kReportFilter, &kManyStarts, &kOneMark, &kTwoMarks, &kFourMarks};

std::string randomText(std::mt19937 &random)
{
    // Bytes the marks start and end with, and parts of them, among others.
    static const std::vector<std::string> kPieces = {
        "K",          "e",   "Z",   "r",   "c",      "y", "ch", "chatt", "hatty",        "KoAlgo",      "Engine",
        "ZSLSelecto", "Sel", "\n",  "\n[", "\n\x1b", "[", "a",  " ",     "KoAlgoEngine", "ZSLSelector", "chatty",
        "\n\n",       "\nB", "\n-", "\n0", "\n=",    "B", "-",  "\n`",   "\n\x80",       "\n\xf0",      "\n\xf1"};
    std::string text;
    const size_t pieces = random() % 120;
    for (size_t i = 0; i < pieces; ++i)
        text += random() % 3 ? std::string(1 + random() % 9, 'x') : kPieces[random() % kPieces.size()];
    return text;
}

const char *firstMark(const LineFilter &filter, const char *from, const char *end)
{
    for (const char *at = from; at < end; ++at)
        for (std::string_view mark : filter.marks)
            if (static_cast<size_t>(end - at) >= mark.size() && std::string_view(at, mark.size()) == mark)
                return at;
    return end;
}

} // namespace

TEST(ByteScan, EveryWidthFindsWhatAByteAtATimeFinds)
{
    std::mt19937 random(11);
    const ByteScan::Width widths[] = {ByteScan::Width::Best, ByteScan::Width::Sse2, ByteScan::Width::Word,
                                      ByteScan::Width::Byte};
    for (int round = 0; round < 6000; ++round) {
        const LineFilter &filter = *kFilters[round % std::size(kFilters)];
        // In a buffer of its size, so that a sanitizer sees a read past its end.
        const std::string made = randomText(random);
        const std::unique_ptr<char[]> bytes(new char[made.size()]);
        made.copy(bytes.get(), made.size());
        const std::string_view text(bytes.get(), made.size());
        const size_t start = text.empty() ? 0 : random() % (text.size() + 1);
        const char *from = text.data() + start, *end = text.data() + text.size();
        const char *mark = firstMark(filter, from, end);
        // The lines before the mark, and where the first wanted one starts.
        uint64_t lines = 0;
        const char *stop = from;
        for (const char *at = from; at < mark; ++at)
            if (*at == '\n') {
                ++lines;
                stop = at + 1;
                if (stop < end && filter.starts.find(*stop) != std::string_view::npos)
                    break;
            }
        for (const ByteScan::Width width : widths) {
            SCOPED_TRACE("round " + std::to_string(round) + ", width " + std::to_string(static_cast<int>(width)));
            const ByteScan scan(filter, width);
            ASSERT_EQ(scan.findMark(from, end) - text.data(), mark - text.data());
            uint64_t counted = 5;
            ASSERT_EQ(scan.skipLines(from, mark, end, counted) - text.data(), stop - text.data());
            ASSERT_EQ(counted, 5 + lines);
        }
    }
}

TEST(ByteScan, StartTablesTellEveryByteAsTheStartsDo)
{
    const std::string_view sets[] = {"",
                                     "[\x1b",
                                     "[\x1b=B-",
                                     "0123456789",
                                     std::string_view("\0\x10 0@P`p", 8),
                                     "\x80\x90\xa0\xb0\xc0\xd0\xe0\xf0\xff"};
    for (const std::string_view starts : sets) {
        const auto tables = zsl::log::startTables(starts);
        ASSERT_TRUE(tables.has_value()) << starts;
        for (int byte = 0; byte < 256; ++byte)
            EXPECT_EQ((tables->low[byte & 15] & tables->high[byte >> 4]) != 0,
                      starts.find(static_cast<char>(byte)) != std::string_view::npos)
                << "byte " << byte << " of " << starts;
    }
    // Nine high half-bytes: more than the tables have bits for.
    EXPECT_FALSE(zsl::log::startTables(kManyStarts.starts).has_value());
}

TEST(ByteScan, MarksOfOneByteOrManyAreFoundOneByOne)
{
    // More marks than are searched together, and a mark of one byte.
    const LineFilter many{{"a", "KoAlgoEngine", "ZSLSelector", "chatty", "dropped"}, ""};
    const std::string text = std::string(100, 'x') + "dropped" + std::string(50, 'x') + "a";
    for (const ByteScan::Width width : {ByteScan::Width::Best, ByteScan::Width::Byte}) {
        const ByteScan scan(many, width);
        EXPECT_EQ(scan.findMark(text.data(), text.data() + text.size()) - text.data(), 100);
        EXPECT_EQ(scan.findMark(text.data() + 101, text.data() + text.size()) - text.data(), 157);
    }
    // Five marks, none of one byte: the fifth is found too.
    const LineFilter five{{"KoAlgoEngine", "ZSLSelector", "chatty", "dropped", "lost"}, ""};
    const std::string lost = std::string(100, 'x') + "lost" + std::string(100, 'x');
    for (const ByteScan::Width width : {ByteScan::Width::Best, ByteScan::Width::Sse2, ByteScan::Width::Byte})
        EXPECT_EQ(ByteScan(five, width).findMark(lost.data(), lost.data() + lost.size()) - lost.data(), 100);
}
