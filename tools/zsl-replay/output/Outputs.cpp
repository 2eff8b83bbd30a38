// Every sink fed every session; their errors reported in one place.

#include "output/Outputs.h"

#include "outcome/Error.h"
#include "output/Report.h"

#include <optional>
#include <iostream>
#include <sstream>

namespace zsl::output {

template <typename Step> void Outputs::guarded(Step step)
{
    try {
        step();
    } catch (const outcome::Error &error) {
        std::istringstream lines(error.what());
        for (std::string line; std::getline(lines, line);)
            std::cerr << "zsl-replay: " << line << "\n";
        mFailed = true;
    }
}

void Outputs::add(const outcome::SessionOutcome &session, const outcome::StepOutcome &step)
{
    const std::optional<CaptureRow> row = mRows ? std::optional(captureRow(session, step)) : std::nullopt;
    // The row's answer is the text's too: made once.
    const std::string text = mText ? stepText(session, step, row ? &row->answer : nullptr) : std::string();
    const CaptureForms forms{row ? &*row : nullptr, mText ? &text : nullptr};
    for (const auto &sink : mSinks)
        guarded([&] { sink->add(session, step, forms); });
}

void Outputs::end(const outcome::SessionOutcome &session)
{
    for (const auto &sink : mSinks)
        guarded([&] { sink->end(session); });
}

void Outputs::drop()
{
    for (const auto &sink : mSinks)
        guarded([&] { sink->drop(); });
}

void Outputs::add(const outcome::SessionOutcome &session)
{
    for (const outcome::StepOutcome &step : session.steps)
        add(session, step);
    end(session);
}

void Outputs::finish()
{
    for (const auto &sink : mSinks)
        guarded([&] { sink->finish(); });
}

} // namespace zsl::output
