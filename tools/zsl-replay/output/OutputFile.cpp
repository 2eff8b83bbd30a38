// Output files checked against the inputs, written beside their place and
// moved there when complete.

#include "output/OutputFile.h"

#include "outcome/Error.h"
#include "output/InputGuard.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <sys/stat.h>
#include <unistd.h>

namespace zsl::output {

namespace {

std::string cannotWrite(const std::string &path, int error)
{
    return "cannot write " + path + ": " + std::strerror(error);
}

} // namespace

OutputFile::OutputFile(std::string path, const std::vector<std::string> &inputs)
    : mPath(std::move(path)), mStdout(std::cout.rdbuf())
{
    if (mPath == "-")
        return;
    refuseInputs(mPath, inputs);
    struct stat info {};
    const bool exists = stat(mPath.c_str(), &info) == 0;
    if (exists && !S_ISREG(info.st_mode)) { // a device or a pipe: nothing to replace
        mFile.open(mPath);
        if (!mFile)
            throw outcome::Error(cannotWrite(mPath, errno));
        return;
    }
    std::error_code error;
    const std::filesystem::path target = std::filesystem::weakly_canonical(mPath, error);
    mTarget = error ? mPath : target.string();
    const std::filesystem::path folder = std::filesystem::path(mTarget).parent_path();
    std::string pattern = (folder.empty() ? std::string() : folder.string() + "/") + "." +
                          std::filesystem::path(mTarget).filename().string() + ".XXXXXX";
    const int fd = mkstemp(pattern.data());
    if (fd < 0)
        throw outcome::Error(cannotWrite(mPath, errno));
    // The file keeps an existing file's mode, else gets a new file's.
    mode_t mode = info.st_mode & 07777;
    if (!exists) {
        const mode_t mask = umask(0);
        umask(mask);
        mode = 0666 & ~mask;
    }
    fchmod(fd, mode);
    ::close(fd);
    mTemporary = pattern;
    mFile.open(mTemporary, std::ios::binary | std::ios::trunc);
    if (!mFile) {
        const int cause = errno;
        std::remove(mTemporary.c_str());
        mTemporary.clear();
        throw outcome::Error(cannotWrite(mPath, cause));
    }
}

OutputFile::~OutputFile()
{
    if (!mTemporary.empty()) // not closed: the run failed, the old file stays
        std::remove(mTemporary.c_str());
}

void OutputFile::close()
{
    if (mPath == "-") {
        mStdout.flush();
        return;
    }
    mFile.close();
    if (!mFile)
        throw outcome::Error(cannotWrite(mPath, errno));
    if (mTemporary.empty())
        return;
    if (std::rename(mTemporary.c_str(), mTarget.c_str()) != 0)
        throw outcome::Error(cannotWrite(mPath, errno));
    mTemporary.clear();
}

} // namespace zsl::output
