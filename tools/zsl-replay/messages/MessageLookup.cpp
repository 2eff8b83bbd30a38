// Which of the plug-in's messages a text is: its formats indexed by their
// fixed starts, so that a text is matched against a few of them, not all.

#include "messages/MessageLookup.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace zsl::messages {

namespace {

// What tells most texts from a message at a glance: the format's fixed
// start and, where a number follows it, the fixed text after the number;
// and its fixed end, before the number that ends it if one does (a text
// fills a format whole, so it ends as the format does).
struct Start {
    std::string_view fixed;
    std::string_view afterNumber; // empty: no number right after `fixed`
    std::string_view last;        // the text after the last conversion but a number ending the format
    bool endsInNumber = false;
    bool endKnown = false; // false where the number's digits could not be told from `last`'s
};

void readEnd(std::string_view format, Start &start)
{
    size_t end = format.size();
    if (end > 0 && (format[end - 1] == 'd' || format[end - 1] == 'u')) { // "%d", "%u", "%ld" at the very end
        size_t at = end - 1;
        while (at > 0 && format[at - 1] == 'l')
            --at;
        if (at > 0 && format[at - 1] == '%') {
            start.endsInNumber = true;
            end = at - 1;
        }
    }
    const size_t conversion = end == 0 ? std::string_view::npos : format.rfind('%', end - 1);
    size_t from = 0;
    if (conversion != std::string_view::npos) {
        from = conversion + 1;
        while (from < end && (format[from] == '#' || format[from] == 'l'))
            ++from;
        from = std::min(from + 1, end); // past the conversion's letter
    }
    start.last = format.substr(from, end - from);
    start.endKnown =
        !start.endsInNumber || start.last.empty() || (!isDigit(start.last.back()) && start.last.back() != '-');
}

// Whether `fixed` stands in `text` at `at`. Its first and last bytes are
// compared before the rest: the starts, and the texts after them, that one
// byte's formats share mostly differ there, so that few are compared whole.
bool startsWith(std::string_view text, size_t at, std::string_view fixed)
{
    if (fixed.empty())
        return at <= text.size();
    return at <= text.size() && text.size() - at >= fixed.size() && text[at] == fixed.front() &&
           text[at + fixed.size() - 1] == fixed.back() && text.compare(at, fixed.size(), fixed) == 0;
}

// Whether the text ends as the format does (true where that cannot be told).
bool mayEnd(std::string_view text, const Start &start)
{
    if (!start.endKnown)
        return true;
    size_t end = text.size();
    if (start.endsInNumber) {
        while (end > 0 && isDigit(text[end - 1]))
            --end;
        end -= end > 0 && text[end - 1] == '-';
    }
    return end >= start.last.size() && startsWith(text, end - start.last.size(), start.last);
}

// Where the fixed start ends; the conversion after it, if any, at `at`.
Start startOf(std::string_view format)
{
    Start start;
    const size_t at = format.find('%');
    start.fixed = format.substr(0, at);
    if (at == std::string_view::npos) {
        readEnd(format, start);
        return start;
    }
    size_t end = at + 1;
    while (end < format.size() && format[end] == 'l')
        ++end;
    if (end < format.size() && (format[end] == 'd' || format[end] == 'u')) {
        const std::string_view rest = format.substr(end + 1);
        start.afterNumber = rest.substr(0, rest.find('%'));
    }
    readEnd(format, start);
    return start;
}

} // namespace

const PluginMessage *findPluginMessage(std::string_view text, std::vector<std::string_view> &args)
{
    // The messages a text may fill, by its first byte, in the table's order:
    // a text is matched against a few formats, not all. Most of a byte's
    // formats share their fixed start with others ("[ZSLSelector] fwkFrame:"
    // begins a score of them): each distinct start is compared, and the
    // number after it passed over, once per text (`shared`: the start's
    // slot among its byte's).
    struct Candidate {
        uint8_t message;
        uint8_t shared;
    };
    struct Bucket {
        std::vector<Candidate> candidates;
        size_t shared = 0; // distinct starts
    };
    struct Index {
        std::vector<Start> starts;
        std::array<Bucket, 256> byFirst;
    };
    static const Index index = [] {
        Index built;
        const std::vector<PluginMessage> &messages = pluginMessages();
        for (size_t i = 0; i < messages.size(); ++i)
            built.starts.push_back(startOf(messages[i].format));
        for (size_t c = 0; c < 256; ++c) {
            std::vector<std::string_view> fixed; // the byte's distinct starts
            for (size_t i = 0; i < messages.size(); ++i) {
                const std::string_view start = built.starts[i].fixed;
                if (!start.empty() && static_cast<unsigned char>(start.front()) != c)
                    continue;
                const size_t slot = std::find(fixed.begin(), fixed.end(), start) - fixed.begin();
                if (slot == fixed.size())
                    fixed.push_back(start);
                built.byFirst[c].candidates.push_back({static_cast<uint8_t>(i), static_cast<uint8_t>(slot)});
            }
            built.byFirst[c].shared = fixed.size();
        }
        return built;
    }();
    if (text.empty())
        return nullptr;
    const Bucket &bucket = index.byFirst[static_cast<unsigned char>(text.front())];
    // Per shared start: 0 not compared yet, 1 the text begins otherwise,
    // else where the number after it ends, plus 2.
    std::array<size_t, 256> numberEnd;
    std::fill_n(numberEnd.begin(), bucket.shared, 0);
    const std::vector<PluginMessage> &messages = pluginMessages();
    for (const Candidate candidate : bucket.candidates) {
        const Start &start = index.starts[candidate.message];
        size_t &end = numberEnd[candidate.shared];
        if (end == 0) {
            if (!startsWith(text, 0, start.fixed)) {
                end = 1;
            } else {
                size_t at = start.fixed.size();
                at += at < text.size() && text[at] == '-';
                while (at < text.size() && isDigit(text[at]))
                    ++at;
                end = at + 2;
            }
        }
        if (end == 1)
            continue;
        if (!start.afterNumber.empty()) {
            const size_t at = end - 2;
            if (!startsWith(text, at, start.afterNumber))
                continue;
        }
        if (!mayEnd(text, start))
            continue;
        args.clear();
        if (fillsFormat(text, messages[candidate.message].format, &args))
            return &messages[candidate.message];
    }
    return nullptr;
}

const PluginMessage *findPluginMessage(std::string_view text)
{
    thread_local std::vector<std::string_view> args;
    return findPluginMessage(text, args);
}

} // namespace zsl::messages
