// Lines cut from blocks of bytes, with the wanted ones found block by block.

#include "log/LineSplitter.h"

#include "outcome/Error.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>

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
    std::string carried; // the start of a line that crosses a block's end
    bool skipping = false; // inside a line too long to keep
    bool wantNext = false;
    uint64_t number = 0;
    std::vector<const char *> nextMark(filter ? filter->marks.size() : 0); // in the block, at or after a line's start
    std::array<bool, 256> startsWanted{}; // a look-up, not a search, on every line
    for (char c : filter ? filter->starts : std::string_view())
        startsWanted[static_cast<unsigned char>(c)] = true;
    auto wanted = [&](std::string_view text, const char *start, const char *end) {
        if (!filter || wantNext || (!text.empty() && startsWanted[static_cast<unsigned char>(text.front())]))
            return true;
        for (size_t i = 0; i < nextMark.size(); ++i) {
            if (!start) { // a line carried across blocks: searched whole
                if (text.find(filter->marks[i]) != std::string_view::npos)
                    return true;
                continue;
            }
            if (nextMark[i] < start) {
                const auto at = std::string_view(start, static_cast<size_t>(end - start)).find(filter->marks[i]);
                nextMark[i] = at == std::string_view::npos ? end : start + at;
            }
            if (nextMark[i] < start + text.size())
                return true;
        }
        return false;
    };
    long got;
    while ((got = read(block.get(), kBlockBytes)) > 0) {
        const char *at = block.get();
        const char *end = at + got;
        std::fill(nextMark.begin(), nextMark.end(), nullptr);
        while (at < end) {
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
