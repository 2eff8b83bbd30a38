// A capture read from a log written back as a trace: how many frames the
// rebuilt capture requests where the log says it and where it does not.

#include "outcome/Outcome.h"
#include "output/TraceWriter.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

namespace {

using zsl::outcome::StepOutcome;

// The rebuilt capture requests as many frames as the logged begin says (the
// selector counts it back from the anchor: offset + 1 + list size -
// requested, or 0); a begin of 0 says only a least number, and the fewest
// that give it are requested.
TEST(LogToTrace, RequestsTheFewestThatGiveTheLoggedBegin)
{
    auto begin = [](int64_t offset, int64_t n, int64_t requested) {
        return offset + 1 + n < requested ? 0 : offset + 1 + n - requested;
    };
    size_t cases = 0;
    for (int64_t n = 1; n <= 8; ++n)
        for (int64_t offset = -n; offset <= -1; ++offset)
            for (int64_t wanted = 1; wanted <= n + 2; ++wanted) {
                StepOutcome step;
                step.consumer.resize(static_cast<size_t>(n));
                step.anchorOffset = static_cast<int32_t>(offset);
                step.csbegin = static_cast<int32_t>(begin(offset, n, wanted));
                if (*step.csbegin > 0) // the log tells it, as the reader reads it
                    step.requested = static_cast<size_t>(offset + 1 + n - *step.csbegin);
                const int64_t rebuilt = static_cast<int64_t>(zsl::output::requestsToRebuild(step));
                SCOPED_TRACE("n " + std::to_string(n) + " offset " + std::to_string(offset) + " wanted " +
                             std::to_string(wanted));
                EXPECT_EQ(begin(offset, n, rebuilt), *step.csbegin);
                if (*step.csbegin > 0) {
                    EXPECT_EQ(rebuilt, wanted);
                }
                for (int64_t fewer = 1; fewer < rebuilt; ++fewer)
                    EXPECT_NE(begin(offset, n, fewer), *step.csbegin) << "fewer give it too: " << fewer;
                ++cases;
            }
    EXPECT_GT(cases, 100u);
    StepOutcome told;
    told.requested = 3; // the log tells: as it says
    told.csbegin = 0;
    told.anchorOffset = -1;
    told.consumer = {1, 2};
    EXPECT_EQ(zsl::output::requestsToRebuild(told), 3u);
    EXPECT_EQ(zsl::output::requestsToRebuild(StepOutcome{}), 1u); // no begin in the log: one
}

} // namespace
