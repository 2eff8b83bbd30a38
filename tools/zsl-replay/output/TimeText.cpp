// Milliseconds to the microsecond, in printf's digits.

#include "output/TimeText.h"

#include <charconv>
#include <cmath>

namespace zsl::output {

std::string millisecondsText(double ms, bool sign)
{
    char text[400]; // room for the longest double in fixed notation
    char *end = text;
    if (sign && !std::signbit(ms))
        *end++ = '+';
    end = std::to_chars(end, text + sizeof(text), ms, std::chars_format::fixed, 3).ptr;
    return std::string(text, end);
}

} // namespace zsl::output
