#pragma once
/*
 * The HTML page read back in tests as its script reads it: a data block by
 * its id, gzip and base64 undone.
 */

#include "output/PageBlock.h"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <string>

namespace kotest {

// A data block of the page by its id (null when the page has none).
inline nlohmann::json pageDataBlock(const std::string &html, const std::string &id)
{
    // Found by plain search: std::regex recurses once per character of a long block.
    const size_t at = html.find("id=\"" + id + "\"");
    if (at == std::string::npos)
        return nullptr;
    const size_t from = html.find('>', at) + 1, to = html.find("</script>", from);
    const std::string text = html.substr(from, to - from);
    if (html.substr(at, from - at).find("gzip-base64") == std::string::npos)
        return nlohmann::json::parse(text);
    static const std::string digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string bytes;
    uint32_t bits = 0;
    int held = 0;
    for (char c : text) {
        if (c == '=')
            break;
        bits = bits << 6 | static_cast<uint32_t>(digits.find(c));
        if ((held += 6) >= 8)
            bytes += static_cast<char>(bits >> (held -= 8) & 0xff);
    }
    return nlohmann::json::parse(zsl::output::gunzip(bytes));
}

} // namespace kotest
