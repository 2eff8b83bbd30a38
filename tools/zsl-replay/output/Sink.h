#pragma once
/*
 * Sink: one output of zsl-replay (the report, the table, a picture, a trace
 * file...), fed each capture of a session as soon as it is complete, then
 * the session's end, and finished once. Every output is one, so that a
 * subcommand feeds them all the same way (Outputs), and a new output is a
 * new sink. A sink reads only outcome records and the capture rows made
 * from them. What must see a whole session before drawing it derives from
 * WholeSessionSink, and keeps the session until its end.
 */

#include "outcome/Outcome.h"
#include "output/CaptureTable.h"

#include <string>
#include <vector>

namespace zsl::output {

// A capture in the forms more than one sink writes, each made once by
// Outputs and only when a sink reads it: its row, and its lines of the text
// report (without the plug-in's log lines, which only the report shows).
struct CaptureForms {
    const CaptureRow *row = nullptr;   // when a sink readsRows()
    const std::string *text = nullptr; // when a sink readsText()
};

class Sink {
public:
    virtual ~Sink() = default;
    // A capture of the session being read. `session` holds what is known
    // of the session so far; `forms` holds what the sink reads of the capture.
    virtual void add(const outcome::SessionOutcome &session, const outcome::StepOutcome &step,
                     const CaptureForms &forms) = 0;
    // The session is read to its end: `session` now holds what only the
    // whole input tells (its lines counted, the selector's configuration).
    // Its steps, where it holds them, came through add().
    virtual void end(const outcome::SessionOutcome &) {}
    // The session could not be read to its end: what was added is dropped.
    virtual void drop() {}
    // Every session has come. Throws outcome::Error when what was written is lost.
    virtual void finish() {}
    virtual bool readsRows() const { return false; }
    virtual bool readsText() const { return false; }
};

// A sink that draws from whole sessions: each session's captures and rows
// are kept until its end.
class WholeSessionSink : public Sink {
public:
    void add(const outcome::SessionOutcome &session, const outcome::StepOutcome &step, const CaptureForms &forms) final;
    void end(const outcome::SessionOutcome &session) final;
    void drop() final;

protected:
    virtual void addSession(const outcome::SessionOutcome &session, const std::vector<CaptureRow> &rows) = 0;
    // Whether the sink shows each step's lines; if not, they are not kept.
    virtual bool showsLines() const { return false; }

private:
    std::vector<outcome::StepOutcome> mSteps;
    std::vector<CaptureRow> mRows;
};

} // namespace zsl::output
