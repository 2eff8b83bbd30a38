// Keeping standard input in a temporary file.

#include "log/Spool.h"

#include "outcome/Error.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <vector>

namespace zsl::log {

using outcome::Error;

int spooled(const std::string &head, const ByteReader &in, const std::string &what)
{
    std::FILE *file = std::tmpfile();
    if (!file)
        throw Error(what + ": cannot keep the zip in a temporary file: " + std::strerror(errno));
    auto fail = [&] {
        const std::string why = std::strerror(errno);
        std::fclose(file);
        throw Error(what + ": cannot keep the zip in a temporary file: " + why);
    };
    if (std::fwrite(head.data(), 1, head.size(), file) != head.size())
        fail();
    std::vector<char> block(1 << 16);
    for (long got; (got = in(block.data(), block.size())) != 0;) {
        if (got < 0 || std::fwrite(block.data(), 1, static_cast<size_t>(got), file) != static_cast<size_t>(got))
            fail();
    }
    if (std::fflush(file) != 0)
        fail();
    const int fd = dup(fileno(file));
    std::fclose(file);
    if (fd < 0 || lseek(fd, 0, SEEK_SET) != 0)
        throw Error(what + ": cannot keep the zip in a temporary file: " + std::strerror(errno));
    return fd;
}

} // namespace zsl::log
