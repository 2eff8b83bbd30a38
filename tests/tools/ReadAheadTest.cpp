// An input read ahead on a thread of its own gives what reading it on one
// thread gives: the same lines, problems and origin, in the same order,
// and the same error where the reading fails.

#include "Containers.h"
#include "ReplayCli.h"
#include "log/LogInput.h"
#include "log/ReadAhead.h"
#include "outcome/Error.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace {

using zsl::log::LogOrigin;

// What a reading hands over, as text: lines and problems in their order.
struct Read {
    std::vector<std::string> events;
    LogOrigin origin;
    std::string error;
};

template <typename Reader> Read readWith(const std::string &path, Reader reader)
{
    Read read;
    try {
        reader(
            path, path,
            [&](kohost::LogLine line, uint64_t number) {
                read.events.push_back(std::to_string(number) + " " + line.level + " " + line.text);
            },
            [&](const std::string &problem) { read.events.push_back("problem: " + problem); }, read.origin);
    } catch (const zsl::outcome::Error &error) {
        read.error = error.what();
    }
    return read;
}

std::string sampleLog()
{
    std::ifstream file(ZSL_SOURCE_DIR "/examples/device.log");
    return {std::istreambuf_iterator<char>(file), {}};
}

struct AheadCase {
    const char *name;
    std::string content;
};

class ReadAhead : public testing::TestWithParam<AheadCase> {};

TEST_P(ReadAhead, SameAsReadOnOneThread)
{
    kotest::TempFile file(GetParam().content);
    const Read one = readWith(file.path(), [](const std::string &path, const std::string &name, const auto &line,
                                              const auto &problem, LogOrigin &origin) {
        zsl::log::readLogInput(path, name, line, problem, origin);
    });
    const Read ahead = readWith(file.path(), zsl::log::readLogInputAhead);
    EXPECT_EQ(ahead.events, one.events);
    EXPECT_EQ(ahead.error, one.error);
    EXPECT_EQ(ahead.origin.fingerprint, one.origin.fingerprint);
    EXPECT_EQ(ahead.origin.reportTime, one.origin.reportTime);
    EXPECT_FALSE(one.events.empty() && one.error.empty()); // the case reads something
}

std::string manyCopies(const std::string &log, int copies)
{
    std::string out;
    for (int i = 0; i < copies; ++i)
        out += log;
    return out;
}

INSTANTIATE_TEST_SUITE_P(
    Inputs, ReadAhead,
    testing::Values(
        AheadCase{"sampleLog", sampleLog()},
        // Many batches, and problems among the lines: a line no log holds, a cut last line.
        AheadCase{"batchesAndProblems",
                  manyCopies(sampleLog(), 40) + std::string(2 << 20, 'x') + "\n" + sampleLog() + "11-23 18:40:05.0"},
        AheadCase{"bugReport", "== dumpstate: 2026-11-23 18:46:29\nBuild fingerprint: 'korvan/kv1/kv1:15/A/1:user/k'\n"
                               "------ SYSTEM LOG (logcat -v threadtime -v printable -v uid -d *:v) ------\n" +
                                   sampleLog()},
        // Damaged after its first lines: the error comes after them.
        AheadCase{"damagedGzip", kotest::gzip(manyCopies(sampleLog(), 200)).substr(0, 20000)},
        AheadCase{"notALog", std::string("\x7f" "ELF\x02\x01\x01", 7) + std::string(5000, '\0')}),
    [](const testing::TestParamInfo<AheadCase> &info) { return info.param.name; });

} // namespace
