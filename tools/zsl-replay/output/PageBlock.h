#pragma once
/*
 * PageBlock: how the HTML page carries its data. A block is a <script>
 * element of its own holding JSON, either as it is (every "<" written as
 * "\u003c", so that no text from a log ends the element) or, when large,
 * gzip-compressed and base64-encoded, which the page's script decodes with
 * the browser's DecompressionStream. Written straight into the page: a page
 * of many captures holds megabytes of them.
 */

#include <ostream>
#include <string>
#include <string_view>

namespace zsl::output {

// A gzip member of `bytes`, and the bytes of one (a block read back).
std::string gzip(std::string_view bytes);
std::string gunzip(const std::string &bytes);
// JSON text as it may stand inside a <script> element.
void writeScriptSafeJson(std::ostream &out, std::string_view json);
// Bytes in base64 (RFC 4648, padded).
void writeBase64(std::ostream &out, std::string_view bytes);
// The block `id`: `data` is JSON, or (`compressed`) a gzip member of it.
void writePageBlock(std::ostream &out, const std::string &id, std::string_view data, bool compressed);

} // namespace zsl::output
