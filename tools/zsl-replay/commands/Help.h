#pragma once
/*
 * Help: what zsl-replay and each subcommand say about themselves beyond
 * their options: a one-line summary, the description, examples, exit
 * statuses and the environment read. Kept as data, so that --help and the
 * man pages are made from the same words, each in its own layout
 * (commands/ManPage).
 */

#include <string>
#include <vector>

namespace zsl::commands {

struct Help {
    struct Example {
        std::string command;
        std::string what; // empty: the command says it
    };
    struct ExitStatus {
        int status;
        std::string meaning;
    };
    struct Variable {
        std::string name;
        std::string meaning;
    };

    std::string name;        // "explain"; "zsl-replay" for the tool itself
    std::string summary;     // one line, lower case: what `zsl-replay --help` lists
    std::string description; // paragraphs, split by a blank line
    std::vector<Example> examples;
    std::vector<ExitStatus> exitStatuses;
    std::vector<Variable> environment; // empty: none is read
};

// The tool's own help, then one per subcommand in the order --help lists them.
const Help &toolHelp();
const std::vector<Help> &subcommandHelps();
const Help &helpOf(const std::string &subcommand);

// The part of --help below the options: the description, then examples,
// exit statuses and environment as a terminal shows them.
std::string helpFooter(const Help &help);

} // namespace zsl::commands
