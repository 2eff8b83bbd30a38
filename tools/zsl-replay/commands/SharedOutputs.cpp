// The pictures, the Perfetto file and the page, for either subcommand.

#include "commands/SharedOutputs.h"

#include "commands/Usage.h"

#include "output/Sinks.h"

namespace zsl::commands {

namespace {

bool isArchive(const std::string &perfettoPath)
{
    return output::PicturesSink::perfettoForm(perfettoPath) == output::PicturesSink::PerfettoForm::Archive;
}

} // namespace

std::optional<TableTarget> tableTarget(const std::string &value)
{
    using Format = output::CaptureTableWriter::Format;
    auto endsWith = [&](const std::string &end) {
        return value.size() > end.size() && value.compare(value.size() - end.size(), end.size(), end) == 0;
    };
    if (value.rfind("csv:", 0) == 0 && value.size() > 4)
        return TableTarget{value.substr(4), Format::Csv};
    if (value.rfind("jsonl:", 0) == 0 && value.size() > 6)
        return TableTarget{value.substr(6), Format::JsonLines};
    if (endsWith(".csv"))
        return TableTarget{value, Format::Csv};
    if (endsWith(".jsonl"))
        return TableTarget{value, Format::JsonLines};
    return std::nullopt;
}

void checkOutputOptions(const OutputOptions &options)
{
    if (!options.deviceTraces.empty() && !isArchive(options.perfettoPath))
        throw UsageError("--device-trace goes into an archive with our trace: give --perfetto FILE.zip");
}

void attachPictures(const OutputOptions &options, const std::vector<std::string> &inputs, output::Outputs &outputs,
                    const output::FleetSummary *summary)
{
    // The device's traces are inputs too: the archive never overwrites one.
    std::vector<std::string> read = inputs;
    read.insert(read.end(), options.deviceTraces.begin(), options.deviceTraces.end());
    auto file = [&](const std::string &path) {
        return path.empty() ? nullptr : std::make_unique<output::OutputFile>(path, read);
    };
    if (!options.htmlPath.empty())
        outputs.attach(std::make_unique<output::HtmlSink>(file(options.htmlPath), summary));
    if (options.svgPath.empty() && options.perfettoPath.empty())
        return;
    auto archive =
        isArchive(options.perfettoPath) ? std::make_unique<output::PerfettoArchive>(options.deviceTraces) : nullptr;
    outputs.attach(
        std::make_unique<output::PicturesSink>(file(options.svgPath), file(options.perfettoPath), std::move(archive)));
}

} // namespace zsl::commands
