// Reading whatever an engineer hands over as one log: the input opened (a
// file, or standard input read as it arrives), a zip read by ZipInput (kept
// in a temporary file when it comes on standard input), anything else by
// SourceReader.

#include "log/LogInput.h"

#include "log/ContentKind.h"
#include "log/SourceReader.h"
#include "log/Spool.h"
#include "log/ZipInput.h"
#include "outcome/Error.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>

namespace zsl::log {

using outcome::Error;

void readLogInput(const std::string &path, const std::string &name,
                  const std::function<void(kohost::LogLine &&, uint64_t)> &line,
                  const std::function<void(const std::string &)> &problem, LogOrigin &origin, const LiveReading *live)
{
    const int fd = path == "-" ? STDIN_FILENO : open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        throw Error("cannot read " + name + ": " + std::strerror(errno));
    const std::unique_ptr<const int, void (*)(const int *)> owned(fd == STDIN_FILENO ? nullptr : &fd,
                                                                  [](const int *open) { close(*open); });
    SourceReader reading(line, problem, origin);
    {
        // Whatever has arrived: a pipe's lines are read as they are written.
        ByteReader in = [fd, live](char *buffer, size_t size) -> long {
            for (;;) {
                if (live && live->stop && *live->stop)
                    return 0;
                if (live && live->idle) {
                    pollfd ready{fd, POLLIN, 0};
                    const int polled = poll(&ready, 1, 1000);
                    if (polled == 0)
                        live->idle();
                    if (polled <= 0)
                        continue; // quiet, or a signal: look at stop again
                }
                const ssize_t got = read(fd, buffer, size);
                if (got >= 0 || errno != EINTR)
                    return static_cast<long>(got);
            }
        };
        // The first bytes tell the content. A live log is told by its first
        // four: waiting for more would hold its first lines back.
        std::string head = readHead(in, live ? 4 : kHeadBytes, name);
        if (isZip(head)) {
            reading.severalSources();
            // A zip is read by its directory at the end: standard input is kept in a file first.
            readZip(name, fd == STDIN_FILENO ? spooled(head, in, name) : -1, reading);
        } else {
            reading.content(std::move(head), in, name);
        }
    }
}

} // namespace zsl::log
