#pragma once
/*
 * Usage: how every subcommand refuses what it was asked: one line naming
 * the subcommand and where its help is, and exit status 2.
 */

#include <iostream>
#include <string>

namespace zsl::commands {

inline int usageError(const std::string &command, const std::string &message)
{
    std::cerr << "zsl-replay " << command << ": " << message << " (see zsl-replay " << command << " --help)\n";
    return 2;
}

} // namespace zsl::commands
