// The in-memory ZSL queue: records by frame number, two lists, and a journal
// of every call a selector makes.

#include "HostFrameQueue.h"

#include <utility>

namespace kohost {

HostFrameQueue::HostFrameQueue(uint32_t id, int type, std::string name)
    : mId(id), mType(type), mName(std::move(name))
{
}

void HostFrameQueue::setList(int listType, std::vector<uint32_t> frameNums)
{
    (listType == kohal::PRODUCER_LIST ? mProducer : mConsumer) = std::move(frameNums);
}

void HostFrameQueue::putMetaFrame(uint32_t frameNum, kohal::MetaInfo metaInfo)
{
    mRecords[frameNum].meta.metaInfo = std::move(metaInfo);
}

void HostFrameQueue::putSensorModeFrame(uint32_t frameNum, int32_t perframeSensorMode)
{
    mRecords[frameNum].sensorMode.perframeSensorMode = perframeSensorMode;
}

void HostFrameQueue::putFrame(uint32_t frameNum)
{
    mRecords[frameNum];
}

void HostFrameQueue::removeFrame(uint32_t frameNum)
{
    mRecords.erase(frameNum);
}

std::vector<std::string> HostFrameQueue::journal() const
{
    std::lock_guard<std::mutex> guard(mJournalLock);
    return mJournal;
}

void HostFrameQueue::clearJournal()
{
    std::lock_guard<std::mutex> guard(mJournalLock);
    mJournal.clear();
}

void HostFrameQueue::note(std::string call)
{
    if (mCountdown && --*mCountdown == 0)
        throw HostQueueFault();
    if (!mJournaling)
        return;
    std::lock_guard<std::mutex> guard(mJournalLock);
    mJournal.push_back(std::move(call));
}

int HostFrameQueue::getQueueType()
{
    note("getQueueType");
    return mType;
}

std::string HostFrameQueue::getQueueName()
{
    note("getQueueName");
    return mName;
}

uint32_t HostFrameQueue::getQueueId()
{
    note("getQueueId");
    return mId;
}

const void *HostFrameQueue::getMetaFrame(uint32_t frameNum)
{
    note("getMetaFrame(" + std::to_string(frameNum) + ")");
    auto it = mRecords.find(frameNum);
    if (it == mRecords.end())
        return nullptr;
    if (mType == kohal::ZSL_QUEUE_TYPE_SENSOR_MODE)
        return &it->second.sensorMode;
    return &it->second.meta;
}

std::vector<uint32_t> HostFrameQueue::getFrameNumList(int listType)
{
    note("getFrameNumList(" + std::to_string(listType) + ")");
    if (listType == kohal::PRODUCER_LIST)
        return mProducer;
    if (listType == kohal::CONSUMER_LIST)
        return mConsumer;
    return {};
}

} // namespace kohost
