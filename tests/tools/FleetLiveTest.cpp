// A live log piped in line by line, as adb logcat writes it: each capture
// is explained once the next begins, before the log's end, and a reader
// that goes away ends the run cleanly.

#include "Containers.h"
#include "ExampleLogs.h"
#include "ReplayCli.h"

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

using kotest::Outcome;
constexpr int64_t kNovember = 1795428389000000000; // 2026-11-23 18:46:29 UTC
using kotest::exampleLines;
using kotest::logText;

// The live log: the tool runs on a pipe the test writes line by line.
class LiveLog {
public:
    LiveLog()
    {
        int in[2], out[2];
        EXPECT_EQ(pipe(in), 0);
        EXPECT_EQ(pipe(out), 0);
        mPid = fork();
        if (mPid == 0) {
            dup2(in[0], 0);
            dup2(out[1], 1);
            for (int fd : {in[0], in[1], out[0], out[1]})
                close(fd);
            execl("/bin/sh", "sh", "-c", ZSL_REPLAY_COMMAND " explain - --follow 2>/dev/null", nullptr);
            _exit(127);
        }
        close(in[0]);
        close(out[1]);
        mIn = in[1];
        mOut = out[0];
    }
    bool write(const std::string &text) { return ::write(mIn, text.data(), text.size()) == ssize_t(text.size()); }
    void closeInput() { close(mIn), mIn = -1; }
    void closeOutput() { close(mOut), mOut = -1; }
    // Reads until the output holds `text`; false at the end of the output.
    // (The wait is bounded only so that a broken tool fails instead of hanging.)
    bool readUntil(const std::string &text)
    {
        char buffer[4096];
        while (mRead.find(text) == std::string::npos) {
            pollfd ready{mOut, POLLIN, 0};
            if (poll(&ready, 1, 120000) <= 0)
                return false;
            const ssize_t got = ::read(mOut, buffer, sizeof buffer);
            if (got <= 0)
                return false;
            mRead.append(buffer, static_cast<size_t>(got));
        }
        return true;
    }
    int wait()
    {
        int status = 0;
        waitpid(mPid, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }
    ~LiveLog()
    {
        if (mIn >= 0)
            close(mIn);
        if (mOut >= 0)
            close(mOut);
    }
    const std::string &read() const { return mRead; }

private:
    pid_t mPid = -1;
    int mIn = -1, mOut = -1;
    std::string mRead;
};

TEST(FleetLive, EachCaptureIsExplainedOnceTheNextBegins)
{
    signal(SIGPIPE, SIG_IGN); // the tool may go before the test's last write
    const std::vector<kohost::LogLine> first = exampleLines("overview", 1187, 1301, kNovember);
    const std::vector<kohost::LogLine> second = exampleLines("motion-capture", 1187, 1301, kNovember + 500000000);
    LiveLog live;
    // The second capture begins on the same thread: the first is complete,
    // and shown while the input is still open.
    ASSERT_TRUE(live.write(logText(first) + logText(second)));
    ASSERT_TRUE(live.readUntil("-- capture fwkFrame 100")) << live.read();
    live.closeInput();
    ASSERT_TRUE(live.readUntil("-- capture fwkFrame 200")) << live.read();
    EXPECT_NE(live.read().find("took 1 of 1 requested frame: 44"), std::string::npos) << live.read();
    EXPECT_NE(live.read().find("took 3 of 3 requested frames: 52"), std::string::npos) << live.read();
    EXPECT_EQ(live.wait(), 0);
}

TEST(FleetLive, AReaderThatGoesAwayEndsItCleanly)
{
    signal(SIGPIPE, SIG_IGN);
    LiveLog live;
    ASSERT_TRUE(live.write(logText(exampleLines("overview", 1187, 1301, kNovember))));
    live.closeOutput();
    for (int i = 0; i < 3; ++i)
        live.write(logText(exampleLines("motion-capture", 1187, 1301, kNovember + (i + 1) * 500000000)));
    live.closeInput();
    EXPECT_EQ(live.wait(), 0); // no crash, no SIGPIPE death
}

} // namespace
