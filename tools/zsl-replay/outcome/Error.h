#pragma once
/*
 * Error: the one way zsl-replay says that a unit of work cannot be done (a
 * trace, an input, an output file). It is thrown where the problem is
 * found, with a message that names the thing and the reason, and caught at
 * one boundary, in the subcommand, which prints it in one line, sets exit
 * status 2, and goes on with the next unit. A worker thread hands its
 * input's error over as a std::exception_ptr, rethrown at that boundary.
 * Problems that do not stop the work (a log's odd line) are warnings, not
 * errors: they are counted and said, never thrown.
 */

#include <stdexcept>
#include <string>

namespace zsl::outcome {

class Error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

} // namespace zsl::outcome
