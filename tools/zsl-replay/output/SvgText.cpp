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

std::string number(double value)
{
    return fixed(value, 1);
}

double textWidth(const std::string &text, double size)
{
    // Multi-byte characters (marks) count once.
    return 0.6 * size * static_cast<double>(glyphCount(text));
}

void text(std::ostream &svg, double x, double y, double size, const char *anchor, const char *cls,
          const std::string &content)
{
    svg << "<text x='" << number(x) << "' y='" << number(y) << "' font-size='" << size << "' text-anchor='" << anchor
        << "' class='" << cls << "'>" << escape(content) << "</text>\n";
}

void circle(std::ostream &svg, double x, double y, double r, const std::string &cls, const std::string &title)
{
    svg << "<circle cx='" << number(x) << "' cy='" << number(y) << "' r='" << r << "' class='" << cls << "'>";
    if (!title.empty())
        svg << "<title>" << escape(title) << "</title>";
    svg << "</circle>\n";
}

std::vector<std::string> wrap(const std::string &line, double size, double width)
{
    const size_t perLine = std::max<size_t>(10, static_cast<size_t>(width / (0.6 * size)));
    std::vector<std::string> lines;
    std::string rest = line;
    while (rest.size() > perLine) {
        size_t cut = rest.rfind(' ', perLine);
        cut = cut == std::string::npos || cut == 0 ? perLine : cut;
        lines.push_back(rest.substr(0, cut));
        rest = rest.substr(rest[cut] == ' ' ? cut + 1 : cut);
    }
    lines.push_back(rest);
    return lines;
}

} // namespace zsl::output::svg
