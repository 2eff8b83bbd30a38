// The host's system log: group names, records to a receiver, standard error
// without one.

#include <Logged.h>
#include <kodebug/Log.h>

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(DebugLog, ReceiverGetsEachLineAsARecord)
{
    kohost::LogRecorder capture;
    kodebug::Log::logSystem(0x40, "D", "File.cpp", "operator()", 12, "a=%d b=%s c=%ld", -3, "x",
                            5000000000L);
    auto records = capture.system();
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0].group, "ZSL");
    EXPECT_EQ(records[0].level, "D");
    EXPECT_EQ(records[0].fileName, "File.cpp");
    EXPECT_EQ(records[0].function, "operator()");
    EXPECT_EQ(records[0].line, 12);
    EXPECT_EQ(records[0].text, "a=-3 b=x c=5000000000");
    // A line longer than the formatting buffer arrives whole.
    kodebug::Log::logSystem(0x40, "D", "File.cpp", "f", 1, "%s|", std::string(3000, 'x').c_str());
    EXPECT_EQ(capture.system().at(1).text, std::string(3000, 'x') + "|");
}

TEST(DebugLog, WithoutReceiverLinesGoToStandardError)
{
    testing::internal::CaptureStderr();
    kodebug::Log::logSystem(0x40, "I", "File.cpp", "run", 7, "value %u", 4u);
    std::string text = testing::internal::GetCapturedStderr();
    EXPECT_EQ(text, "[ZSL] I File.cpp:7 run() value 4\n");
}

} // namespace
