// The timeline and the Perfetto file, for either subcommand.

#include "commands/SharedOutputs.h"

#include "output/Sinks.h"

namespace zsl::commands {

void attachPictures(const OutputOptions &options, const std::vector<std::string> &inputs, output::Outputs &outputs)
{
    auto file = [&](const std::string &path) {
        return path.empty() ? nullptr : std::make_unique<output::OutputFile>(path, inputs);
    };
    if (!options.svgPath.empty() || !options.perfettoPath.empty())
        outputs.attach(std::make_unique<output::PicturesSink>(file(options.svgPath), file(options.perfettoPath)));
}

} // namespace zsl::commands
