// zsl-bench-log: writes a benchmark log to standard output.
//   zsl-bench-log mixed PERCENT MEGABYTES [info] [short]
//                                                  other apps' lines, the plug-in's PERCENT % of them
//                                                  ("short": other apps' lines of 10 to 160 bytes)
//   zsl-bench-log plugin CAPTURES [info] [--captures-of LOG]
//                                                  the plug-in's lines alone (those of LOG,
//                                                  a replay's --write-logcat, repeated)
// "info": the plug-in logging at info level, as phones in the field do.

#include "BenchLogs.h"

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

int usage()
{
    std::fputs("usage: zsl-bench-log mixed PERCENT MEGABYTES [info] [short] | zsl-bench-log plugin CAPTURES [info] "
               "[--captures-of LOG]\n",
               stderr);
    return 2;
}

} // namespace

int main(int argc, char **argv)
{
    std::vector<std::string> args(argv + 1, argv + argc);
    std::string sample;
    if (args.size() >= 2 && args[args.size() - 2] == "--captures-of") {
        sample = args.back();
        args.resize(args.size() - 2);
    }
    using zsl::bench::Level;
    using zsl::bench::Lines;
    const Lines lines = !args.empty() && args.back() == "short" ? Lines::Short : Lines::Long;
    if (lines == Lines::Short)
        args.pop_back();
    const Level level = !args.empty() && args.back() == "info" ? Level::Info : Level::Debug;
    if (level == Level::Info)
        args.pop_back();
    if (args.size() == 2 && args[0] == "plugin" && lines == Lines::Long) {
        const long captures = std::atol(args[1].c_str());
        if (captures <= 0)
            return usage();
        zsl::bench::writePluginLog(stdout, captures, level, sample.empty() ? nullptr : sample.c_str());
    } else if (args.size() == 3 && args[0] == "mixed" && sample.empty()) {
        const double percent = std::atof(args[1].c_str());
        const uint64_t megabytes = std::strtoull(args[2].c_str(), nullptr, 10);
        if (percent <= 0 || percent >= 100 || megabytes == 0)
            return usage();
        zsl::bench::writeMixedLog(stdout, percent, megabytes << 20, level, lines);
    } else {
        return usage();
    }
    return std::fflush(stdout) == 0 ? 0 : 1;
}
