#pragma once
/*
 * Outputs: the one way out. A subcommand attaches the sinks it was asked
 * for, then feeds every capture to all of them as soon as it is complete,
 * ends (or drops) each session, and finishes them once. A capture's row and
 * text are made once, and only when a sink reads them. An output's error is reported
 * here, a line for each line of its message, and the others are still
 * written.
 */

#include "outcome/ExitStatus.h"
#include "outcome/Outcome.h"
#include "output/Sink.h"

#include <memory>
#include <string>
#include <vector>

namespace zsl::output {

class Outputs {
public:
    void attach(std::unique_ptr<Sink> sink)
    {
        mRows = mRows || sink->readsRows();
        mText = mText || sink->readsText();
        mSinks.push_back(std::move(sink));
    }
    // A capture of the session being read, then the session's end, or its drop.
    void add(const outcome::SessionOutcome &session, const outcome::StepOutcome &step);
    void end(const outcome::SessionOutcome &session);
    void drop();
    // A whole session: each of its steps, then its end.
    void add(const outcome::SessionOutcome &session);
    void finish();
    // 2 once an output could not be written, else 0.
    int status() const { return mFailed ? outcome::kExitFailed : outcome::kExitOk; }

private:
    // Runs one sink's step; its error is said, and remembered.
    template <typename Step> void guarded(Step step);

    std::vector<std::unique_ptr<Sink>> mSinks;
    bool mRows = false; // a sink reads rows
    bool mText = false; // ... the text report's words
    bool mFailed = false;
};

// JSON text of anything read: a device log's bytes need not be UTF-8, and a
// byte that is not becomes U+FFFD instead of an error.
template <typename Json> std::string jsonText(const Json &value, int indent = -1)
{
    return value.dump(indent, ' ', false, Json::error_handler_t::replace);
}

} // namespace zsl::output
