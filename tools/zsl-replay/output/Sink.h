#pragma once
/*
 * Sink: one output of zsl-replay (the report, the table, a picture, a trace
 * file...), fed capture session by capture session as they are replayed or
 * read, then finished once. Every output is one, so that a subcommand
 * feeds them all the same way (Outputs), and a new output is a new sink.
 * A sink reads only outcome records and the capture rows made from them.
 */

#include "outcome/Outcome.h"
#include "output/CaptureTable.h"

#include <vector>

namespace zsl::output {

class Sink {
public:
    virtual ~Sink() = default;
    // `rows` are the session's capture rows when a sink readsRows(), else empty.
    virtual void add(const outcome::SessionOutcome &session, const std::vector<CaptureRow> &rows) = 0;
    // Every session has come. Throws outcome::Error when what was written is lost.
    virtual void finish() {}
    virtual bool readsRows() const { return false; }
};

} // namespace zsl::output
