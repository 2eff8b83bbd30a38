// Nothing a user gave is written over: every output option of every
// subcommand, aimed at an input folder's file, a new file in it, a symbolic
// link and a hard link to an input, is refused in one line with status 2,
// and the input stays byte for byte; a failed run leaves an old output whole.

#include "ReplayCli.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace {

namespace fs = std::filesystem;
using kotest::replay;

std::string bytes(const fs::path &path)
{
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

// A folder of inputs (the sample log and a capture table) and, beside it,
// links to them; removed with the object.
class InputFolder {
public:
    InputFolder()
    {
        std::string root = (fs::temp_directory_path() / "zsl-guard-XXXXXX").string();
        mRoot = mkdtemp(root.data());
        fs::create_directories(mRoot / "in" / "sub");
        fs::copy_file(fs::path(ZSL_SOURCE_DIR) / "examples/device.log", mRoot / "in/device.log");
        const kotest::Outcome table = replay("explain " + path("in/device.log") + " --table csv:-");
        std::ofstream(mRoot / "in/sub/table.csv", std::ios::binary) << table.out;
        fs::create_symlink(mRoot / "in/device.log", mRoot / "symlink");
        fs::create_hard_link(mRoot / "in/device.log", mRoot / "hardlink");
        fs::create_symlink(mRoot / "in/sub/table.csv", mRoot / "table-symlink");
        fs::create_hard_link(mRoot / "in/sub/table.csv", mRoot / "table-hardlink");
    }
    ~InputFolder() { fs::remove_all(mRoot); }
    std::string path(const std::string &relative) const { return (mRoot / relative).string(); }

private:
    fs::path mRoot;
};

TEST(OutputGuard, EveryOutputIntoAnInputIsRefusedBeforeAnythingIsWritten)
{
    const InputFolder folder;
    const std::string log = bytes(folder.path("in/device.log"));
    const std::string table = bytes(folder.path("in/sub/table.csv"));
    ASSERT_NE(table.find("schema,"), std::string::npos);
    // {in}: the input folder, {table}: the table in it, {out}: the output's path.
    const std::vector<std::string> commands = {
        "explain {in} --html {out}",
        "explain {in} --svg {out}",
        "explain {in} --perfetto {out}",
        "explain {in} --summary-svg {out}",
        "explain {in} --table csv:{out}",
        "explain {in} --table jsonl:{out}",
        "whatif --set window=150 {in} --html {out}",
        "whatif --set window=150 {in} --table csv:{out}",
        "whatif --sweep window=50:150:50 {in} --sweep-svg {out}",
        "summarize {table} {in} --summary-svg {out}",
    };
    const std::vector<std::string> targets = {"in/device.log", "in/sub/new.out", "symlink", "hardlink",
                                              "table-symlink", "table-hardlink", "in"};
    auto put = [](std::string text, const std::string &mark, const std::string &value) {
        const size_t at = text.find(mark);
        return at == std::string::npos ? text : text.replace(at, mark.size(), value);
    };
    for (const std::string &command : commands)
        for (const std::string &target : targets) {
            const std::string args = put(put(put(command, "{table}", folder.path("in/sub/table.csv")), "{in}",
                                             folder.path("in")),
                                         "{out}", folder.path(target));
            SCOPED_TRACE(args);
            const kotest::Outcome run = replay(args);
            EXPECT_EQ(run.status, 2);
            EXPECT_NE(run.err.find("zsl-replay: "), std::string::npos);
            EXPECT_TRUE(bytes(folder.path("in/device.log")) == log) << "the input log changed";
            EXPECT_TRUE(bytes(folder.path("in/sub/table.csv")) == table) << "the input table changed";
            EXPECT_FALSE(fs::exists(folder.path("in/sub/new.out")));
            EXPECT_TRUE(fs::is_symlink(folder.path("symlink")));
        }
    // A replay's inputs are traces: its Android log is never written over one.
    const std::string trace = folder.path("in/sub/trace.json");
    fs::copy_file(fs::path(ZSL_SOURCE_DIR) / "examples/overview.json", trace);
    const std::string traceText = bytes(trace);
    fs::create_symlink(trace, folder.path("trace-symlink"));
    fs::create_hard_link(trace, folder.path("trace-hardlink"));
    for (const char *target : {"in/sub/trace.json", "trace-symlink", "trace-hardlink"}) {
        SCOPED_TRACE(target);
        const kotest::Outcome run = replay("replay " + trace + " --write-logcat " + folder.path(target));
        EXPECT_EQ(run.status, 2);
        EXPECT_TRUE(bytes(trace) == traceText) << "the trace changed";
    }
    // --write-traces into the input folder adds no file to it.
    const kotest::Outcome traces = replay("explain " + folder.path("in") + " --write-traces " + folder.path("in/sub"));
    EXPECT_EQ(traces.status, 2);
    EXPECT_EQ(std::distance(fs::directory_iterator(folder.path("in/sub")), fs::directory_iterator()), 2);
}

TEST(OutputGuard, AnOutputIsWrittenWholeOrLeftAsItWas)
{
    const InputFolder folder;
    const std::string out = folder.path("out.csv");
    std::ofstream(out) << "old";
    fs::permissions(out, fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read);
    // One input fails (missing): the other's table is still written, whole.
    const kotest::Outcome partly = replay("explain " + folder.path("in/device.log") + " " + folder.path("missing.log") +
                                          " --table " + out);
    EXPECT_EQ(partly.status, 2);
    EXPECT_EQ(bytes(out), bytes(folder.path("in/sub/table.csv")));
    EXPECT_EQ(fs::status(out).permissions() & fs::perms::all,
              fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read);
    // Written again: no temporary file is left beside it.
    const kotest::Outcome written = replay("explain " + folder.path("in/device.log") + " --table " + out);
    EXPECT_EQ(written.status, 0);
    for (const auto &entry : fs::directory_iterator(folder.path("")))
        EXPECT_NE(entry.path().filename().string().front(), '.') << entry.path();
    // Through a symbolic link, the file it names is written and the link kept.
    fs::create_symlink(out, folder.path("out-link.csv"));
    std::ofstream(out) << "old";
    EXPECT_EQ(replay("explain " + folder.path("in/device.log") + " --table " + folder.path("out-link.csv")).status, 0);
    EXPECT_TRUE(fs::is_symlink(folder.path("out-link.csv")));
    EXPECT_EQ(bytes(out), bytes(folder.path("in/sub/table.csv")));
}

} // namespace
