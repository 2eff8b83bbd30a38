#pragma once
/*
 * Builders for the queues a host hands a selector: a metadata queue
 * whose consumer and producer frames carry shutter times (a frame without a
 * time has left the queue: listed, but no record), and queues of any type
 * that hold a given set of frames.
 */

#include <HostFrameQueue.h>
#include <MetadataBuilder.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace kohost {

struct ListedFrame {
    uint32_t frameNum;
    std::optional<int64_t> shutterTimeNs; // none: the record was removed
    std::shared_ptr<KoMetadata> metadata = nullptr;
};

inline std::shared_ptr<kohost::HostFrameQueue> metaQueue(uint32_t id, const std::vector<ListedFrame> &consumer,
                                                         const std::vector<ListedFrame> &producer = {},
                                                         const std::string &name = "meta")
{
    auto queue = std::make_shared<kohost::HostFrameQueue>(id, kohal::ZSL_QUEUE_TYPE_META, name);
    for (int listType : {kohal::CONSUMER_LIST, kohal::PRODUCER_LIST}) {
        const auto &frames = listType == kohal::CONSUMER_LIST ? consumer : producer;
        std::vector<uint32_t> numbers;
        for (const ListedFrame &frame : frames) {
            numbers.push_back(frame.frameNum);
            if (frame.shutterTimeNs)
                queue->putMetaFrame(frame.frameNum, metaInfo(*frame.shutterTimeNs, frame.metadata));
        }
        queue->setList(listType, numbers);
    }
    return queue;
}

inline std::shared_ptr<kohost::HostFrameQueue> holdingQueue(uint32_t id, int type, const std::string &name,
                                                            const std::vector<uint32_t> &frames)
{
    auto queue = std::make_shared<kohost::HostFrameQueue>(id, type, name);
    for (uint32_t frame : frames)
        queue->putFrame(frame);
    return queue;
}

} // namespace kohost
