#pragma once
/*
 * SvgText: what both pictures (the timeline and the summary's plots) write
 * into an SVG the same way: text escaped for XML, in an element or in
 * either kind of quoted attribute, numbers in fixed notation, the same on
 * every machine and locale, labels measured and wrapped, and the few
 * elements both draw.
 */

#include <cstddef>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace zsl::output::svg {

// Text with &, <, >, ' and " escaped.
std::string escape(std::string_view text);

// UTF-8 text's characters, and its first n of them: a label is measured
// and cut by characters, never inside one.
size_t glyphCount(std::string_view text);
std::string glyphPrefix(std::string_view text, size_t n);

// value with `decimals` digits after the point ("12.5"), never in the
// locale's notation.
std::string fixed(double value, int decimals);
// A coordinate: one digit after the point.
std::string number(double value);

// A label's width at a font size in px, estimated at 0.6 em a character
// (multi-byte characters, the marks, count once).
double textWidth(const std::string &text, double size);
// Lines of at most `width` px at the given size, broken at blanks.
std::vector<std::string> wrap(const std::string &line, double size, double width);
// A <text> element; `anchor` is its text-anchor, `cls` its class.
void text(std::ostream &svg, double x, double y, double size, const char *anchor, const char *cls,
          const std::string &content);
// A <circle> element, with `title` as its tooltip when not empty.
void circle(std::ostream &svg, double x, double y, double r, const std::string &cls, const std::string &title = "");

} // namespace zsl::output::svg
