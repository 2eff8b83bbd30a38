#pragma once
/*
 * PluginEvent: one line of the plug-in decoded into a typed event: which
 * message it is (by the table of PluginMessages), where it stands in a
 * call, and its arguments as the plug-in printed them, read as numbers on
 * request. The frames a line names (fwkFrame, the judged zslFrame, a
 * camera) are found by where the message prints them. This is the one
 * place that knows the plug-in's words: every reader of its lines, a
 * device log's or a replay's, asks an event, never the text.
 */

#include "messages/PluginMessages.h"

#include <LogRecorder.h>

#include <array>
#include <charconv>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace zsl::messages {

class PluginEvent {
public:
    // The event of a line's message text, or nothing when the plug-in
    // cannot write that text. The event views the text: keep the text.
    // `known`, when not -1, is index() of an event the text was decoded
    // into before: the text is matched against that message alone.
    static std::optional<PluginEvent> decode(std::string_view text, int known = -1);
    // The event of a line read from a log, from the message and arguments
    // kept with it when it was first matched (keep()); else as above.
    static std::optional<PluginEvent> decode(const kohost::LogLine &line);
    // Matches a line's text once, and keeps which message it is and where its
    // arguments stand in the line. False when the plug-in cannot write it.
    static bool keep(kohost::LogLine &line);
    // The message's place in the table.
    int index() const { return messageIndex(*mMessage); }

    MessageId id() const { return mMessage->id; }
    MessageKind kind() const { return mMessage->kind; }
    char level() const { return mMessage->level; }
    bool is(MessageId id) const { return mMessage->id == id; }

    // An argument as printed, by its name in the message's table (empty when
    // the message prints no such argument), or the number it starts with
    // (hex arguments in base 16).
    std::string_view text(Arg arg) const;
    template <typename T> std::optional<T> number(Arg arg) const
    {
        const std::string_view text = this->text(arg);
        const int base = argShape(arg) == ArgShape::Hex ? 16 : 10;
        T value{};
        const char *begin = text.data() + (base == 16 && text.substr(0, 2) == "0x" ? 2 : 0);
        auto [end, error] = std::from_chars(begin, text.data() + text.size(), value, base);
        if (error != std::errc() || end == begin)
            return std::nullopt;
        return value;
    }
    // The arguments as printed, in order: for a reader that keeps or
    // compares them whole, not for one that reads what they mean.
    size_t argCount() const { return mCount; }
    std::string_view argAt(size_t i) const { return i < mCount ? mArgs[i] : std::string_view(); }
    // The frames the line names, where its message prints them.
    std::optional<uint32_t> fwkFrame() const { return number<uint32_t>(Arg::FwkFrame); }
    std::optional<uint32_t> zslFrame() const { return number<uint32_t>(Arg::ZslFrame); }
    std::optional<int> camera() const { return number<int>(Arg::Camera); }
    // The states an AF line prints inside its text ("afMode=4 afState=3 lensState=1").
    std::optional<int> afMode() const { return valueOf("afMode="); }
    std::optional<int> afState() const { return valueOf("afState="); }
    std::optional<int> lensState() const { return valueOf("lensState="); }

private:
    PluginEvent(const PluginMessage &message, const std::vector<std::string_view> &args);
    explicit PluginEvent(const PluginMessage &message) : mMessage(&message) {}
    std::optional<int> valueOf(std::string_view key) const;

    // Kept in place: an event costs no allocation.
    static constexpr size_t kMaxArgs = kMaxMessageArgs;
    const PluginMessage *mMessage;
    std::array<std::string_view, kMaxArgs> mArgs;
    size_t mCount = 0;
};

// Every decimal number of a list as the plug-in prints it ("41 42 43 ").
std::vector<uint32_t> numbersIn(std::string_view text);

} // namespace zsl::messages
