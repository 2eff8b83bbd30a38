#pragma once
/*
 * HostFrameQueue: an in-memory ZSL queue as the camera framework keeps one.
 *
 * It holds a consumer and a producer list of frame numbers and one record per
 * frame (a MetaFrame for a metadata queue, a SensorModeFrame for a sensor-mode
 * queue, or a bare presence mark for any other type), and journals every call
 * a selector makes on it, so that host programs can explain and tests can pin
 * down which questions a selector asked. Safe to call from several threads;
 * records must not be changed while a selector runs.
 */

#include <ZSLSelectorBase.h>

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

namespace kohost {

class HostFrameQueue : public kohal::ZSLFrameQueue {
public:
    HostFrameQueue(uint32_t id, int type, std::string name);

    // Host side: fill the queue before a selector sees it.
    void setList(int listType, std::vector<uint32_t> frameNums);
    void putMetaFrame(uint32_t frameNum, kohal::MetaInfo metaInfo);
    void putSensorModeFrame(uint32_t frameNum, int32_t perframeSensorMode);
    void putFrame(uint32_t frameNum); // a record of no particular kind
    void removeFrame(uint32_t frameNum);

    // The calls received so far, e.g. "getQueueType", "getMetaFrame(44)",
    // "getFrameNumList(0)", in order.
    std::vector<std::string> journal() const;
    void clearJournal();
    // Off, the queue takes no lock at all: for concurrency tests, whose
    // sanitizer must not see a selector's races hidden behind the journal's.
    void setJournaling(bool on) { mJournaling = on; }
    // Fault injection: every call counts down the shared counter, and the
    // call that takes it to 0 throws HostQueueFault instead of answering.
    void failAtCall(std::shared_ptr<int> countdown) { mCountdown = std::move(countdown); }

    int getQueueType() override;
    std::string getQueueName() override;
    uint32_t getQueueId() override;
    const void *getMetaFrame(uint32_t frameNum) override;
    std::vector<uint32_t> getFrameNumList(int listType) override;

private:
    struct Record {
        kohal::MetaFrame meta;
        kohal::SensorModeFrame sensorMode;
    };

    void note(std::string call);

    const uint32_t mId;
    const int mType;
    const std::string mName;
    std::vector<uint32_t> mConsumer;
    std::vector<uint32_t> mProducer;
    std::map<uint32_t, Record> mRecords;

    bool mJournaling = true;
    mutable std::mutex mJournalLock;
    std::vector<std::string> mJournal;
    std::shared_ptr<int> mCountdown;
};

struct HostQueueFault : std::runtime_error {
    HostQueueFault() : std::runtime_error("injected host queue fault") {}
};

} // namespace kohost
