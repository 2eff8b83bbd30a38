#pragma once
/*
 * CheckedJson: reads one value of a parsed JSON document as the shape a trace
 * wants (an object with known keys, an integer in a range, a signed relative
 * time, a key that is a number), and on anything else throws a TraceError
 * that names the file, the value's JSON pointer and what was expected. A part
 * read through part() keeps its error and lets reading go on, so that one
 * trace's every error is reported at once. TraceSchema builds on it.
 */

#include "replay/Trace.h"
#include "replay/TraceError.h"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <initializer_list>
#include <limits>
#include <string>
#include <utility>
#include <vector>

namespace zsl::replay {

using json = nlohmann::json;

// Text shapes are checked by plain scans, never std::regex, whose recursion
// overflows the stack on long input.
bool allOf(const std::string &text, size_t from, int (*isClass)(int));
// "0x" and 1 to maxDigits hex digits.
bool isHex(const std::string &text, size_t maxDigits);
// A key as a JSON pointer writes it: "~" as "~0", "/" as "~1".
std::string escapeKey(const std::string &key);

class CheckedJson {
public:
    explicit CheckedJson(std::string file) : mFile(std::move(file)) {}

    [[noreturn]] void fail(const std::string &place, const std::string &expected) const;

    // Reads one part; an error in it is kept, and reading goes on.
    template <typename Read> void part(Read read) const
    {
        try {
            read();
        } catch (const TraceError &error) {
            mErrors.push_back(error.what());
        }
    }

    static std::string at(const std::string &place, const std::string &key) { return place + "/" + escapeKey(key); }
    static std::string at(const std::string &place, size_t index) { return place + "/" + std::to_string(index); }

    const json &object(const json &value, const std::string &place) const;
    const json &array(const json &value, const std::string &place) const;
    // Every key must be known; required ones must be there.
    void keys(const json &value, const std::string &place, std::initializer_list<const char *> allowed,
              std::initializer_list<const char *> required = {}) const;
    std::string string(const json &value, const std::string &place) const;
    bool boolean(const json &value, const std::string &place) const;
    int64_t integer(const json &value, const std::string &place, int64_t low, int64_t high,
                    const std::string &what) const;
    uint32_t u32(const json &value, const std::string &place, const std::string &what) const;
    TimeValue time(const json &value, const std::string &place) const;
    uint32_t keyNumber(const std::string &key, const std::string &place, const std::string &what, int64_t low = 0,
                       int64_t high = std::numeric_limits<uint32_t>::max()) const;

    const std::string &file() const { return mFile; }
    // The errors kept by part(), in reading order.
    const std::vector<std::string> &errors() const { return mErrors; }
    // The latest relative time read so far, with its place.
    const std::pair<int64_t, std::string> &latestRelative() const { return mLatest; }

private:
    void noteRelative(int64_t ns, const std::string &place) const;

    std::string mFile;
    mutable std::vector<std::string> mErrors;
    mutable std::pair<int64_t, std::string> mLatest{0, ""};
};

} // namespace zsl::replay
