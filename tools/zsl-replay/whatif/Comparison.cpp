// One capture before and after a what-if's change.

#include "whatif/Comparison.h"

#include <algorithm>

namespace zsl::whatif {

using namespace zsl::outcome;

void Side::leaveOpen(const std::string &fact, std::string reason, std::string bound, nlohmann::json boundJson)
{
    unknown.emplace(fact, Unknown{std::move(reason), std::move(bound), std::move(boundJson)});
    if (fact == fact::kTaken) // in full or not follows from the frames taken, unless known apart
        takenInFull.reset();
}

std::vector<std::optional<double>> Side::takenLagsMs() const
{
    std::vector<std::optional<double>> lags;
    if (!states(fact::kTaken))
        return lags;
    for (uint32_t frame : step.taken) {
        auto shutter = step.shutterNs.find(frame);
        lags.push_back(shutter == step.shutterNs.end()
                           ? std::nullopt
                           : std::optional<double>(
                                 (static_cast<double>(step.captureNs) - static_cast<double>(shutter->second)) / 1e6));
    }
    return lags;
}

Side exactSide(StepOutcome step)
{
    Side side;
    side.step = std::move(step);
    side.anchorFrom = anchorPosition(side.step);
    if (side.step.kind == StepKind::Capture && side.step.selectRan)
        side.takenInFull = side.step.taken.size() >= side.step.requested;
    return side;
}

size_t anchorPosition(const StepOutcome &step)
{
    if (!step.anchorFrame)
        return kNoAnchor;
    auto at = std::find(step.consumer.begin(), step.consumer.end(), *step.anchorFrame);
    if (at != step.consumer.end())
        return static_cast<size_t>(at - step.consumer.begin());
    at = std::find(step.producer.begin(), step.producer.end(), *step.anchorFrame);
    return at == step.producer.end() ? kNoAnchor
                                     : step.consumer.size() + static_cast<size_t>(at - step.producer.begin());
}

AnchorMove Comparison::anchorMove() const
{
    if (!before.step.selectRan && !after.step.selectRan)
        return AnchorMove::Same;
    if (!before.states(fact::kAnchor) || !before.anchorFrom || !after.anchorFrom)
        return AnchorMove::Unknown;
    const size_t was = *before.anchorFrom, now = *after.anchorFrom;
    if (!after.states(fact::kAnchor))
        return now > was ? AnchorMove::Later : AnchorMove::Unknown;
    return now == was ? AnchorMove::Same : now < was ? AnchorMove::Earlier : AnchorMove::Later;
}

std::optional<bool> Comparison::changed() const
{
    const AnchorMove move = anchorMove();
    if (move == AnchorMove::Earlier || move == AnchorMove::Later)
        return true;
    bool open = move == AnchorMove::Unknown;
    auto differs = [&](const char *name, auto field) {
        if (!before.states(name) || !after.states(name)) {
            open = true;
            return false;
        }
        return before.step.*field != after.step.*field;
    };
    if (differs(fact::kBegin, &StepOutcome::csbegin) || differs(fact::kSelected, &StepOutcome::selectedFrames) ||
        differs(fact::kTaken, &StepOutcome::taken))
        return true;
    if (before.step.selectRan != after.step.selectRan)
        return true;
    return open ? std::nullopt : std::optional<bool>(false);
}

size_t Comparison::unknownFacts() const
{
    size_t count = after.unknown.size();
    for (const CheckOutcome &check : after.step.checks)
        count += check.unknown.empty() ? 0 : 1;
    return count;
}

} // namespace zsl::whatif
