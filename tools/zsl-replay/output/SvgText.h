#pragma once
/*
 * SvgText: what both pictures (the timeline and the summary's plots) write
 * into an SVG the same way: text escaped for XML, in an element or in
 * either kind of quoted attribute, and numbers in fixed notation, the same
 * on every machine and locale.
 */

#include <cstddef>
#include <string>
#include <string_view>

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

} // namespace zsl::output::svg
