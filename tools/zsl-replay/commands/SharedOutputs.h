#pragma once
/*
 * SharedOutputs: the pictures and the page replay and explain both write
 * when asked (--svg, --perfetto with its --device-trace, --html), attached
 * to a subcommand's outputs the same way, and where a --table goes.
 */

#include "commands/Options.h"
#include "output/CaptureTable.h"
#include "output/FleetSummary.h"
#include "output/Outputs.h"

#include <optional>

#include <string>
#include <vector>

namespace zsl::commands {

// Where --table writes: the format from "csv:"/"jsonl:" or the extension.
struct TableTarget {
    std::string path;
    output::CaptureTableWriter::Format format = output::CaptureTableWriter::Format::Csv;
};
// None when the value names neither.
std::optional<TableTarget> tableTarget(const std::string &value);

// Throws UsageError when the outputs asked for do not go together.
void checkOutputOptions(const OutputOptions &options);

// Throws outcome::Error when a file cannot be opened or is one of `inputs`.
// `summary`, when given, is the run's own, fed by a sink attached before: the
// page shows it instead of counting the captures again.
void attachPictures(const OutputOptions &options, const std::vector<std::string> &inputs, output::Outputs &outputs,
                    const output::FleetSummary *summary = nullptr);

} // namespace zsl::commands
