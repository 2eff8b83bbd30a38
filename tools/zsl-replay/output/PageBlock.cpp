// The page's data blocks: compressed, encoded and escaped as its script
// reads them.

#include "output/PageBlock.h"

#include <libdeflate.h>
#include <zlib.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <new>

namespace zsl::output {

std::string gunzip(const std::string &bytes)
{
    z_stream stream{};
    inflateInit2(&stream, 15 + 16);
    stream.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(bytes.data()));
    stream.avail_in = static_cast<uInt>(bytes.size());
    std::string out;
    char buffer[1 << 16];
    int status = Z_OK;
    while (status == Z_OK) {
        stream.next_out = reinterpret_cast<Bytef *>(buffer);
        stream.avail_out = sizeof(buffer);
        status = inflate(&stream, Z_NO_FLUSH);
        out.append(buffer, sizeof(buffer) - stream.avail_out);
    }
    inflateEnd(&stream);
    return out;
}

// Made whole by libdeflate at level 4: in about a third of zlib's time at
// its default level (6), for blocks some 10% larger; compressing is a
// third of the page's work. Level 5 takes a tenth longer for blocks a tenth
// smaller: at 4, a page of 16,000 captures is 8.9 MB, within what tickets
// take.
std::string gzip(std::string_view bytes)
{
    const std::unique_ptr<libdeflate_compressor, void (*)(libdeflate_compressor *)> compressor(
        libdeflate_alloc_compressor(4), libdeflate_free_compressor);
    if (!compressor)
        throw std::bad_alloc();
    // Room for the worst case, not filled first: the output takes a
    // fifteenth of it, and only the pages written are touched.
    const size_t room = libdeflate_gzip_compress_bound(compressor.get(), bytes.size());
    const std::unique_ptr<char[]> out(new char[room]);
    return std::string(out.get(),
                       libdeflate_gzip_compress(compressor.get(), bytes.data(), bytes.size(), out.get(), room));
}

void writeScriptSafeJson(std::ostream &out, std::string_view json)
{
    for (size_t at = 0; at < json.size();) {
        const size_t less = std::min(json.find('<', at), json.size());
        out.write(json.data() + at, static_cast<std::streamsize>(less - at));
        if (less < json.size())
            out << "\\u003c";
        at = less + 1;
    }
}

void writeBase64(std::ostream &out, std::string_view bytes)
{
    static const char digits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    // Made a piece at a time: a page holds megabytes of it, written at its end.
    char piece[4096];
    size_t used = 0;
    const auto *in = reinterpret_cast<const unsigned char *>(bytes.data());
    size_t at = 0;
    for (; at + 3 <= bytes.size(); at += 3) {
        const uint32_t group = uint32_t{in[at]} << 16 | uint32_t{in[at + 1]} << 8 | in[at + 2];
        piece[used] = digits[group >> 18];
        piece[used + 1] = digits[group >> 12 & 63];
        piece[used + 2] = digits[group >> 6 & 63];
        piece[used + 3] = digits[group & 63];
        if ((used += 4) == sizeof(piece)) {
            out.write(piece, static_cast<std::streamsize>(used));
            used = 0;
        }
    }
    if (at < bytes.size()) { // one or two bytes left: padded to four digits
        const bool two = at + 1 < bytes.size();
        const uint32_t group = uint32_t{in[at]} << 16 | (two ? uint32_t{in[at + 1]} << 8 : 0);
        piece[used++] = digits[group >> 18];
        piece[used++] = digits[group >> 12 & 63];
        piece[used++] = two ? digits[group >> 6 & 63] : '=';
        piece[used++] = '=';
    }
    out.write(piece, static_cast<std::streamsize>(used));
}

void writePageBlock(std::ostream &out, const std::string &id, std::string_view data, bool compressed)
{
    if (compressed) {
        out << "<script type=\"text/plain\" id=\"" << id << "\" data-encoding=\"gzip-base64\">";
        writeBase64(out, data);
    } else {
        out << "<script type=\"application/json\" id=\"" << id << "\">";
        writeScriptSafeJson(out, data);
    }
    out << "</script>\n";
}

} // namespace zsl::output
