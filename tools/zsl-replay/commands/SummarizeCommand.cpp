// Capture tables read back into one fleet summary.

#include "commands/SummarizeCommand.h"

#include "commands/Usage.h"
#include "outcome/Error.h"
#include "output/FleetSummary.h"
#include "output/OutputFile.h"
#include "output/Outputs.h"
#include "output/RepeatedCaptures.h"
#include "output/TableReader.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <memory>
#include <iostream>

namespace zsl::commands {

int runSummarize(const SummarizeOptions &options)
{
    if (std::count(options.tables.begin(), options.tables.end(), "-") > 1)
        throw UsageError("standard input can be read once: give - once");
    // The picture's path is checked before any table is read.
    std::unique_ptr<output::OutputFile> svg;
    try {
        if (!options.summarySvgPath.empty())
            svg = std::make_unique<output::OutputFile>(options.summarySvgPath, options.tables);
    } catch (const outcome::Error &error) {
        printError(error);
        return kExitFailed;
    }
    int status = kExitOk;
    size_t read = 0; // tables read whole
    output::FleetSummary summary;
    output::RepeatedCaptures repeated;
    for (const std::string &path : options.tables) {
        // A table that fails half-way counts none of its rows.
        output::FleetSummary table;
        try {
            std::ifstream file;
            if (path != "-") {
                if (std::filesystem::is_directory(path))
                    throw outcome::Error(path +
                                         " is a folder: summarize reads capture tables (explain --table writes them)");
                file.open(path, std::ios::binary);
                if (!file)
                    throw outcome::Error("cannot read " + path);
            }
            output::readCaptureTable(path == "-" ? std::cin : file, path, [&](const output::CaptureRow &row) {
                if (repeated.seenBefore(row))
                    table.addRepeat();
                else
                    table.add(row);
            });
            summary.add(table);
            ++read;
            printRepeats(path, repeated.takeRepeats());
        } catch (const outcome::Error &error) {
            repeated.forgetSinceTake();
            printError(error);
            status = kExitFailed;
        }
    }
    if (read == 0 && status != 0)
        return status; // no summary of nothing: each table's error said why
    try {
        if (svg) {
            svg->stream() << summary.svg();
            svg->close();
        }
    } catch (const outcome::Error &error) {
        printError(error);
        return kExitFailed;
    }
    if (options.json)
        std::cout << output::jsonText(summary.toJson(), 2) << "\n";
    else
        summary.writeText(std::cout);
    return status;
}

} // namespace zsl::commands
