// The input stages one by one: what the first bytes or an entry's name say
// a source is, and a bug report's text told into its sections and origin.

#include "Containers.h"

#include "log/ContentKind.h"
#include "log/LogInput.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using namespace zsl::log;

struct Shape {
    const char *name;
    std::string head;
    bool gzip, zip, binary;
};

TEST(ContentKind, FirstBytesTellTheContent)
{
    const std::string text = "11-23 18:40:05.000  1042  1399 D Tag: text\n";
    std::string mostlyControl(100, '\x01');
    mostlyControl.replace(0, 90, std::string(90, 'a')); // one in ten: not yet binary
    std::string tooMuchControl(100, 'a');
    tooMuchControl.replace(0, 11, std::string(11, '\x01'));
    const Shape shapes[] = {
        {"text", text, false, false, false},
        {"gzip", kotest::gzip(text), true, false, true},
        {"zip", kotest::zipOf({{"a.txt", text}}), false, true, true},
        {"empty zip", std::string("PK\x05\x06", 4) + std::string(18, 'a'), false, true, false},
        {"one byte of gzip's magic", "\x1f", false, false, true},
        {"gzip's magic reversed", "\x8b\x1f", false, false, true},
        {"a NUL", std::string("text\0more", 9), false, false, true},
        {"a tenth of control bytes", mostlyControl, false, false, false},
        {"past a tenth", tooMuchControl, false, false, true},
        {"PK alone", "PK\x03", false, false, true},
    };
    for (const Shape &shape : shapes) {
        SCOPED_TRACE(shape.name);
        EXPECT_EQ(isGzip(shape.head), shape.gzip);
        EXPECT_EQ(isZip(shape.head), shape.zip);
        EXPECT_EQ(isBinary(shape.head), shape.binary);
    }
}

TEST(ContentKind, EntryNamesTellTracesAndPersistentLogs)
{
    struct Name {
        const char *name;
        bool trace, persistent;
    };
    const Name names[] = {
        {"FS/data/misc/perfetto-traces/boot", true, false},
        {"a.pftrace", true, false},
        {"x/b.perfetto-trace", true, false},
        {"c.perfetto", true, false},
        {".pftrace", false, false}, // an ending alone is no name
        {"a.pftrace.txt", false, false},
        {"FS/data/misc/logd/logcat", false, true},
        {"FS/data/misc/logd/logcat.012", false, true},
        {"FS/data/misc/logd/event-log", false, false},
        {"other/logcat", false, false},
        {"FS/data/misc/logd/sub/logcat", false, true},
        {"bugreport-x.txt", false, false},
    };
    for (const Name &name : names) {
        SCOPED_TRACE(name.name);
        EXPECT_EQ(traceEntryName(name.name), name.trace);
        EXPECT_EQ(persistentLogName(name.name), name.persistent);
    }
}

TEST(ContentKind, HeadIsTheFirstBytesOrAllThereIs)
{
    std::string source = "abcdef";
    size_t at = 0;
    // A pipe that hands over a byte at a time.
    const ByteReader bytes = [&](char *buffer, size_t size) -> long {
        if (at == source.size() || size == 0)
            return 0;
        buffer[0] = source[at++];
        return 1;
    };
    EXPECT_EQ(readHead(bytes, 4, "in"), "abcd");
    EXPECT_EQ(readHead(bytes, 4, "in"), "ef");
    const ByteReader failing = [](char *, size_t) -> long { return -1; };
    EXPECT_THROW(readHead(failing, 4, "in"), zsl::outcome::Error);
}

// A bug report's text: its header names the build and the time, and only
// its log sections count.
TEST(BugReportSections, HeaderAndLogSectionsAreRead)
{
    const std::string line = "11-23 18:40:05.084  1187  1301 I KoAlgoEngine: ZSL ZSLSelectorDefault.cpp:251 "
                             "isSelectorNeeded()[ZSLSelector] ZSLSelectorDefault isNeeded 1\n";
    const std::string report = "========================================================\n"
                               "== dumpstate: 2026-11-23 18:41:00\n"
                               "========================================================\n"
                               "Build fingerprint: 'korvan/phone/phone:14/AB1/1:user/release-keys'\n"
                               "------ KERNEL LOG (dmesg) ------\n" +
                               line +
                               "------ 0.1s was the duration of 'KERNEL LOG' ------\n"
                               "------ SYSTEM LOG (logcat -v threadtime) ------\n" +
                               line + line +
                               "------ 0.2s was the duration of 'SYSTEM LOG' ------\n"
                               "------ EVENT LOG (logcat -b events) ------\n" +
                               line + "------ 0.1s was the duration of 'EVENT LOG' ------\n";
    kotest::TempFile file(report);
    std::vector<uint64_t> numbers;
    LogOrigin origin;
    readLogInput(
        file.path(), "report", [&](kohost::LogLine, uint64_t number) { numbers.push_back(number); },
        [](const std::string &) {}, origin);
    EXPECT_EQ(origin.fingerprint, "korvan/phone/phone:14/AB1/1:user/release-keys");
    EXPECT_EQ(origin.reportTime, "2026-11-23 18:41:00");
    // The two lines of SYSTEM LOG (the same line twice in one copy is two
    // lines), not the kernel's or the events'.
    EXPECT_EQ(numbers, (std::vector<uint64_t>{9, 10}));
}

} // namespace
