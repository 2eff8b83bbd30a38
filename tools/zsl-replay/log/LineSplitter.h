#pragma once
/*
 * LineSplitter: a byte stream cut into numbered lines, block by block, so
 * that memory stays one block and one line whatever the stream's size. A
 * filter names the lines wanted (a mark they hold, or a first character);
 * the marks are searched block by block, sixteen places at a time, and the
 * lines between them are counted in bulk, so that the lines passed over
 * cost about what grep pays for them. It knows nothing of what a line says.
 */

#include <cstdint>
#include <cstdio>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace zsl::log {

// Reads a byte stream: the bytes read into buffer (at most size), 0 at its
// end, -1 on an error.
using ByteReader = std::function<long(char *buffer, size_t size)>;

// A stdio stream's bytes.
ByteReader streamReader(std::FILE *stream);

// Which lines a reader wants handed over: those holding one of `marks`,
// those starting with one of `starts`, and each line after one for which it
// answered true.
struct LineFilter {
    std::vector<std::string_view> marks;
    std::string_view starts;
};

// Hands each line of the stream with its number to `line`; without a
// filter, every line. A line longer than any log line is reported to
// `problem` and handed over empty; a line cut by the end is reported and
// left out. Throws outcome::Error naming `what` when the stream reports an
// error.
void forEachLine(const ByteReader &read, const std::function<bool(std::string_view, uint64_t)> &line,
                 const std::function<void(const std::string &)> &problem, const std::string &what,
                 const LineFilter *filter = nullptr);

} // namespace zsl::log
