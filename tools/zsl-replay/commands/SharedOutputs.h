#pragma once
/*
 * SharedOutputs: the pictures and the page replay and explain both write
 * when asked (--svg, --perfetto with its --device-trace, --html), attached
 * to a subcommand's outputs the same way.
 */

#include "commands/Options.h"
#include "output/Outputs.h"

#include <string>
#include <vector>

namespace zsl::commands {

// What is wrong with the outputs asked for, for a usage error; "" if nothing.
std::string outputOptionsProblem(const OutputOptions &options);

// Throws outcome::Error when a file cannot be opened or is one of `inputs`.
void attachPictures(const OutputOptions &options, const std::vector<std::string> &inputs, output::Outputs &outputs);

} // namespace zsl::commands
