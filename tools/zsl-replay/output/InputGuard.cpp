// Outputs checked against the inputs by device and inode.

#include "output/InputGuard.h"

#include "outcome/Error.h"

#include <filesystem>
#include <optional>
#include <sys/stat.h>

namespace zsl::output {

namespace fs = std::filesystem;

namespace {

struct FileId {
    dev_t device;
    ino_t inode;
    bool operator==(const FileId &other) const { return device == other.device && inode == other.inode; }
};

std::optional<FileId> idOf(const fs::path &path, struct stat *info = nullptr)
{
    struct stat own {};
    struct stat &buffer = info ? *info : own;
    if (stat(path.c_str(), &buffer) != 0)
        return std::nullopt;
    return FileId{buffer.st_dev, buffer.st_ino};
}

// Whether `dir` (existing) is `folder` or lies under it, walking up by "..".
bool within(const fs::path &dir, const FileId &folder)
{
    std::error_code error;
    fs::path at = fs::canonical(dir, error);
    if (error)
        return false;
    for (;;) {
        if (idOf(at) == std::optional<FileId>(folder))
            return true;
        if (at == at.root_path() || at.empty())
            return false;
        at = at.parent_path();
    }
}

// A file of the folder with this id, if any: a hard link into the folder.
std::optional<fs::path> linkedInto(const fs::path &folder, const FileId &file)
{
    std::error_code error;
    for (fs::recursive_directory_iterator it(folder, fs::directory_options::skip_permission_denied, error), end;
         !error && it != end; it.increment(error))
        if (it->is_regular_file(error) && idOf(it->path()) == std::optional<FileId>(file))
            return it->path();
    return std::nullopt;
}

} // namespace

void refuseInputs(const std::string &output, const std::vector<std::string> &inputs)
{
    if (output == "-")
        return;
    struct stat target {};
    const std::optional<FileId> outputId = idOf(output, &target); // a symbolic link followed
    // Where the file would be written: the folder of the path the links lead to.
    std::error_code error;
    const fs::path resolved = fs::weakly_canonical(output, error);
    const fs::path folderOfOutput = (error ? fs::path(output) : resolved).parent_path();
    for (const std::string &input : inputs) {
        if (input == "-")
            continue;
        struct stat given {};
        const std::optional<FileId> inputId = idOf(input, &given);
        if (!inputId)
            continue; // a missing input is said where it is read
        if (outputId && *outputId == *inputId)
            throw outcome::Error(output + (output == input ? " is an input" : " is the input " + input) +
                                 ": it would be overwritten");
        if (!S_ISDIR(given.st_mode))
            continue;
        if (within(folderOfOutput.empty() ? fs::path(".") : folderOfOutput, *inputId))
            throw outcome::Error(output + " lies inside the input folder " + input +
                                 ": outputs are never written among the inputs");
        if (outputId && S_ISREG(target.st_mode) && target.st_nlink > 1)
            if (const auto linked = linkedInto(input, *outputId))
                throw outcome::Error(output + " is a link to " + linked->string() + " in the input folder " + input +
                                     ": it would be overwritten");
    }
}

} // namespace zsl::output
