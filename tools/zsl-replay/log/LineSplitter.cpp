// Lines cut from blocks of bytes, with the wanted ones found block by block.

#include "log/LineSplitter.h"

#include "log/ByteScan.h"
#include "outcome/Error.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

namespace zsl::log {

namespace {

constexpr size_t kBlockBytes = 128 << 10;
// Longer than any line logcat writes (its limit is some 4 KiB); such a line
// is not a log line and is passed over.
constexpr size_t kMaxLineBytes = 1 << 20;

} // namespace

void forEachLine(const ByteReader &read, const std::function<bool(std::string_view, uint64_t)> &line,
                 const std::function<void(const std::string &)> &problem, const std::string &what,
                 const LineFilter *filter)
{
    // Page-aligned, and small enough to stay in the cache between the
    // kernel's copy and the line search; not cleared: the reader fills it.
    const std::unique_ptr<char, void (*)(void *)> block(static_cast<char *>(std::aligned_alloc(4096, kBlockBytes)),
                                                        std::free);
    std::string carried;   // the start of a line that crosses a block's end
    bool skipping = false; // inside a line too long to keep
    bool wantNext = false;
    uint64_t number = 0;
    const char *nextMark = nullptr; // the first mark in the block at or after a line's start
    const LineFilter none;
    const ByteScan scan(filter ? *filter : none);
    auto wanted = [&](std::string_view text, const char *start, const char *end) {
        if (!filter || wantNext || (!text.empty() && scan.startsWanted(text.front())))
            return true;
        if (!start) // a line carried across blocks: searched whole
            return std::any_of(filter->marks.begin(), filter->marks.end(),
                               [&](std::string_view mark) { return text.find(mark) != std::string_view::npos; });
        if (nextMark < start)
            nextMark = scan.findMark(start, end);
        return nextMark < start + text.size();
    };
    long got;
    while ((got = read(block.get(), kBlockBytes)) > 0) {
        const char *at = block.get();
        const char *end = at + got;
        nextMark = nullptr;
        while (at < end) {
            // Lines no reader wants are counted in bulk up to the next mark.
            if (filter && !wantNext && !skipping && carried.empty() && !scan.startsWanted(*at)) {
                if (nextMark < at)
                    nextMark = scan.findMark(at, end);
                at = scan.skipLines(at, nextMark, end, number);
                if (at >= end)
                    break;
            }
            const char *newline = static_cast<const char *>(std::memchr(at, '\n', static_cast<size_t>(end - at)));
            if (!newline) {
                if (!skipping)
                    carried.append(at, end);
                if (carried.size() > kMaxLineBytes) {
                    carried.clear();
                    skipping = true;
                }
                break;
            }
            ++number;
            if (skipping) {
                problem("line " + std::to_string(number) + " is longer than " + std::to_string(kMaxLineBytes) +
                        " bytes and was passed over");
                wantNext = line({}, number);
                skipping = false;
            } else if (!carried.empty()) {
                carried.append(at, newline);
                if (wanted(carried, nullptr, end))
                    wantNext = line(carried, number);
                carried.clear();
            } else if (const std::string_view text(at, static_cast<size_t>(newline - at)); wanted(text, at, end)) {
                wantNext = line(text, number);
            }
            at = newline + 1;
        }
    }
    if (got < 0)
        throw outcome::Error("cannot read " + what + ": " + std::strerror(errno));
    // A line cut by the end may have lost any part of its text: not guessed at.
    if (skipping || !carried.empty())
        problem("the log ends in the middle of line " + std::to_string(number + 1) + ", which is left out");
}

ByteReader streamReader(std::FILE *stream)
{
    return [stream](char *buffer, size_t size) -> long {
        const size_t got = std::fread(buffer, 1, size, stream);
        return got == 0 && std::ferror(stream) ? -1 : static_cast<long>(got);
    };
}

} // namespace zsl::log
