// Many logs read in parallel, handed back in order.

#include "log/LogBatch.h"

#include "log/InOrderPool.h"
#include "log/LogImporter.h"
#include "log/LogInput.h"
#include "log/ReadAhead.h"
#include "messages/PluginMessages.h"
#include "outcome/Error.h"

#include <algorithm>
#include <filesystem>

namespace zsl::log {

using namespace zsl::outcome;

namespace {

// Captures an input read ahead holds before its reading waits for its turn:
// a few MiB at most, so that a folder of long logs is read in bounded memory.
constexpr size_t kHeldCaptures = 256;

} // namespace

std::vector<LogSource> expandLogInputs(const std::vector<std::string> &inputs, std::vector<std::string> &errors)
{
    namespace fs = std::filesystem;
    std::vector<LogSource> sources;
    for (const std::string &input : inputs) {
        std::error_code error;
        if (input == "-" || !fs::is_directory(input, error)) {
            sources.push_back({input, false, ""});
            continue;
        }
        std::vector<std::string> found;
        fs::recursive_directory_iterator walk(input, error), end;
        for (; !error && walk != end; walk.increment(error)) {
            const std::string name = walk->path().filename().string();
            if (name.size() > 1 && name[0] == '.') { // hidden: a checkout's .git, an editor's swap file
                if (walk->is_directory(error))
                    walk.disable_recursion_pending();
                continue;
            }
            if (walk->is_regular_file(error))
                found.push_back(walk->path().string());
        }
        if (error)
            errors.push_back("cannot read the folder " + input + ": " + error.message());
        std::sort(found.begin(), found.end());
        if (found.empty() && !error)
            errors.push_back(input + ": a folder without a file");
        for (std::string &path : found)
            sources.push_back({std::move(path), true, ""});
    }
    return sources;
}

LogRead readLogSource(const LogSource &source, const CaptureDone &capture, bool ahead)
{
    LogRead read;
    read.source = source;
    try {
        LogOrigin origin;
        LogImporter::HandOver handOver;
        if (capture)
            handOver = [&](SessionOutcome &session, StepOutcome &step) {
                session.fingerprint = origin.fingerprint;
                session.reportTime = origin.reportTime;
                capture(session, step);
            };
        LogImporter importer(source.named(), handOver);
        const std::function<void(kohost::LogLine &&, uint64_t)> line = [&](kohost::LogLine &&read, uint64_t number) {
            importer.add(std::move(read), number);
        };
        const std::function<void(const std::string &)> problem = [&](const std::string &text) {
            importer.problem(text);
        };
        if (ahead)
            readLogInputAhead(source.path, source.named(), line, problem, origin);
        else
            readLogInput(source.path, source.named(), line, problem, origin);
        SessionOutcome session = importer.finish();
        session.fingerprint = origin.fingerprint;
        session.reportTime = origin.reportTime;
        if (importer.linesUsed() == 0) {
            read.withoutPluginLines = true;
            // In a folder, a report of another day, a README: counted, with no warning of its own.
            if (source.inFolder)
                return read;
        }
        for (const std::string &warning : importer.warnings())
            read.warnings.push_back(source.named() + ": warning: " + warning);
        // Named alone, a log without the plug-in is a wrong file.
        if (importer.linesUsed() == 0)
            throw Error(source.named() + ": no line of the plug-in (tag " + std::string(messages::kPluginTag) +
                        ") in this log");
        read.session = std::move(session);
    } catch (const NotALog &) {
        if (!source.inFolder)
            read.error = std::current_exception();
        read.withoutPluginLines = source.inFolder; // a folder's picture or binary: another file, not a log
    } catch (const Error &) {
        read.error = std::current_exception(); // crosses to the thread that reports it
    }
    return read;
}

void readLogSources(const std::vector<LogSource> &sources, unsigned jobs, const CaptureDone &capture,
                    const std::function<void(LogRead)> &done)
{
    if (jobs <= 1 || sources.size() <= 1) {
        for (const LogSource &source : sources)
            done(readLogSource(source, capture, jobs >= 2));
        return;
    }
    // A capture read ahead, with its session's fields as they were then.
    struct Handed {
        outcome::SessionOutcome session; // without steps: those are handed over
        outcome::StepOutcome step;
    };
    forEachInOrder<Handed>(
        sources.size(), jobs, 2 * size_t(jobs), kHeldCaptures,
        [&](size_t index, const auto &give) {
            if (!capture) // the captures kept in each source's session
                return readLogSource(sources[index]);
            return readLogSource(sources[index],
                                 [&](const outcome::SessionOutcome &session, outcome::StepOutcome &step) {
                                     give(Handed{session, std::move(step)});
                                 });
        },
        [&](Handed handed) { capture(handed.session, handed.step); }, done);
}

} // namespace zsl::log
