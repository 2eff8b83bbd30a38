// Each writer behind the sink's feed.

#include "output/Sinks.h"

#include "outcome/Error.h"
#include "output/LogcatWriter.h"
#include "output/Outputs.h"
#include "output/Perfetto.h"
#include "output/PerfettoProto.h"
#include "output/Report.h"
#include "output/Timeline.h"
#include "output/TraceWriter.h"

#include <android/log.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <sstream>

namespace zsl::output {

using namespace zsl::outcome;

ReportSink::ReportSink(std::ostream &out, Form form, bool withLog, const FleetSummary *summary, std::string plugin)
    : mOut(out), mForm(form), mWithLog(withLog), mSummary(summary), mPlugin(std::move(plugin))
{
}

void ReportSink::add(const SessionOutcome &session, const std::vector<CaptureRow> &)
{
    // Written at once, and flushed, so that a live log shows each capture as it completes.
    if (mForm == Form::Text)
        writeText(mOut, session, mWithLog), mOut << "\n";
    else if (mForm == Form::JsonLines)
        mOut << jsonText(toJson(session)) << "\n";
    else
        mTraces.push_back(toJson(session));
    mOut.flush();
}

void ReportSink::finish()
{
    const bool summary = mSummary && mSummary->captures() > 1;
    if (mForm == Form::Json) {
        nlohmann::json out = {{"traces", std::move(mTraces)}};
        // The plug-in by file name: the build's path would differ from machine to machine.
        if (!mPlugin.empty())
            out["plugin"] = mPlugin.substr(mPlugin.rfind('/') + 1);
        if (summary)
            out["summary"] = mSummary->toJson();
        mOut << jsonText(out, 2) << "\n";
    } else if (mForm == Form::JsonLines && summary) {
        mOut << jsonText(nlohmann::json{{"summary", mSummary->toJson()}}) << "\n";
    } else if (summary) {
        mSummary->writeText(mOut);
    }
    mOut.flush();
}

TableSink::TableSink(std::unique_ptr<OutputFile> file, CaptureTableWriter::Format format)
    : mFile(std::move(file)), mWriter(mFile->stream(), format)
{
}

void TableSink::add(const SessionOutcome &, const std::vector<CaptureRow> &rows)
{
    for (const CaptureRow &row : rows)
        mWriter.write(row);
    mFile->stream().flush();
}

void SummarySink::add(const SessionOutcome &, const std::vector<CaptureRow> &rows)
{
    for (const CaptureRow &row : rows)
        mSummary.add(row);
}

void SummarySvgSink::finish()
{
    mFile->stream() << mSummary.svg();
    mFile->close();
}

PicturesSink::PerfettoForm PicturesSink::perfettoForm(const std::string &path)
{
    auto endsWith = [&](const std::string &end) {
        return path.size() > end.size() && path.compare(path.size() - end.size(), end.size(), end) == 0;
    };
    return endsWith(".json") ? PerfettoForm::Json : endsWith(".zip") ? PerfettoForm::Archive : PerfettoForm::Protobuf;
}

void PicturesSink::add(const SessionOutcome &session, const std::vector<CaptureRow> &)
{
    mSessions.push_back(session);
}

void PicturesSink::finish()
{
    // Each file is closed, and so checked, before the other is drawn.
    if (mTimeline) {
        mTimeline->stream() << drawTimeline(mSessions);
        mTimeline->close();
    }
    if (!mPerfetto)
        return;
    switch (perfettoForm(mPerfetto->path())) {
    case PerfettoForm::Json:
        mPerfetto->stream() << jsonText(perfettoTrace(mSessions)) << "\n";
        break;
    case PerfettoForm::Protobuf:
        writePerfettoProto(mSessions, mPerfetto->stream());
        break;
    case PerfettoForm::Archive: {
        std::ostringstream ours;
        writePerfettoProto(mSessions, ours);
        mArchive->write(ours.str(), mPerfetto->stream());
        break;
    }
    }
    mPerfetto->close();
}

void HtmlSink::add(const SessionOutcome &session, const std::vector<CaptureRow> &rows)
{
    for (const CaptureRow &row : rows)
        mSummary.add(row);
    mPage.add(session, rows);
}

void HtmlSink::finish()
{
    mPage.write(mFile->stream(), mSummary);
    mFile->close();
}

TraceFolderSink::TraceFolderSink(std::string dir) : mDir(std::move(dir))
{
    struct stat info {};
    if (stat(mDir.c_str(), &info) != 0 || !S_ISDIR(info.st_mode))
        throw Error("--write-traces " + mDir + ": not a directory");
}

void TraceFolderSink::add(const SessionOutcome &session, const std::vector<CaptureRow> &)
{
    std::string failures;
    for (const StepOutcome &step : session.steps) {
        if (!step.selectRan)
            continue;
        std::string name = mDir + "/fwkFrame-" + std::to_string(step.fwkFrame);
        if (const int n = mUsed[step.fwkFrame]++; n > 0)
            name += "-" + std::to_string(n + 1);
        name += ".json";
        const int fd = open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL, 0644);
        if (fd < 0) {
            failures += "cannot write " + name + ": " + std::strerror(errno) +
                        (errno == EEXIST ? " (not overwritten)\n" : "\n");
            continue;
        }
        const std::string text = jsonText(traceFromLog(session, step), 2) + "\n";
        const bool written = write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
        if (close(fd) != 0 || !written)
            failures += "cannot write " + name + ": " + std::strerror(errno) + "\n";
    }
    if (!failures.empty())
        throw Error(failures);
}

void AndroidLogSink::add(const SessionOutcome &session, const std::vector<CaptureRow> &)
{
    const std::string letters = "VDIWEF";
    for (const kohost::LogLine &line : session.androidLog) {
        const auto level = letters.find(line.level);
        if (level != std::string::npos && ANDROID_LOG_VERBOSE + static_cast<int>(level) >= mMinimumPriority)
            mOut << logcatLine(line, mFormat) << "\n";
    }
}

void AndroidLogSink::finish()
{
    if (mFile)
        mFile->close();
}

} // namespace zsl::output
