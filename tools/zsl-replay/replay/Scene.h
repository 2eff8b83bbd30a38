#pragma once
/*
 * Scene: the host's objects for one step, built at the step's capture
 * moment: the queues with their records and lists, the metadata with its
 * relative times rebased on that moment, and the argument records the host
 * hands the selector. Built afresh for every step, as a host refills its
 * queues between captures.
 */

#include "outcome/Outcome.h"
#include "replay/Trace.h"

#include <KoMetadata.h>
#include <ZSLSelectorBase.h>

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace zsl::replay {

struct Scene {
    int64_t captureNs = 0;
    kohal::ZSLQueueList queues;
    std::vector<outcome::QueueView> views;
    const QueueSpec *metaQueue = nullptr;  // the first metadata queue, which the selector reads
    std::map<uint32_t, int64_t> shutterNs; // its records' shutter times, rebased
    std::map<outcome::StatesSource, std::map<uint32_t, outcome::FrameStates>> states; // its records' states, by source
    std::map<uint32_t, int32_t> sensorModes;                                          // the first sensor-mode queue's
};

Scene buildScene(const TraceSpec &trace, int64_t captureNs);

// The metadata an input describes, with relative times at captureNs; null
// when the input says the host hands a null pointer.
std::shared_ptr<KoMetadata> buildMetadata(const MetaSpec &input, int64_t captureNs);

kohal::ZSLFrameSelectInfo selectInfo(const StepSpec &step, const Scene &scene);
kohal::ZSLFrameCheckInfo checkInfo(const StepSpec &step, const Scene &scene);

} // namespace zsl::replay
