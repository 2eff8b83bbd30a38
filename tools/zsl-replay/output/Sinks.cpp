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

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <sstream>

namespace zsl::output {

using namespace zsl::outcome;

ReportSink::ReportSink(std::ostream &out, Form form, bool withLog, const FleetSummary *summary, std::string plugin)
    : mOut(out), mForm(form), mWithLog(withLog), mSummary(summary), mPlugin(std::move(plugin))
{
}

namespace {

// JSON text nested `spaces` deeper: each line after the first moved right.
std::string nested(const std::string &json, size_t spaces)
{
    std::string out;
    out.reserve(json.size() + json.size() / 16);
    for (size_t at = 0; at < json.size();) {
        const size_t end = std::min(json.find('\n', at), json.size());
        out.append(json, at, end - at);
        if (end < json.size())
            out.append(1, '\n').append(spaces, ' ');
        at = end + 1;
    }
    return out;
}

} // namespace

void ReportSink::add(const SessionOutcome &session, const StepOutcome &step, const CaptureForms &forms)
{
    switch (mForm) {
    case Form::Text:
        mSpill.stream() << *forms.text;
        if (mWithLog)
            writeStepLog(mSpill.stream(), step);
        break;
    case Form::Json:
        // The document as one dump with an indent of 2 would write it, the
        // steps first: what the whole log tells comes after them.
        mSpill.stream() << (mSteps == 0 ? "    {\n      \"steps\": [\n" : ",\n") << "        "
                        << nested(jsonText(stepJson(session, step), 2), 8);
        break;
    case Form::JsonLines:
        mLines.push_back(stepJson(session, step));
        break;
    }
    ++mSteps;
    mSpill.held();
}

void ReportSink::end(const SessionOutcome &session)
{
    // Written at once, and flushed, so that a live log shows each capture as it completes.
    if (mForm == Form::Text) {
        writeSessionHeader(mOut, session);
        mSpill.moveTo(mOut);
        mOut << "\n";
    } else if (mForm == Form::JsonLines) {
        nlohmann::json out = sessionJson(session);
        out["steps"] = std::move(mLines);
        mOut << jsonText(out) << "\n";
    } else {
        mOut << (mSessions == 0 ? "{\n  \"traces\": [\n" : ",\n");
        if (mSteps == 0)
            mOut << "    {\n      \"steps\": []";
        mSpill.moveTo(mOut);
        if (mSteps > 0)
            mOut << "\n      ]";
        const std::string facts = jsonText(sessionJson(session), 2); // "{\n  ...\n}"
        mOut << ",\n    " << nested(facts.substr(2, facts.size() - 4), 4) << "\n    }";
    }
    mOut.flush();
    ++mSessions;
    drop();
}

void ReportSink::drop()
{
    mSpill.clear();
    mSteps = 0;
    mLines = nlohmann::json::array();
}

void ReportSink::finish()
{
    const bool summary = mSummary && mSummary->captures() > 1;
    if (mForm == Form::Json) {
        mOut << (mSessions == 0 ? "{\n  \"traces\": []" : "\n  ]");
        // The plug-in by file name: the build's path would differ from machine to machine.
        if (!mPlugin.empty())
            mOut << ",\n  \"plugin\": " << jsonText(nlohmann::json(mPlugin.substr(mPlugin.rfind('/') + 1)));
        if (summary)
            mOut << ",\n  \"summary\": " << nested(jsonText(mSummary->toJson(), 2), 2);
        mOut << "\n}\n";
    } else if (mForm == Form::JsonLines && summary) {
        mOut << jsonText(nlohmann::json{{"summary", mSummary->toJson()}}) << "\n";
    } else if (summary) {
        mSummary->writeText(mOut);
    }
    mOut.flush();
}

TableSink::TableSink(std::unique_ptr<OutputFile> file, CaptureTableWriter::Format format)
    : mFile(std::move(file)), mWriter(mSpill.stream(), format)
{
    CaptureTableWriter(mFile->stream(), format).writeHeader();
}

void TableSink::add(const SessionOutcome &, const StepOutcome &, const CaptureForms &forms)
{
    mWriter.write(*forms.row);
    mSpill.held();
}

void TableSink::end(const SessionOutcome &)
{
    mSpill.moveTo(mFile->stream());
    mFile->stream().flush();
}

void SummarySink::add(const SessionOutcome &, const StepOutcome &, const CaptureForms &forms)
{
    if (mSeen.seenBefore(*forms.row))
        mSession.addRepeat();
    else
        mSession.add(*forms.row);
}

void SummarySink::end(const SessionOutcome &)
{
    mSeen.takeRepeats();
    mSummary.add(mSession);
    mSession = FleetSummary();
}

void SummarySink::drop()
{
    mSeen.forgetSinceTake();
    mSession = FleetSummary();
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

void PicturesSink::addSession(const SessionOutcome &session, const std::vector<CaptureRow> &)
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

void HtmlSink::add(const SessionOutcome &session, const StepOutcome &step, const CaptureForms &forms)
{
    if (mCounted)
        mCounted->add(session, step, forms);
    mPage.add(session, step, *forms.row, *forms.text);
}

void HtmlSink::end(const SessionOutcome &session)
{
    if (mCounted)
        mCounted->end(session);
    mPage.endSession(session);
}

void HtmlSink::drop()
{
    if (mCounted)
        mCounted->drop();
    mPage.dropSession();
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

void TraceFolderSink::addSession(const SessionOutcome &session, const std::vector<CaptureRow> &)
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

void AndroidLogSink::end(const SessionOutcome &session)
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
