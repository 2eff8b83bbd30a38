// XML escaping and fixed-point numbers for the SVG pictures.

#include "output/SvgText.h"

#include <algorithm>
#include <cstdio>

namespace zsl::output::svg {

std::string escape(std::string_view text)
{
    std::string out;
    out.reserve(text.size());
    for (char c : text) {
        switch (c) {
        case '&':
            out += "&amp;";
            break;
        case '<':
            out += "&lt;";
            break;
        case '>':
            out += "&gt;";
            break;
        case '\'':
            out += "&apos;";
            break;
        case '"':
            out += "&quot;";
            break;
        default:
            out += c;
        }
    }
    return out;
}

std::string fixed(double value, int decimals)
{
    char text[64];
    std::snprintf(text, sizeof(text), "%.*f", decimals, value);
    return text;
}

size_t glyphCount(std::string_view text)
{
    return static_cast<size_t>(std::count_if(text.begin(), text.end(), [](char c) { return (c & 0xC0) != 0x80; }));
}

std::string glyphPrefix(std::string_view text, size_t n)
{
    size_t end = 0;
    for (size_t glyphs = 0; end < text.size(); ++end)
        if ((text[end] & 0xC0) != 0x80 && glyphs++ == n)
            break;
    return std::string(text.substr(0, end));
}

} // namespace zsl::output::svg
