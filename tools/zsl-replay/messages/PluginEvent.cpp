// A plug-in line's message matched against the table, its arguments kept.

#include "messages/PluginEvent.h"

#include "messages/MessageLookup.h"

#include <algorithm>

namespace zsl::messages {

std::optional<PluginEvent> PluginEvent::decode(std::string_view text, int known)
{
    thread_local std::vector<std::string_view> args; // its room kept from line to line
    const std::vector<PluginMessage> &messages = pluginMessages();
    if (known >= 0 && static_cast<size_t>(known) < messages.size()) {
        args.clear();
        if (fillsFormat(text, messages[static_cast<size_t>(known)].format, &args))
            return PluginEvent(messages[static_cast<size_t>(known)], args);
    }
    const PluginMessage *message = findPluginMessage(text, args);
    if (!message)
        return std::nullopt;
    return PluginEvent(*message, args);
}

std::optional<PluginEvent> PluginEvent::decode(const kohost::LogLine &line)
{
    const std::vector<PluginMessage> &messages = pluginMessages();
    if (line.argCount < 0 || line.message < 0 || static_cast<size_t>(line.message) >= messages.size())
        return decode(line.text, line.message);
    // Read on every pass over a call's lines: straight from the kept spans.
    PluginEvent event(messages[static_cast<size_t>(line.message)]);
    const std::string_view text(line.text);
    event.mCount = std::min(static_cast<size_t>(line.argCount), kMaxArgs);
    for (size_t i = 0; i < event.mCount; ++i)
        event.mArgs[i] = text.substr(line.argSpans[2 * i], line.argSpans[2 * i + 1]);
    return event;
}

bool PluginEvent::keep(kohost::LogLine &line)
{
    thread_local std::vector<std::string_view> args;
    args.clear();
    const PluginMessage *message = findPluginMessage(line.text, args);
    if (!message)
        return false;
    line.message = messageIndex(*message);
    line.argCount = -1;
    // Offsets of 16 bits: a longer line's arguments are matched again when asked.
    if (args.size() > line.argSpans.size() / 2 || line.text.size() > 0xFFFF)
        return true;
    for (size_t i = 0; i < args.size(); ++i) {
        line.argSpans[2 * i] = static_cast<uint16_t>(args[i].data() - line.text.data());
        line.argSpans[2 * i + 1] = static_cast<uint16_t>(args[i].size());
    }
    line.argCount = static_cast<int>(args.size());
    return true;
}

PluginEvent::PluginEvent(const PluginMessage &message, const std::vector<std::string_view> &args)
    : mMessage(&message), mCount(std::min(args.size(), kMaxArgs))
{
    std::copy(args.begin(), args.begin() + static_cast<std::ptrdiff_t>(mCount), mArgs.begin());
}

std::string_view PluginEvent::text(Arg arg) const
{
    for (size_t i = 0; i < mCount; ++i)
        if (mMessage->args[i] == arg)
            return mArgs[i];
    return {};
}

std::optional<int> PluginEvent::valueOf(std::string_view key) const
{
    for (const std::string_view arg : mArgs)
        if (const size_t at = arg.find(key); at != std::string_view::npos) {
            const std::string_view rest = arg.substr(at + key.size());
            int value = 0;
            auto [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), value);
            if (error == std::errc() && end != rest.data())
                return value;
        }
    return std::nullopt;
}

std::vector<uint32_t> numbersIn(std::string_view text)
{
    std::vector<uint32_t> numbers;
    const char *at = text.data(), *end = text.data() + text.size();
    while (at < end) {
        uint32_t value = 0;
        auto [next, error] = std::from_chars(at, end, value);
        if (error == std::errc())
            numbers.push_back(value);
        at = next == at ? at + 1 : next;
    }
    return numbers;
}

} // namespace zsl::messages
