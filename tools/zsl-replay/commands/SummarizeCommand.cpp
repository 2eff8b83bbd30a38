// Capture tables read back into one fleet summary.

#include "commands/SummarizeCommand.h"

#include "commands/Usage.h"
#include "outcome/Error.h"
#include "output/FleetSummary.h"
#include "output/OutputFile.h"
#include "output/Outputs.h"
#include "output/TableReader.h"

#include <algorithm>
#include <fstream>
#include <iostream>

namespace zsl::commands {

int runSummarize(const SummarizeOptions &options)
{
    if (std::count(options.tables.begin(), options.tables.end(), "-") > 1)
        return usageError("summarize", "standard input can be read once: give - once");
    int status = 0;
    output::FleetSummary summary;
    for (const std::string &path : options.tables) {
        // A table that fails half-way counts none of its rows.
        output::FleetSummary table;
        try {
            std::ifstream file;
            if (path != "-") {
                file.open(path, std::ios::binary);
                if (!file)
                    throw outcome::Error("cannot read " + path);
            }
            output::readCaptureTable(path == "-" ? std::cin : file, path,
                                     [&](const output::CaptureRow &row) { table.add(row); });
            summary.add(table);
        } catch (const outcome::Error &error) {
            printError(error);
            status = 2;
        }
    }
    try {
        if (!options.summarySvgPath.empty()) {
            output::OutputFile svg(options.summarySvgPath, options.tables);
            svg.stream() << summary.svg();
            svg.close();
        }
    } catch (const outcome::Error &error) {
        printError(error);
        return 2;
    }
    if (options.json)
        std::cout << output::jsonText(summary.toJson(), 2) << "\n";
    else
        summary.writeText(std::cout);
    return status;
}

} // namespace zsl::commands
