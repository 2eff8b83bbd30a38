// The benchmarks' host: flat queues, result metadata, scenes.

#include "BenchHost.h"

namespace zslbench {

FlatQueue::FlatQueue(uint32_t id, int type, std::string name) : mId(id), mType(type), mName(std::move(name)) {}

int FlatQueue::getQueueType()
{
    return mType;
}

std::string FlatQueue::getQueueName()
{
    return mName;
}

uint32_t FlatQueue::getQueueId()
{
    return mId;
}

const void *FlatQueue::getMetaFrame(uint32_t frameNum)
{
    const size_t at = frameNum - mFirstFrame;
    return frameNum >= mFirstFrame && at < mRecords.size() ? mRecords[at] : nullptr;
}

std::vector<uint32_t> FlatQueue::getFrameNumList(int listType)
{
    return listType == kohal::CONSUMER_LIST ? mConsumer : mProducer;
}

void FlatQueue::hold(uint32_t firstFrame, std::vector<kohal::MetaFrame> metaFrames)
{
    mFirstFrame = firstFrame;
    mMetaFrames = std::move(metaFrames);
    mModeFrames.resize(mMetaFrames.size());
    for (size_t i = 0; i < mMetaFrames.size(); ++i) {
        mConsumer.push_back(firstFrame + static_cast<uint32_t>(i));
        mRecords.push_back(mType == kohal::ZSL_QUEUE_TYPE_META ? static_cast<const void *>(&mMetaFrames[i])
                                                               : &mModeFrames[i]);
    }
}

std::shared_ptr<KoMetadata> resultMetadata(int entries)
{
    auto meta = std::make_shared<KoMetadata>();
    for (const KoTagInfo &tag : KoTagTable::androidTags())
        if (static_cast<int>(meta->tags().size()) < entries) {
            if (tag.type == KoMetadata::TYPE_INT64)
                meta->update<int64_t>(tag.id, {1});
            else if (tag.type == KoMetadata::TYPE_INT32)
                meta->update<int32_t>(tag.id, std::vector<int32_t>(29, 1));
            else
                meta->update<uint8_t>(tag.id, {1});
        }
    for (uint32_t i = 0; static_cast<int>(meta->tags().size()) < entries; ++i) {
        const uint32_t tag = (i % 2 ? 0x80100000u : 0u) + ((i / 2) % 40) * 0x10000u + i / 80;
        if (KoTagTable::byId(tag))
            continue;
        if (i % 3 == 0)
            meta->update<float>(tag, {1.5f, 2.5f});
        else
            meta->update<int32_t>(tag, {static_cast<int32_t>(i)});
    }
    meta->update<int32_t>(0x10001, {0});
    for (const auto &[tag, value] : {std::pair<uint32_t, uint8_t>{0x10007, 4}, {0x10020, 2}, {0x80009, 0}, {0x1001f, 2},
                                     {0x10029, 1}})
        meta->update<uint8_t>(tag, {value});
    return meta;
}

Scene::Scene(int frames, int queues, int cameras)
{
    std::vector<kohal::MetaFrame> records(static_cast<size_t>(frames));
    for (int i = 0; i < frames; ++i) {
        kohal::MetaInfo &info = records[static_cast<size_t>(i)].metaInfo;
        info.shutterTime = kCaptureNs - (frames - i) * kFrameIntervalNs;
        info.metadata = resultMetadata();
        if (cameras > 1)
            for (int camera = 0; camera < cameras; ++camera)
                info.physicalMetadata.push_back({camera, resultMetadata()});
    }
    for (int q = 0; q < queues; ++q) {
        const int type = q == 0 ? kohal::ZSL_QUEUE_TYPE_META : q == 1 ? kohal::ZSL_QUEUE_TYPE_SENSOR_MODE : 5;
        auto queue = std::make_shared<FlatQueue>(static_cast<uint32_t>(q), type, "queue" + std::to_string(q));
        queue->hold(1000, q == 0 ? records : std::vector<kohal::MetaFrame>(records.size()));
        select.zslQueues.push_back(queue);
    }
    select.fwkFrameNum = 7;
    select.usedFrameNums = {999};
    select.requestMetas = {resultMetadata()};
    check.zslQueues = select.zslQueues;
    check.requestMeta = select.requestMetas.front();
    check.checkFrameNum = 1000 + static_cast<uint32_t>(frames) - 4;
    check.fwkFrameNum = 7;
}

} // namespace zslbench
