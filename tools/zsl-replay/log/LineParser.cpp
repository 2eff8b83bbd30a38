// Each line to the reader of its format; long entries joined.

#include "log/LineParser.h"

#include "log/GapMarker.h"
#include "log/LogcatFormats.h"
#include "messages/PluginEvent.h"
#include "messages/PluginMessages.h"
#include "outcome/Outcome.h"

namespace zsl::log {

using namespace zsl::outcome;

std::optional<kohost::LogLine> LineParser::read(std::string_view text, uint64_t number)
{
    // Most lines of a log are neither the plug-in's nor name its tag. One
    // line returned on every way out: it is made where the caller keeps it.
    mUnderstood = false;
    std::optional<kohost::LogLine> line =
        mLong || mayBeThePlugins(text) ? readLine(text) : std::optional<kohost::LogLine>();
    if (!line && !mUnderstood && text.find(kTag) != std::string_view::npos && mUnread++ == 0)
        mFirstUnread = number;
    return line;
}

std::optional<kohost::LogLine> LineParser::readLine(std::string_view text)
{
    mUnderstood = false;
    if (!text.empty() && text.back() == '\r')
        text.remove_suffix(1);
    // A line with a header of its own inside a long entry: the blank line
    // that ends the entry was lost (a log cut and joined, logs of two
    // formats in one file), and the line is not the entry's message.
    if (mLong && !text.empty() && hasHeader(text))
        mLong.reset();
    if ((mLong && mLong->gap) || (!mLong && text.find(kGapTag) != std::string_view::npos)) {
        std::string buffer;
        if (const std::optional<int> pid = readGapMarker(withoutColour(text, buffer))) {
            kohost::LogLine gap;
            gap.message = kGapMarker;
            gap.text = std::string(text);
            return withIds(std::move(gap), mLong ? mLong->header.timeNs : 0,
                           mLong && *pid == kUnknownId ? mLong->header.pid : *pid, kUnknownId);
        }
    }
    if (mLong) { // inside a long entry: its message lines, up to a blank line
        if (text.empty()) {
            mLong.reset();
            return std::nullopt;
        }
        if (!mLong->ours)
            return std::nullopt;
        std::string buffer;
        kohost::LogLine line = kohost::parseAndroidLine(mLong->header.level, withoutColour(text, buffer));
        line.timeText = mLong->header.timeText;
        return withIds(std::move(line), mLong->header.timeNs, mLong->header.pid, mLong->header.tid);
    }
    // Outside a long entry, read() has let through only what may be the plug-in's.
    std::string buffer;
    text = withoutColour(text, buffer);
    if (!text.empty() && text.front() == '[') {
        std::string_view tag;
        if (auto header = readLongHeader(text, tag)) {
            mLong.emplace(Long{std::move(*header), tag == kTag, tag == kGapTag});
            mUnderstood = true;
            return std::nullopt;
        }
        return readSystemLog(text);
    }
    return readStamped(text);
}

std::optional<kohost::LogLine> LineParser::readStamped(std::string_view text)
{
    Cursor c{text};
    const std::optional<int64_t> timeNs = readTime(c, mReportYear, mReportMonth);
    std::string_view stamp = text.substr(0, text.size() - c.text.size());
    while (!stamp.empty() && stamp.back() == ' ')
        stamp.remove_suffix(1);
    c.skipBlanks();
    std::optional<kohost::LogLine> line = timeNs ? readThreadtime(c, *timeNs) : std::optional<kohost::LogLine>();
    if (!line)
        line = readSlashed(c, timeNs.value_or(0));
    if (!line)
        line = readParenthesised(c, timeNs.value_or(0));
    if (!line && !timeNs) // raw: the message alone
        if ((line = pluginMessage("", text)))
            line = withIds(std::move(*line), 0, kUnknownId, kUnknownId);
    if (line) {
        line->timeText = std::string(stamp);
        // Matched here, where a log read ahead is read: the rebuilding
        // thread then reads the arguments of one message only.
        if (line->message < 0 && !line->function.empty())
            messages::PluginEvent::keep(*line);
    }
    return line;
}

bool LineParser::hasHeader(std::string_view text)
{
    std::string buffer;
    text = withoutColour(text, buffer);
    std::string_view tag;
    if (text.front() == '[')
        return readLongHeader(text, tag).has_value();
    Cursor c{text};
    const std::optional<int64_t> timeNs = readTime(c);
    if (!timeNs)
        return false;
    c.skipBlanks();
    return readThreadtime(c, *timeNs) || readSlashed(c, *timeNs) || readParenthesised(c, *timeNs);
}

std::optional<kohost::LogLine> parseLogLine(std::string_view text)
{
    return LineParser().read(text, 1);
}

const LineFilter &LineParser::filter()
{
    static const LineFilter kFilter{{kTag, messages::kPluginFileMark, kGapTag}, "[\x1b"};
    return kFilter;
}

void LineParser::finish(const std::function<void(const std::string &)> &problem)
{
    if (mUnread)
        problem(std::to_string(mUnread) + (mUnread == 1 ? " line names" : " lines name") + " the tag " +
                std::string(kTag) + " in a format this reader does not know (the first is line " +
                std::to_string(mFirstUnread) + "); every format of logcat -v is read");
    mUnread = 0;
}

void readDeviceLog(std::FILE *stream, const std::function<void(kohost::LogLine &&, uint64_t)> &line,
                   const std::function<void(const std::string &)> &problem)
{
    LineParser reader;
    forEachLine(
        streamReader(stream),
        [&](std::string_view text, uint64_t number) {
            if (auto ours = reader.read(text, number))
                line(std::move(*ours), number);
            return reader.inLongEntry();
        },
        problem, "the log", &LineParser::filter());
    reader.finish(problem);
}

} // namespace zsl::log
