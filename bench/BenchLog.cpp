// zsl-bench-log: writes a benchmark log to standard output.
//   zsl-bench-log mixed PERCENT MEGABYTES   other apps' lines, the plug-in's PERCENT % of them
//   zsl-bench-log plugin CAPTURES           the plug-in's lines alone

#include "BenchLogs.h"

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

int usage()
{
    std::fputs("usage: zsl-bench-log mixed PERCENT MEGABYTES | zsl-bench-log plugin CAPTURES\n", stderr);
    return 2;
}

} // namespace

int main(int argc, char **argv)
{
    const std::vector<std::string> args(argv + 1, argv + argc);
    if (args.size() == 2 && args[0] == "plugin") {
        const long captures = std::atol(args[1].c_str());
        if (captures <= 0)
            return usage();
        zsl::bench::writePluginLog(stdout, captures);
    } else if (args.size() == 3 && args[0] == "mixed") {
        const double percent = std::atof(args[1].c_str());
        const uint64_t megabytes = std::strtoull(args[2].c_str(), nullptr, 10);
        if (percent <= 0 || percent >= 100 || megabytes == 0)
            return usage();
        zsl::bench::writeMixedLog(stdout, percent, megabytes << 20);
    } else {
        return usage();
    }
    return std::fflush(stdout) == 0 ? 0 : 1;
}
