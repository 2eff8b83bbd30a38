#pragma once
/*
 * Usage: how every subcommand says what went wrong: a usage error in one
 * line naming the subcommand and where its help is (exit status 2), and an
 * error of the work (outcome::Error), a line for each line of its message;
 * and the one note that is not an error, captures read twice.
 */

#include "outcome/Error.h"
#include "outcome/ExitStatus.h"

#include <cstddef>
#include <exception>
#include <iostream>
#include <sstream>
#include <string>

namespace zsl::commands {

using outcome::kExitDiffers;
using outcome::kExitFailed;
using outcome::kExitGateTripped;
using outcome::kExitOk;

// A usage problem, found wherever the options are checked and thrown;
// main says it in one line for the subcommand that was run (usageError).
class UsageError : public outcome::Error {
public:
    explicit UsageError(const std::string &what) : outcome::Error(what) {}
};

inline int usageError(const std::string &command, const std::string &message)
{
    std::cerr << "zsl-replay " << command << ": " << message << " (see zsl-replay " << command << " --help)\n";
    return kExitFailed;
}

inline void printError(const std::exception &error)
{
    std::istringstream lines(error.what());
    for (std::string line; std::getline(lines, line);)
        std::cerr << "zsl-replay: " << line << "\n";
}

// Captures of `source` read before, from another table or input: counted
// once, and said so (not an error).
inline void printRepeats(const std::string &source, size_t repeats)
{
    if (repeats > 0)
        std::cerr << "zsl-replay: " << source << ": " << repeats << (repeats == 1 ? " capture was" : " captures were")
                  << " read before (the same input and line of its log): counted once\n";
}

} // namespace zsl::commands
