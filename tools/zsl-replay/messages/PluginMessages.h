#pragma once
/*
 * PluginMessages: every message the plug-in can write, as its printf
 * format, with its level and what a reader of a log makes of it (which
 * call it belongs to, and where in that call it stands). A log line is
 * matched against the formats themselves, so a line is known exactly when
 * the plug-in can write it; a test compares this table with the plug-in's
 * sources, so a message added there and not here fails the build's tests.
 */

#include <string_view>
#include <vector>

namespace zsl::messages {

// Where a message stands: the selector's configuration, isSelectorNeeded's
// answer, the first or a later line of selectZSLFrames, or a part of
// checkFrame (a metadata's qualification, a refusal, the super-resolution
// line, the sensor-mode check).
enum class MessageKind : int {
    Config, Needed, SelectStart, Select,
    QualifyStart, Qualify, QualifyEnd, RefusedCamera, RefusedOwn, SuperResolution,
    SensorStart, Sensor, SensorEnd
};

struct PluginMessage {
    const char *format; // as the plug-in passes it to the log
    char level;         // 'D' debug, 'I' info
    MessageKind kind;
};

const std::vector<PluginMessage> &pluginMessages();

// The message whose format the text fills, or null for a text the plug-in
// cannot write.
const PluginMessage *findPluginMessage(std::string_view text);

// Whether text is what format prints for some arguments: %s takes any text,
// numbers their digits (a sign for %d, 0x for %#x), %p a word.
bool fillsFormat(std::string_view text, std::string_view format);

} // namespace zsl::messages
