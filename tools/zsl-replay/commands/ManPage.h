#pragma once
/*
 * ManPage: zsl-replay's man pages in roff, made from the command line's own
 * options and help texts (commands/Help), so that a page cannot drift from
 * --help: zsl-replay(1), which lists the subcommands, and one page per
 * subcommand in git's manner, zsl-replay-explain(1) and so on. Each has the
 * sections a man reader expects (NAME, SYNOPSIS, DESCRIPTION, OPTIONS, EXIT
 * STATUS, ENVIRONMENT, EXAMPLES, SEE ALSO) and fits 80 columns.
 */

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace zsl::commands {

struct ManPage {
    std::string fileName; // "zsl-replay-explain.1"
    std::string roff;
};

// The tool's page and one per subcommand of `tool`.
std::vector<ManPage> manPages(CLI::App &tool);

} // namespace zsl::commands
