// Every sink fed every session; their errors reported in one place.

#include "output/Outputs.h"

#include "outcome/Error.h"

#include <algorithm>
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

void Outputs::add(const outcome::SessionOutcome &session)
{
    const bool rows = std::any_of(mSinks.begin(), mSinks.end(), [](const auto &sink) { return sink->readsRows(); });
    const std::vector<CaptureRow> made = rows ? captureRows(session) : std::vector<CaptureRow>();
    for (const auto &sink : mSinks)
        guarded([&] { sink->add(session, made); });
}

void Outputs::finish()
{
    for (const auto &sink : mSinks)
        guarded([&] { sink->finish(); });
}

} // namespace zsl::output
