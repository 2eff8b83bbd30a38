#pragma once
/*
 * BenchHost: a host that costs nothing beyond what a selector must ask of
 * it, for benchmarks. FlatQueue answers from flat arrays (a record is one
 * index away, a list one copy); resultMetadata() is a result of about 150
 * entries, the Android tags a real frame's result carries plus vendor ones,
 * with settled focus and exposure; Scene is a capture at 100 s after boot:
 * n frames shot every 33 ms, 1 or 4 cameras, 1 to 4 queues holding every
 * frame, and a request of a real result's size.
 */

#include <KoMetadata.h>
#include <KoTagTable.h>
#include <ZSLSelectorBase.h>

#include <memory>
#include <string>
#include <vector>

namespace zslbench {

constexpr int64_t kCaptureNs = 100'000'000'000;
constexpr int64_t kFrameIntervalNs = 33'000'000;

// Its calls are defined in BenchHost.cpp, out of the benchmark's sight, so
// that a floor calls it through the virtual table as the selector does.
class FlatQueue : public kohal::ZSLFrameQueue {
public:
    FlatQueue(uint32_t id, int type, std::string name);

    int getQueueType() override;
    std::string getQueueName() override;
    uint32_t getQueueId() override;
    const void *getMetaFrame(uint32_t frameNum) override;
    std::vector<uint32_t> getFrameNumList(int listType) override;

    // Frames firstFrame, firstFrame + 1, ... all listed as consumer frames.
    void hold(uint32_t firstFrame, std::vector<kohal::MetaFrame> metaFrames);

private:
    uint32_t mId;
    int mType;
    std::string mName;
    uint32_t mFirstFrame = 0;
    std::vector<kohal::MetaFrame> mMetaFrames;
    std::vector<kohal::SensorModeFrame> mModeFrames;
    std::vector<const void *> mRecords;
    std::vector<uint32_t> mConsumer, mProducer;
};

// A result of `entries` entries: the host's Android tags first, then filler
// tags of several types spread over the Android and vendor id ranges, as a
// real result's 100 to 250 entries are. Settled at EV 0, ZSL enabled; the
// switches read by name are absent.
std::shared_ptr<KoMetadata> resultMetadata(int entries = 150);

struct Scene {
    kohal::ZSLFrameSelectInfo select;
    kohal::ZSLFrameCheckInfo check; // the fourth frame from the end

    Scene(int frames, int queues, int cameras);
};

} // namespace zslbench
