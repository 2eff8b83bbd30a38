#pragma once
/*
 * FormatMatch: whether a log line's text is what a printf format prints for
 * some arguments, and each argument's text: the one rule by which a line is
 * known to be a message of the plug-in's.
 */

#include <string_view>
#include <vector>

namespace zsl::messages {

// A decimal digit, whatever the locale says.
inline bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

// Whether text is what format prints for some arguments: %s takes any text,
// numbers their digits (a sign for %d, 0x for %#x), %p a word. With `args`,
// each conversion's text, in order.
bool fillsFormat(std::string_view text, std::string_view format, std::vector<std::string_view> *args = nullptr);

} // namespace zsl::messages
