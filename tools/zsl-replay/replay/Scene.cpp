// Building queues, metadata and argument records from a trace's records.

#include "replay/Scene.h"

#include <HostFrameQueue.h>

namespace zsl::replay {

using namespace zsl::outcome;

namespace {

FrameStates statesOf(const std::shared_ptr<KoMetadata> &meta)
{
    auto read = [&meta](uint32_t tag) -> std::optional<int> {
        KoMetadataEntry entry = meta ? meta->find(tag) : KoMetadataEntry{};
        return entry.count ? std::optional<int>(entry.data.u8[0]) : std::nullopt;
    };
    FrameStates states;
    states.aeState = read(0x1001f);
    states.afState = read(0x10020);
    states.lensState = read(0x80009);
    return states;
}

} // namespace

Scene buildScene(const TraceSpec &trace, int64_t captureNs)
{
    Scene scene;
    scene.captureNs = captureNs;
    bool sensorSeen = false;
    for (const QueueSpec &input : trace.queues) {
        auto queue = std::make_shared<kohost::HostFrameQueue>(input.id, input.type, input.name);
        queue->setList(kohal::CONSUMER_LIST, input.consumer);
        queue->setList(kohal::PRODUCER_LIST, input.producer);
        const bool firstMeta = input.type == kohal::ZSL_QUEUE_TYPE_META && !scene.metaQueue;
        const bool firstSensor = input.type == kohal::ZSL_QUEUE_TYPE_SENSOR_MODE && !sensorSeen;
        sensorSeen = sensorSeen || firstSensor;
        QueueView view{input.id, input.type, input.name, {}};
        for (const FrameSpec &frame : input.frames) {
            view.held.push_back(frame.frameNum);
            if (input.type == kohal::ZSL_QUEUE_TYPE_META) {
                kohal::MetaInfo info;
                info.shutterTime = frame.shutter->at(captureNs);
                info.metadata = buildMetadata(frame.metadata, captureNs);
                for (const auto &[camera, meta] : frame.physical)
                    info.physicalMetadata.emplace_back(camera, buildMetadata(meta, captureNs));
                if (firstMeta) {
                    scene.shutterNs[frame.frameNum] = info.shutterTime;
                    if (info.metadata)
                        scene.states[outcome::StatesSource{}][frame.frameNum] = statesOf(info.metadata);
                    for (const auto &[camera, meta] : info.physicalMetadata)
                        scene.states[outcome::StatesSource::camera(camera)][frame.frameNum] = statesOf(meta);
                }
                queue->putMetaFrame(frame.frameNum, std::move(info));
            } else if (input.type == kohal::ZSL_QUEUE_TYPE_SENSOR_MODE) {
                queue->putSensorModeFrame(frame.frameNum, *frame.sensorMode);
                if (firstSensor)
                    scene.sensorModes[frame.frameNum] = *frame.sensorMode;
            } else {
                queue->putFrame(frame.frameNum);
            }
        }
        if (firstMeta)
            scene.metaQueue = &input;
        scene.views.push_back(std::move(view));
        scene.queues.push_back(queue);
    }
    return scene;
}

kohal::ZSLFrameSelectInfo selectInfo(const StepSpec &step, const Scene &scene)
{
    kohal::ZSLFrameSelectInfo info;
    info.fwkFrameNum = step.fwkFrame;
    info.usedFrameNums = step.used;
    info.zslQueues = scene.queues;
    for (const MetaSpec &request : step.requests)
        info.requestMetas.push_back(buildMetadata(request, scene.captureNs));
    return info;
}

kohal::ZSLFrameCheckInfo checkInfo(const StepSpec &step, const Scene &scene)
{
    kohal::ZSLFrameCheckInfo info;
    info.checkFrameNum = step.frame;
    info.fwkFrameNum = step.fwkFrame;
    info.requestMeta = buildMetadata(step.request, scene.captureNs);
    info.logicalId = step.logicalId;
    info.reqtMasterId = step.reqtMasterId;
    info.masterRoleId = step.masterRoleId;
    info.AiHLFrameNum = step.aiHLFrameNum;
    info.zslQueues = scene.queues;
    return info;
}

std::shared_ptr<KoMetadata> buildMetadata(const MetaSpec &input, int64_t captureNs)
{
    if (input.null)
        return nullptr;
    auto meta = std::make_shared<KoMetadata>();
    for (const MetaEntrySpec &entry : input.entries) {
        switch (entry.type) {
        case KoMetadata::TYPE_BYTE: {
            std::vector<uint8_t> v;
            for (const TimeValue &value : entry.integers)
                v.push_back(static_cast<uint8_t>(value.ns));
            meta->update(entry.tag, v);
            break;
        }
        case KoMetadata::TYPE_INT32: {
            std::vector<int32_t> v;
            for (const TimeValue &value : entry.integers)
                v.push_back(static_cast<int32_t>(static_cast<uint32_t>(value.ns)));
            meta->update(entry.tag, v);
            break;
        }
        case KoMetadata::TYPE_INT64: {
            std::vector<int64_t> v;
            for (const TimeValue &value : entry.integers)
                v.push_back(value.at(captureNs));
            meta->update(entry.tag, v);
            break;
        }
        case KoMetadata::TYPE_FLOAT: {
            std::vector<float> v(entry.reals.begin(), entry.reals.end());
            meta->update(entry.tag, v);
            break;
        }
        case KoMetadata::TYPE_DOUBLE:
            meta->update(entry.tag, entry.reals);
            break;
        case KoMetadata::TYPE_RATIONAL:
            meta->update(entry.tag, entry.rationals);
            break;
        default:
            break;
        }
    }
    return meta;
}

} // namespace zsl::replay
