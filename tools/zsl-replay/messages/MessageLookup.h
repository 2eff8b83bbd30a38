#pragma once
/*
 * MessageLookup: which of the plug-in's messages (PluginMessages) a text
 * is, and the text of each of its conversions. A text is known exactly
 * when it fills a format whole; the formats are indexed by their fixed
 * starts and ends, so that a log line is matched against a few of them.
 */

#include "messages/PluginMessages.h"

#include <string_view>
#include <vector>

namespace zsl::messages {

// The message whose format the text fills, or null for a text the plug-in
// cannot write. Only the messages whose fixed start the text has are tried.
const PluginMessage *findPluginMessage(std::string_view text);
// The same, with each conversion's text in `args`.
const PluginMessage *findPluginMessage(std::string_view text, std::vector<std::string_view> &args);

} // namespace zsl::messages
