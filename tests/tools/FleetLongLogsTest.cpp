// A folder of logs longer than a log read ahead may hold (a few hundred
// captures): its reading waits for its turn, and every number of threads
// prints the same bytes, each log's captures in full. Beside FleetTest.cpp,
// whose folder is of short reports; built into the ThreadSanitizer phase too.

#include "ExampleLogs.h"
#include "ReplayCli.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <stdlib.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace {

using kotest::Outcome;

constexpr int64_t kNovember = 1795428389000000000; // 2026-11-23 18:46:29 UTC

// The captures an example's trace makes: a step each.
size_t exampleCaptures(const std::string &example)
{
    std::ifstream file(std::string(ZSL_SOURCE_DIR "/examples/") + example + ".json");
    return nlohmann::json::parse(file).at("steps").size();
}

TEST(FleetLongLogs, ReadAheadWaitsForItsTurnAndLosesNothing)
{
    char path[] = "/tmp/zsl-fleet-XXXXXX";
    const std::string dir = mkdtemp(path);
    const std::vector<kohost::LogLine> capture = kotest::exampleLines("overview", 1187, 1301, kNovember);
    const size_t copies = 350;
    for (int file = 0; file < 3; ++file) {
        std::string text;
        for (size_t copy = 0; copy < copies; ++copy) {
            std::vector<kohost::LogLine> lines = capture;
            for (kohost::LogLine &line : lines)
                line.timeNs += static_cast<int64_t>(copy) * 1000000000;
            text += kotest::logText(lines);
        }
        std::ofstream(dir + "/log-" + std::to_string(file) + ".txt") << text;
    }
    for (const char *output : {"", "--table jsonl:-"}) {
        const Outcome first = kotest::replay("explain " + std::string(output) + " -j 1 " + dir);
        EXPECT_EQ(first.status, 0) << first.err;
        for (const char *jobs : {"2", "3", "8"}) {
            const Outcome more = kotest::replay("explain " + std::string(output) + " -j " + jobs + " " + dir);
            EXPECT_EQ(more.out, first.out) << output << " -j " << jobs;
            EXPECT_EQ(more.err, first.err) << output << " -j " << jobs;
        }
        if (*output) {
            EXPECT_EQ(static_cast<size_t>(std::count(first.out.begin(), first.out.end(), '\n')),
                      3 * copies * exampleCaptures("overview"));
        }
    }
    std::filesystem::remove_all(dir);
}

} // namespace
