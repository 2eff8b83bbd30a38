// Sessions kept whole for the sinks that draw from them.

#include "output/Sink.h"

namespace zsl::output {

void WholeSessionSink::add(const outcome::SessionOutcome &, const outcome::StepOutcome &step, const CaptureForms &forms)
{
    mSteps.push_back(step);
    if (!showsLines()) {
        mSteps.back().log = {};
        for (outcome::CheckOutcome &check : mSteps.back().checks)
            check.log = {};
    }
    if (forms.row)
        mRows.push_back(*forms.row);
}

void WholeSessionSink::end(const outcome::SessionOutcome &session)
{
    outcome::SessionOutcome whole = session;
    whole.steps = std::move(mSteps);
    const std::vector<CaptureRow> rows = std::move(mRows);
    drop();
    addSession(whole, rows);
}

void WholeSessionSink::drop()
{
    mSteps.clear();
    mRows.clear();
}

} // namespace zsl::output
