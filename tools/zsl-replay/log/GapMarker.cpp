// logd's "chatty" lines, in any format: the message's shape, then the
// process id from the part of the line before it.

#include "log/GapMarker.h"

#include "outcome/Outcome.h"

#include <cctype>
#include <vector>

namespace zsl::log {

namespace {

bool digits(std::string_view text)
{
    if (text.empty())
        return false;
    for (char c : text)
        if (!std::isdigit(static_cast<unsigned char>(c)))
            return false;
    return true;
}

// "uid=1047(cameraserver) [name] expire|identical N line[s]"
bool gapMessage(std::string_view message)
{
    if (message.substr(0, 4) != "uid=")
        return false;
    while (!message.empty() && (message.back() == ' ' || message.back() == '\r'))
        message.remove_suffix(1);
    const std::string_view end = message.size() >= 6 && message.substr(message.size() - 6) == " lines"  ? " lines"
                                 : message.size() >= 5 && message.substr(message.size() - 5) == " line" ? " line"
                                                                                                        : "";
    if (end.empty())
        return false;
    message.remove_suffix(end.size());
    const size_t count = message.rfind(' ');
    if (count == std::string_view::npos || !digits(message.substr(count + 1)))
        return false;
    message = message.substr(0, count);
    return message.size() >= 7 && (message.substr(message.size() - 7) == " expire" ||
                                   (message.size() >= 10 && message.substr(message.size() - 10) == " identical"));
}

// The words of a text split at blanks.
std::vector<std::string_view> words(std::string_view text)
{
    std::vector<std::string_view> out;
    for (size_t at = 0; at < text.size();) {
        const size_t end = std::min(text.find(' ', at), text.size());
        if (end > at)
            out.push_back(text.substr(at, end - at));
        at = end + 1;
    }
    return out;
}

// The last run of digits inside the first parentheses of `text`, "( 1187)"
// or "(u0_a1: 1187)"; the first of two with "( 1187: 1301)".
int idInParentheses(std::string_view text, bool threadForm)
{
    const size_t open = text.find('('), close = text.find(')', open);
    if (open == std::string_view::npos || close == std::string_view::npos)
        return outcome::kUnknownId;
    std::string_view inside = text.substr(open + 1, close - open - 1);
    std::vector<std::string_view> ids;
    for (std::string_view word : words(inside)) {
        if (!word.empty() && word.back() == ':')
            word.remove_suffix(1);
        ids.push_back(word);
    }
    if (threadForm && ids.size() == 2 && digits(ids[0]) && digits(ids[1]))
        return std::stoi(std::string(ids[0]));
    if (ids.size() == 1 && digits(ids[0]))
        return std::stoi(std::string(ids[0]));
    return outcome::kUnknownId; // a uid before it, or a shape not read: any process
}

} // namespace

std::optional<int> readGapMarker(std::string_view text)
{
    const size_t at = text.find("uid=");
    if (at == std::string_view::npos)
        return std::nullopt;
    std::string_view message = text.substr(at);
    std::string_view head = text.substr(0, at);
    // -v process puts the tag after the message: "... lines  (chatty)".
    const std::string_view processEnd = "  (chatty)";
    const bool process =
        message.size() > processEnd.size() && message.substr(message.size() - processEnd.size()) == processEnd;
    if (process)
        message.remove_suffix(processEnd.size());
    if (!gapMessage(message))
        return std::nullopt;
    const size_t tag = head.find(kGapTag);
    if (tag == std::string_view::npos) // raw (any process), or thread: "L( PID: TID) message"
        return process || head.find('(') != std::string_view::npos ? idInParentheses(head, !process)
               : head.empty() || head.find_first_not_of(' ') == std::string_view::npos
                   ? std::optional<int>(outcome::kUnknownId)
                   : std::nullopt;
    if (head.find('(', tag) != std::string_view::npos) // brief, time: "L/chatty( PID): "
        return idInParentheses(head.substr(tag), false);
    // threadtime: "... [UID] PID TID L chatty  : "
    const std::vector<std::string_view> before = words(head.substr(0, tag));
    if (before.size() >= 3 && digits(before[before.size() - 3]) && digits(before[before.size() - 2]))
        return std::stoi(std::string(before[before.size() - 3]));
    return outcome::kUnknownId; // tag: "L/chatty: " shows no process
}

} // namespace zsl::log
