#pragma once
/*
 * InputGuard: the rule that nothing a user gave is written over. An output
 * path is refused when it is one of the inputs, lies inside an input folder,
 * or reaches one through a symbolic or a hard link. Files are compared by
 * device and inode, never by name, so that "./a", "a" and a link to "a" are
 * the same file. Checked before anything is read or written.
 */

#include <string>
#include <vector>

namespace zsl::output {

// Throws outcome::Error naming the output, the input it would reach and how
// ("-" on either side is standard input or output and is never refused).
void refuseInputs(const std::string &output, const std::vector<std::string> &inputs);

} // namespace zsl::output
