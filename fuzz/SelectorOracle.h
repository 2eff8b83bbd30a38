#pragma once
/*
 * SelectorOracle: what the default selector must answer, written from the
 * rules alone and computed from the host's side of each call (its queues,
 * records and metadata, with the clock pinned at kNowNs): the selection,
 * the frame check's verdict and the platform's sensor-mode check. The
 * selector fuzzer holds every answer of the plug-in to it.
 */

#include <ZSLSelectorBase.h>

#include <cstdint>
#include <utility>

namespace fuzz {

constexpr int64_t kNowNs = 1000000000000; // the pinned boot-time clock

kohal::ZSLSelection expectedSelection(const kohal::ZSLFrameSelectInfo &info, bool pending, int64_t windowMs);
// The platform's sensor-mode check: the frame's mode against the request's,
// -1 for either side that names none.
std::pair<bool, bool> expectedSensorMode(const kohal::ZSLFrameCheckInfo &info);
std::pair<bool, bool> expectedCheck(const kohal::ZSLFrameCheckInfo &info);

} // namespace fuzz
