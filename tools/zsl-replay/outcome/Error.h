#pragma once
/*
 * Error: the one way zsl-replay says that a unit of work cannot be done (a
 * trace, an input, an output file). It is thrown where the problem is
 * found, with a message that names the thing and the reason, and caught at
 * one boundary, in the subcommand, which prints it in one line, sets exit
 * status 2, and goes on with the next unit. A worker thread hands its
 * input's error over as a std::exception_ptr, rethrown at that boundary.
 * Problems that do not stop the work (a log's odd line) are warnings, not
 * errors: they are counted and said, never thrown. An error that no unit
 * can be done past (the plug-in cannot be loaded) reaches the whole run.
 */

#include <stdexcept>
#include <string>

namespace zsl::outcome {

class Error : public std::runtime_error {
public:
    // How far an error reaches: its unit of work, after which the next unit
    // goes on, or the whole run, which ends.
    enum class Reach { Unit, Run };

    explicit Error(const std::string &what, Reach reach = Reach::Unit) : std::runtime_error(what), mReach(reach) {}
    Reach reach() const { return mReach; }

private:
    Reach mReach;
};

} // namespace zsl::outcome
