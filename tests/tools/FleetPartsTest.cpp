// The parts of a fleet's reading that need no folder of bug reports: an
// input that cannot be read named in one line, a refusal's classes from the
// plug-in's lines, percentiles and fingerprints of the summary, and the
// capture time's year and offset only where the log tells them.

#include "Containers.h"
#include "ReplayCli.h"

#include "output/CaptureTime.h"
#include "output/FleetSummary.h"
#include "outcome/PluginLines.h"
#include <PluginLoader.h>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <poll.h>
#include <signal.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace {

using namespace zsl::outcome;
using namespace zsl::output;
using kotest::Outcome;

TEST(FleetInputs, WhatCannotBeReadIsNamed)
{
    char path[] = "/tmp/zsl-fleet-XXXXXX";
    const std::string empty = mkdtemp(path);
    kotest::TempFile log("11-23 18:46:29.123  1  1 I KoAlgoEngine: ZSL a.cpp:1 isSelectorNeeded() isNeeded 1\n");
    const struct {
        std::string args;
        const char *errHas;
    } cases[] = {
        {"explain " + empty, "a folder without a file"},
        {"explain - -", "standard input can be read once"},
        {"explain -j 0 " + log.path(), "--jobs: takes a number of threads from 1 to 1024"},
        {"explain --follow " + empty, "--follow reads one log as it is written"},
        {"explain --table out.txt " + log.path(), "name a .csv or .jsonl file"},
        {"explain --table csv:" + log.path() + " " + log.path(), "is an input: it would be overwritten"},
        {"explain --table csv:/nonexistent/t.csv " + log.path(), "cannot write /nonexistent/t.csv"},
        {"explain --json --table jsonl:- " + log.path(), "one of them can have it"},
        {"--summary-svg s.svg", "--summary-svg is an option of zsl-replay explain, not of replay"},
    };
    for (const auto &c : cases) {
        Outcome run = kotest::replay(c.args);
        EXPECT_EQ(run.status, 2) << c.args;
        EXPECT_NE(run.err.find(c.errHas), std::string::npos) << c.args << ": " << run.err;
    }
    rmdir(empty.c_str());
    EXPECT_NE(log.text().find("isNeeded 1"), std::string::npos); // the input named as table is untouched
}

TEST(FleetSummaryParts, RefusalClassesPercentilesAndFingerprints)
{
    // A refusal's classes, from the plug-in's lines of one frame check.
    const std::string own = "[ZSLSelector] fwkFrame:1, No zslFrame: 2invalid";
    auto camera = [](int id) {
        return "[ZSLSelector] fwkFrame:1, No zslFrame: 2 ,camid:" + std::to_string(id) + " invalid";
    };
    const struct {
        std::vector<std::string> lines;
        std::vector<std::string> classes;
    } refusals[] = {
        {{"[isAEStable] tag(0x1001f) val=1 target=2,3,4 bc=0", "AE X", own}, {"ae"}},
        {{"[isAEStable] tag(0x1001f) not found!", "AE X", own}, {"ae"}},
        {{"AF fail: afMode=4 afState=3 lensState=1", "AF X", camera(2), "android.lens.state not found!", "AF X",
          camera(3)},
         {"af"}},
        {{"isRequiredEV fail: EV(History)=0, EV(Target)=2", "hf does not include tareget EV", camera(1),
          "[ZSLSelector] fwkFrame:1 zslFrame: 2 zslFrame perframeSensorMode:2",
          "[ZSLSelector] fwkFrame:1 zslFrame: 2 reqestFrame reqDesiredSensorMode:3",
          "[ZSLSelector] checkDesiredSensorMode fail!  fwkFrame:1 zslFrame: 2"},
         {"ev", "sensor_mode"}},
        {{"Metadata is nullptr", own}, {"no_metadata"}},
        {{"get EV setting=0"}, {"unlogged"}},
        {{"[isOther] tag(0x80009) not found!", own}, {"other"}},
        {{"AF ok: afMode=4 afState=2 lensState=0", camera(2)}, {"other"}}, // no rule line refused it
    };
    for (const auto &c : refusals) {
        std::vector<kohost::LogLine> lines;
        for (const std::string &text : c.lines) {
            lines.emplace_back();
            lines.back().text = text;
        }
        EXPECT_EQ(refusalClassNames(refusal(lines).classes), c.classes) << c.lines.front();
    }

    const std::vector<double> lags = {10, 20, 30, 40, 50, 60, 70, 80, 90, 100};
    for (const auto &[p, expected] :
         std::vector<std::pair<double, double>>{{50, 50}, {90, 90}, {99, 100}, {100, 100}, {1, 10}})
        EXPECT_EQ(FleetSummary::percentile(lags, p), expected) << p;
    EXPECT_EQ(FleetSummary::percentile({7}, 50), 7);

    EXPECT_EQ(fingerprintDevice("korvan/kv1/kv1:15/AP2A.240805.005/12345:user/release-keys"), "kv1");
    EXPECT_EQ(fingerprintBuild("korvan/kv1/kv1:15/AP2A.240805.005/12345:user/release-keys"),
              "15/AP2A.240805.005/12345:user/release-keys");
    EXPECT_EQ(fingerprintDevice("odd"), "odd");
    EXPECT_EQ(fingerprintBuild("odd"), "");
}

