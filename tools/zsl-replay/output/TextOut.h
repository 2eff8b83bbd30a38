#pragma once
/*
 * TextOut: a report's text built with `<<` as on a stream, into one string
 * taken whole. A capture's few dozen pieces cost a stream's sentry and
 * buffer checks each; here each is an append. Numbers are written as a
 * stream writes them by default (integers only: a fraction has a format of
 * its own at its caller).
 */

#include <charconv>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

namespace zsl::output {

class TextOut {
    template <typename T> static constexpr bool isByte =
        std::is_same_v<T, signed char> || std::is_same_v<T, unsigned char>;

public:
    TextOut() { mText.reserve(1024); } // a capture's text, mostly, without growing
    TextOut &operator<<(std::string_view text)
    {
        mText.append(text);
        return *this;
    }
    TextOut &operator<<(const char *text) { return *this << std::string_view(text); }
    TextOut &operator<<(const std::string &text) { return *this << std::string_view(text); }
    TextOut &operator<<(char c)
    {
        mText.push_back(c);
        return *this;
    }
    template <typename T, typename = std::enable_if_t<std::is_integral_v<T> && !isByte<T>>> TextOut &operator<<(T value)
    {
        static_assert(!std::is_same_v<T, bool>, "a stream writes a bool as 0 or 1: say what it means instead");
        char digits[24];
        return *this << std::string_view(
                   digits, static_cast<size_t>(std::to_chars(digits, digits + sizeof(digits), value).ptr - digits));
    }
    // A fraction or an enum would be taken for a char, and a stream writes a
    // signed or unsigned char as a character: none of them is written at all.
    template <typename T, typename = std::enable_if_t<std::is_floating_point_v<T> || std::is_enum_v<T> || isByte<T>>>
    TextOut &operator<<(const T &) = delete;
    // What was built; the TextOut is done with.
    std::string take() { return std::move(mText); }

private:
    std::string mText;
};

} // namespace zsl::output
