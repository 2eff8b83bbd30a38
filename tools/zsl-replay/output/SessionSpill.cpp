// A session's output, in memory and then in a temporary file.

#include "output/SessionSpill.h"

#include "outcome/Error.h"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>

namespace zsl::output {

namespace {

constexpr std::streamoff kMemoryBytes = 1 << 20;

std::FILE *temporaryFile()
{
    const char *dir = std::getenv("TMPDIR");
    std::string name = std::string(dir && *dir ? dir : "/tmp") + "/zsl-replay-XXXXXX";
    const int fd = mkstemp(name.data());
    if (fd < 0)
        throw outcome::Error("cannot hold a large log's output in " + name.substr(0, name.rfind('/')) + ": " +
                             std::strerror(errno) + " (set TMPDIR to a folder with room)");
    unlink(name.c_str()); // gone when closed, whatever happens
    return fdopen(fd, "w+b");
}

} // namespace

void SessionSpill::held()
{
    if (mBuffer.tellp() < kMemoryBytes)
        return;
    if (!mFile)
        mFile.reset(temporaryFile());
    const std::string text = mBuffer.str();
    if (std::fwrite(text.data(), 1, text.size(), mFile.get()) != text.size())
        throw outcome::Error(std::string("cannot hold a large log's output in a temporary file: ") +
                             std::strerror(errno) + " (set TMPDIR to a folder with room)");
    mBuffer.str({});
}

void SessionSpill::moveTo(std::ostream &out)
{
    if (mFile) {
        std::rewind(mFile.get());
        char block[1 << 16];
        for (size_t got; (got = std::fread(block, 1, sizeof block, mFile.get())) > 0;)
            out.write(block, static_cast<std::streamsize>(got));
        if (std::ferror(mFile.get()))
            throw outcome::Error(std::string("cannot read back a large log's output from its temporary file: ") +
                                 std::strerror(errno));
    }
    out << mBuffer.str();
    clear();
}

void SessionSpill::clear()
{
    mFile.reset();
    mBuffer.str({});
}

} // namespace zsl::output
