// A checkFrame call's lines held to the shape one call prints.

#include "log/CheckGrammar.h"

#include "messages/PluginEvent.h"

#include <optional>

namespace zsl::log {

using messages::Arg;
using messages::MessageId;
using messages::MessageKind;
using messages::PluginEvent;

CallShape callShape(const std::vector<kohost::LogLine> &lines, bool debugLevel, bool atEnd)
{
    CallShape shape;
    bool failedBlock = false, refusal = false, superResolution = false, srOn = false, sensorEnd = false,
         sensorStart = false;
    MessageKind lastKind = MessageKind::Qualify;
    size_t blocksEnded = 0; // metadata whose qualification ended
    for (size_t i = 0; i < lines.size(); ++i) {
        const std::optional<PluginEvent> event = PluginEvent::decode(lines[i]);
        if (!event)
            continue;
        const MessageKind kind = event->kind();
        if (i == 0)
            shape.begun = kind == MessageKind::QualifyStart || kind == MessageKind::SuperResolution ||
                          (kind == MessageKind::SensorStart && !debugLevel);
        if (failedBlock && kind != MessageKind::RefusedCamera && kind != MessageKind::RefusedOwn)
            shape.sound = false; // a failed qualification is refused at once
        failedBlock = event->is(MessageId::AfRefused) || event->is(MessageId::AeRefused) ||
                      event->is(MessageId::HfNoTarget) || event->is(MessageId::MetadataNull);
        if (lastKind == MessageKind::RefusedOwn && i > 0)
            shape.sound = false; // the frame's own refusal is a check's last line
        blocksEnded += kind == MessageKind::QualifyEnd || event->is(MessageId::MetadataNull) ? 1 : 0;
        if (kind == MessageKind::RefusedOwn && blocksEnded > 1)
            shape.sound = false; // a frame's own metadata is one: more are cameras, refused by camera
        if (kind == MessageKind::RefusedOwn || kind == MessageKind::RefusedCamera)
            refusal = true;
        if (kind == MessageKind::SuperResolution) {
            if (refusal)
                shape.sound = false; // a refused frame's check ends with its refusal
            superResolution = true;
            srOn = event->number<int>(Arg::SrEnable).value_or(0) != 0;
        }
        sensorStart = sensorStart || kind == MessageKind::SensorStart;
        sensorEnd = kind == MessageKind::SensorEnd;
        lastKind = kind;
    }
    if (!debugLevel) // the verdict's lines are debug lines: what shows is all there is
        shape.ended = true;
    else if (refusal)
        shape.ended = !failedBlock && (lastKind == MessageKind::RefusedOwn || lastKind == MessageKind::RefusedCamera);
    else // the sensor-mode check's first line alone: it found no sensor-mode queue, unless the log ends there
        shape.ended =
            sensorEnd || (superResolution && !srOn && !sensorStart) || (lastKind == MessageKind::SensorStart && !atEnd);
    return shape;
}

} // namespace zsl::log
