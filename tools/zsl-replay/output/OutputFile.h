#pragma once
/*
 * OutputFile: where every output file is opened, and its errors reported:
 * a file named by the user ("-": standard output), opened before any input
 * is read so that a wrong path costs nothing, and closed with a check that
 * everything written reached it. A path that is an input, or lies in an
 * input folder, is refused (InputGuard): nothing a user gave is overwritten.
 * A regular file is written beside its place and moved there only when
 * complete, so a run that fails leaves the old file as it was and no half
 * file; a device or a pipe is written directly.
 */

#include <fstream>
#include <ostream>
#include <string>
#include <vector>

namespace zsl::output {

class OutputFile {
public:
    // Throws outcome::Error naming the path: it is an input, or cannot be opened.
    OutputFile(std::string path, const std::vector<std::string> &inputs);
    ~OutputFile();
    OutputFile(const OutputFile &) = delete;
    OutputFile &operator=(const OutputFile &) = delete;
    std::ostream &stream() { return mPath == "-" ? static_cast<std::ostream &>(mStdout) : mFile; }
    const std::string &path() const { return mPath; }
    // Throws outcome::Error when what was written did not all reach the file.
    void close();

private:
    std::string mPath;
    std::string mTarget;    // the path the file is moved to (links followed)
    std::string mTemporary; // "" when written in place
    std::ofstream mFile;
    std::ostream mStdout;
};

} // namespace zsl::output
