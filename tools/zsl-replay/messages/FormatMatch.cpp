// A text matched against a printf format, conversion by conversion.

#include "messages/FormatMatch.h"

#include <algorithm>
#include <cctype>

namespace zsl::messages {

namespace {

bool isHexDigit(char c)
{
    return std::isxdigit(static_cast<unsigned char>(c)) != 0;
}

// How many characters of text one number conversion takes: 0 when none.
size_t numberLength(std::string_view text, char conversion, bool alternate)
{
    size_t n = 0;
    if (conversion == 'p') // "0x..." or "(nil)"; a replay's lines hide it as "<selector>"
        return std::min(text.find(' '), text.size());
    if (conversion == 'd' && n < text.size() && text[n] == '-')
        ++n;
    if (conversion == 'x' && alternate && text.substr(n, 2) == "0x")
        n += 2;
    const size_t digits = n;
    while (n < text.size() && (conversion == 'x' ? isHexDigit(text[n]) : isDigit(text[n])))
        ++n;
    return n > digits ? n : 0;
}

} // namespace

bool fillsFormat(std::string_view text, std::string_view format, std::vector<std::string_view> *args)
{
    const size_t taken = args ? args->size() : 0; // a failed match takes nothing back with it
    auto fail = [&] {
        if (args)
            args->resize(taken);
        return false;
    };
    while (!format.empty()) {
        if (format.front() != '%') { // a literal run, compared whole
            const size_t literal = std::min(format.find('%'), format.size());
            if (text.compare(0, literal, format.substr(0, literal)) != 0)
                return fail();
            text.remove_prefix(literal);
            format.remove_prefix(literal);
            continue;
        }
        // A conversion: %[#][l]c, the only shapes the plug-in uses.
        size_t at = 1;
        const bool alternate = at < format.size() && format[at] == '#';
        at += alternate;
        while (at < format.size() && format[at] == 'l')
            ++at;
        if (at >= format.size())
            return fail();
        const char conversion = format[at];
        format.remove_prefix(at + 1);
        if (conversion == 's') { // any text up to a place where the next literal part stands
            if (format.empty()) {
                if (args)
                    args->push_back(text);
                return true;
            }
            const std::string_view next = format.substr(0, format.find('%'));
            for (size_t at = text.find(next); at != std::string_view::npos; at = text.find(next, at + 1)) {
                if (args)
                    args->push_back(text.substr(0, at));
                if (fillsFormat(text.substr(at), format, args))
                    return true;
                if (args)
                    args->pop_back();
            }
            return fail();
        }
        if (conversion == 'x' && alternate && !text.empty() && text.front() == '0' &&
            (text.size() == 1 || text[1] != 'x')) { // %#x prints 0 without 0x
            if (args)
                args->push_back(text.substr(0, 1));
            text.remove_prefix(1);
            continue;
        }
        const size_t length = numberLength(text, conversion == 'u' ? 'd' : conversion, alternate);
        if (length == 0 || (conversion == 'u' && text.front() == '-'))
            return fail();
        if (args)
            args->push_back(text.substr(0, length));
        text.remove_prefix(length);
    }
    return text.empty() || fail();
}

} // namespace zsl::messages
