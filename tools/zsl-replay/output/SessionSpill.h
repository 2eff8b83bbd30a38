#pragma once
/*
 * SessionSpill: what an output writes of one session while the session is
 * read, held until it ends: in memory up to a few MiB, beyond that in an
 * unnamed temporary file. So a report can put first what only the whole
 * log tells, a session that fails is dropped whole, and memory does not
 * grow with the captures.
 */

#include <cstdio>
#include <memory>
#include <ostream>
#include <sstream>

namespace zsl::output {

class SessionSpill {
public:
    // Where to write. Call held() after each capture written.
    std::ostream &stream() { return mBuffer; }
    // Moves what is in memory to the file once it is large. Throws
    // outcome::Error when the temporary file cannot be written.
    void held();
    // Writes everything held to `out`, in order, and empties the spill.
    void moveTo(std::ostream &out);
    void clear();

private:
    std::ostringstream mBuffer;
    std::unique_ptr<std::FILE, int (*)(std::FILE *)> mFile{nullptr, std::fclose};
};

} // namespace zsl::output
