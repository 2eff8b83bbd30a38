// Telling an input's content by its first bytes or its name.

#include "log/ContentKind.h"

#include "log/PerfettoLog.h"
#include "outcome/Error.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace zsl::log {

using outcome::Error;

bool isGzip(std::string_view head)
{
    return head.size() >= 2 && static_cast<unsigned char>(head[0]) == 0x1f &&
           static_cast<unsigned char>(head[1]) == 0x8b;
}

bool isZip(std::string_view head)
{
    return head.substr(0, 4) == std::string_view("PK\x03\x04", 4) ||
           head.substr(0, 4) == std::string_view("PK\x05\x06", 4);
}

bool isBinary(std::string_view head)
{
    if (head.find('\0') != std::string_view::npos)
        return true;
    return static_cast<size_t>(std::count_if(head.begin(), head.end(), perfetto::binaryByte)) * 10 > head.size();
}

bool traceEntryName(std::string_view name)
{
    auto endsWith = [&](std::string_view end) {
        return name.size() > end.size() && name.substr(name.size() - end.size()) == end;
    };
    return endsWith(".pftrace") || endsWith(".perfetto-trace") || endsWith(".perfetto") ||
           name.find("perfetto-traces/") != std::string_view::npos;
}

std::string readHead(const ByteReader &in, size_t size, const std::string &what)
{
    std::string head(size, '\0');
    size_t got = 0;
    while (got < size) {
        const long more = in(head.data() + got, size - got);
        if (more < 0)
            throw Error("cannot read " + what + ": " + std::strerror(errno));
        if (more == 0)
            break;
        got += static_cast<size_t>(more);
    }
    head.resize(got);
    return head;
}

bool persistentLogName(std::string_view name)
{
    const std::string_view base = name.substr(name.rfind('/') + 1);
    return name.rfind(kPersistentLogs, 0) == 0 && base.rfind("logcat", 0) == 0;
}

} // namespace zsl::log
