#pragma once
/*
 * ZipInput: the zip adb bugreport writes, read in place with libzip: the main
 * entry (named by main_entry.txt, else the bugreport-*.txt entry) and logd's
 * persistent logs, oldest first, the report's header read first so that
 * earlier logs know where they came from; a Perfetto trace in it only while
 * nothing else gave the plug-in's lines.
 */

#include "log/SourceReader.h"

#include <string>

namespace zsl::log {

// `fd` >= 0: the zip is that open file (given over to libzip), else the file
// `path`. Throws outcome::Error for a zip that is not readable or holds no log.
void readZip(const std::string &path, int fd, SourceReader &reading);

} // namespace zsl::log
