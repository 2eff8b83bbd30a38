#pragma once
/*
 * PageAssets: the HTML page's template, with its style and script built in
 * from output/page/. "<!--data-->" marks where the summary and rows go, "<!--views-->" the views, and
 * "@NONCE@" the nonce that lets the page's own script, and no other, run.
 */

#include <string_view>

namespace zsl::output {

std::string_view pageTemplate();

} // namespace zsl::output