// The capture's time in ISO 8601: the year and offset only where the line
// or its bug report states them.
TEST(FleetTime, TheYearAndOffsetOnlyWhereTheLogTellsThem)
{
    const struct {
        const char *logTime, *reportTime, *iso;
    } cases[] = {
        {"11-23 18:46:29.123", "2026-11-23 18:50:00", "2026-11-23T18:46:29.123"},
        {"12-31 23:59:59.999", "2027-01-01 00:01:00", "2026-12-31T23:59:59.999"}, // across the new year
        {"01-01 00:00:01.000", "2027-01-01 00:01:00", "2027-01-01T00:00:01.000"},
        {"2025-06-01 10:00:00.123456 +0200", "", "2025-06-01T10:00:00.123456+02:00"}, // -v year -v usec -v zone
        {"11-23 18:46:29.123 -0530", "2026-11-23 18:50:00", "2026-11-23T18:46:29.123-05:30"},
        {"2026-11-23 18:46:29.123 +0000", "", "2026-11-23T18:46:29.123+00:00"}, // a Perfetto log
        {"1700000000.123", "", "2023-11-14T22:13:20.123+00:00"},                // -v epoch
        {"  1700000000.000456789", "", "2023-11-14T22:13:20.000456789+00:00"},
        {"11-23 18:46:29.123", "", ""},  // a plain log: no year
        {"   12345.678", "", ""},        // -v monotonic: seconds since boot
        {"", "2026-11-23 18:50:00", ""}, // no time printed (brief)
        {"13-01 00:00:00.000", "2026-11-23 18:50:00", ""},
        {"11-32 00:00:00.000", "2026-11-23 18:50:00", ""},
        {"11-31 00:00:00.000", "2026-11-23 18:50:00", ""}, // no such day
        {"02-29 12:00:00.000", "2028-03-01 00:00:00", "2028-02-29T12:00:00.000"},
        {"02-29 12:00:00.000", "2026-03-01 00:00:00", ""},
        {"12-31 23:59:60.000", "2027-01-01 00:00:00", "2026-12-31T23:59:60.000"}, // a leap second, as printed
        {"11-23 24:00:00.000", "2026-11-23 18:50:00", ""},
        {"11-23 18:46:29", "2026-11-23 18:50:00", ""},
        {"11-23 18:46:29.123 +01", "2026-11-23 18:50:00", ""},
        {"11-23 18:46:29.123 junk", "2026-11-23 18:50:00", ""},
        {"11-23 18:46:29.123", "in November", ""},
    };
    for (const auto &c : cases)
        EXPECT_EQ(isoCaptureTime(c.logTime, c.reportTime), c.iso) << c.logTime << " / " << c.reportTime;
}

} // namespace
