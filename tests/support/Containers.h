#pragma once
// The containers a bug report arrives in, made for tests as the phone makes
// them: gzip through zlib, zip through libzip.

#include "ReplayCli.h"

#include <zip.h>
#include <zlib.h>

#include <string>
#include <utility>
#include <vector>

namespace kotest {

inline std::string gzip(const std::string &text)
{
    std::string out(compressBound(static_cast<uLong>(text.size())) + 64, '\0');
    z_stream z{};
    deflateInit2(&z, 9, Z_DEFLATED, 16 + MAX_WBITS, 8, Z_DEFAULT_STRATEGY);
    z.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(text.data()));
    z.avail_in = static_cast<uInt>(text.size());
    z.next_out = reinterpret_cast<Bytef *>(out.data());
    z.avail_out = static_cast<uInt>(out.size());
    deflate(&z, Z_FINISH);
    out.resize(z.total_out);
    deflateEnd(&z);
    return out;
}

// A zip of the given entries, written with libzip.
inline std::string zipOf(const std::vector<std::pair<std::string, std::string>> &entries)
{
    TempFile file;
    unlink(file.path().c_str());
    int error = 0;
    zip_t *archive = zip_open(file.path().c_str(), ZIP_CREATE | ZIP_TRUNCATE, &error);
    for (const auto &[name, text] : entries)
        zip_file_add(archive, name.c_str(), zip_source_buffer(archive, text.data(), text.size(), 0), 0);
    zip_close(archive);
    return file.text();
}

} // namespace kotest
