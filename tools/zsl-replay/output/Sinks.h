#pragma once
/*
 * Sinks: each output zsl-replay writes, as a Sink: the report (text, one
 * JSON document, or JSON Lines for a live log), the capture table, the
 * summary's picture, the timeline, the Perfetto file, the HTML page, a
 * folder of traces, and the plug-in's Android-log lines. Each adapts one writer (Report,
 * CaptureTable, FleetSummary, Timeline, Perfetto, TraceWriter,
 * LogcatWriter) to the sink's feed. The report and the table hold each
 * session's part in a SessionSpill until it ends; pictures drawn from every
 * session, the page and the traces keep the sessions.
 */

#include "output/CaptureTable.h"
#include "output/FleetSummary.h"
#include "output/HtmlPage.h"
#include "output/OutputFile.h"
#include "output/PerfettoArchive.h"
#include "output/RepeatedCaptures.h"
#include "output/SessionSpill.h"
#include "output/Sink.h"

#include <nlohmann/json.hpp>

#include <map>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

namespace zsl::output {

class ReportSink : public Sink {
public:
    enum class Form { Text, Json, JsonLines };
    // `summary`, when given, is printed under the report with more than one capture;
    // `plugin`, when given, is named in the JSON document.
    ReportSink(std::ostream &out, Form form, bool withLog, const FleetSummary *summary, std::string plugin = "");
    void add(const outcome::SessionOutcome &session, const outcome::StepOutcome &step, const CaptureForms &) override;
    void end(const outcome::SessionOutcome &session) override;
    void drop() override;
    void finish() override;
    bool readsText() const override { return mForm == Form::Text; }

private:
    std::ostream &mOut;
    Form mForm;
    bool mWithLog;
    const FleetSummary *mSummary;
    std::string mPlugin;
    SessionSpill mSpill;                             // the session's steps, as text or JSON
    size_t mSteps = 0;                               // ... how many
    size_t mSessions = 0;                            // sessions written
    nlohmann::json mLines = nlohmann::json::array(); // JSON Lines: the session's steps
};

class TableSink : public Sink {
public:
    TableSink(std::unique_ptr<OutputFile> file, CaptureTableWriter::Format format);
    void add(const outcome::SessionOutcome &, const outcome::StepOutcome &, const CaptureForms &forms) override;
    void end(const outcome::SessionOutcome &) override;
    void drop() override { mSpill.clear(); }
    void finish() override { mFile->close(); }
    bool readsRows() const override { return true; }

private:
    std::unique_ptr<OutputFile> mFile;
    SessionSpill mSpill;
    CaptureTableWriter mWriter; // into the spill
};

// Feeds a FleetSummary the rows, each capture once however often it is
// read, a session's at its end; what it shows is written by others.
class SummarySink : public Sink {
public:
    explicit SummarySink(FleetSummary &summary) : mSummary(summary) {}
    void add(const outcome::SessionOutcome &, const outcome::StepOutcome &, const CaptureForms &forms) override;
    void end(const outcome::SessionOutcome &) override;
    void drop() override;
    bool readsRows() const override { return true; }

private:
    FleetSummary &mSummary;
    FleetSummary mSession;  // the session being read
    RepeatedCaptures mSeen; // a capture read twice is counted once
};

class SummarySvgSink : public Sink {
public:
    SummarySvgSink(std::unique_ptr<OutputFile> file, const FleetSummary &summary)
        : mFile(std::move(file)), mSummary(summary)
    {
    }
    void add(const outcome::SessionOutcome &, const outcome::StepOutcome &, const CaptureForms &) override {}
    void finish() override;

private:
    std::unique_ptr<OutputFile> mFile;
    const FleetSummary &mSummary;
};

// The timeline SVG and the Perfetto file, either or both: drawn from every
// session at the end, which are kept once for both. The Perfetto file is
// the Trace Event Format's JSON, Perfetto's protobuf, or an archive of ours
// and the device's traces.
class PicturesSink : public WholeSessionSink {
public:
    enum class PerfettoForm { Json, Protobuf, Archive };
    // The form a file's name asks for: .json, .zip, or any other.
    static PerfettoForm perfettoForm(const std::string &path);

    // `archive` is needed for the archive form only.
    PicturesSink(std::unique_ptr<OutputFile> timeline, std::unique_ptr<OutputFile> perfetto,
                 std::unique_ptr<PerfettoArchive> archive = nullptr)
        : mTimeline(std::move(timeline)), mPerfetto(std::move(perfetto)), mArchive(std::move(archive))
    {
    }
    void finish() override;

protected:
    void addSession(const outcome::SessionOutcome &session, const std::vector<CaptureRow> &) override;

private:
    std::unique_ptr<OutputFile> mTimeline, mPerfetto; // null: not asked for
    std::unique_ptr<PerfettoArchive> mArchive;
    std::vector<outcome::SessionOutcome> mSessions;
};

// The self-contained HTML page of every capture, with the summary of them.
class HtmlSink : public Sink {
public:
    // `summary`: the run's own, fed by a SummarySink attached before this
    // one; without it the page counts the captures itself.
    explicit HtmlSink(std::unique_ptr<OutputFile> file, const FleetSummary *summary = nullptr)
        : mFile(std::move(file)), mCounted(summary ? nullptr : std::make_unique<SummarySink>(mOwnSummary)),
          mSummary(summary ? *summary : mOwnSummary)
    {
    }
    // Each capture goes into the page as it comes, kept as the page shows it.
    void add(const outcome::SessionOutcome &session, const outcome::StepOutcome &step,
             const CaptureForms &forms) override;
    void end(const outcome::SessionOutcome &session) override;
    void drop() override;
    void finish() override;
    bool readsRows() const override { return true; }
    bool readsText() const override { return true; }

private:
    std::unique_ptr<OutputFile> mFile;
    HtmlPage mPage;
    FleetSummary mOwnSummary;              // of the sessions ended, when no summary was given...
    std::unique_ptr<SummarySink> mCounted; // ... fed as explain's own summary is fed
    const FleetSummary &mSummary;          // the page's summary
};

// Each capture read from a log as a trace, DIR/fwkFrame-N.json (-2, -3...
// for a fwkFrame seen again); an existing file is never overwritten.
// Written at the session's end: each trace takes the selector's last
// configuration line.
class TraceFolderSink : public WholeSessionSink {
public:
    // Throws outcome::Error when `dir` is not a folder.
    explicit TraceFolderSink(std::string dir);

protected:
    void addSession(const outcome::SessionOutcome &session, const std::vector<CaptureRow> &) override;

private:
    std::string mDir;
    std::map<uint32_t, int> mUsed; // files written per fwkFrame
};

// The plug-in's Android-log lines at or above a priority, as `adb logcat -v
// FORMAT` shows them.
class AndroidLogSink : public Sink {
public:
    AndroidLogSink(std::ostream &out, int minimumPriority, std::string format)
        : mOut(out), mMinimumPriority(minimumPriority), mFormat(std::move(format))
    {
    }
    AndroidLogSink(std::unique_ptr<OutputFile> file, int minimumPriority, std::string format)
        : AndroidLogSink(file->stream(), minimumPriority, std::move(format))
    {
        mFile = std::move(file);
    }
    void add(const outcome::SessionOutcome &, const outcome::StepOutcome &, const CaptureForms &) override {}
    void end(const outcome::SessionOutcome &session) override;
    void finish() override;

private:
    std::ostream &mOut;
    int mMinimumPriority;
    std::string mFormat;
    std::unique_ptr<OutputFile> mFile;
};

} // namespace zsl::output
