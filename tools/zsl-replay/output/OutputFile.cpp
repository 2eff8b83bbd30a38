// Output files opened, checked against the inputs, and closed with a check.

#include "output/OutputFile.h"

#include "outcome/Error.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <iostream>

namespace zsl::output {

OutputFile::OutputFile(std::string path, const std::vector<std::string> &inputs)
    : mPath(std::move(path)), mStdout(std::cout.rdbuf())
{
    if (mPath == "-")
        return;
    for (const std::string &input : inputs) {
        std::error_code error;
        if (input != "-" && std::filesystem::equivalent(input, mPath, error))
            throw outcome::Error(mPath + " is an input: it would be overwritten");
    }
    mFile.open(mPath);
    if (!mFile)
        throw outcome::Error("cannot write " + mPath + ": " + std::strerror(errno));
}

void OutputFile::close()
{
    if (mPath == "-") {
        mStdout.flush();
        return;
    }
    mFile.close();
    if (!mFile)
        throw outcome::Error("cannot write " + mPath + ": " + std::strerror(errno));
}

} // namespace zsl::output
