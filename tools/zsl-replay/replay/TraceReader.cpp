// A trace file's text to its records: the JSON parsed once with each frame
// stashed as it closes, a pass for duplicate keys, then the schema.

#include "replay/TraceReader.h"

#include "replay/DuplicateKeys.h"
#include "replay/TraceSchema.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>

namespace zsl::replay {

TraceSpec parseTrace(const std::string &text, const std::string &file)
{
    json root;
    ParsedFrames frames;
    // Where the parser stands: each open object's last key, each open array's
    // element count.
    struct Level {
        bool array;
        size_t count;
        std::string key;
    };
    std::vector<Level> open;
    auto element = [&open] {
        if (!open.empty() && open.back().array)
            ++open.back().count;
    };
    auto takeFrames = [&](int, json::parse_event_t event, json &parsed) {
        switch (event) {
        case json::parse_event_t::object_start:
        case json::parse_event_t::array_start:
            open.push_back({event == json::parse_event_t::array_start, 0, ""});
            return true;
        case json::parse_event_t::key:
            open.back().key = parsed.get<std::string>();
            return true;
        case json::parse_event_t::value:
            element();
            return true;
        case json::parse_event_t::array_end:
        case json::parse_event_t::object_end: {
            // A frame: /queues/<index>/frames/<key>, an object.
            const bool frame = event == json::parse_event_t::object_end && open.size() == 5 && !open[0].array &&
                               open[0].key == "queues" && open[1].array && !open[2].array && open[2].key == "frames" &&
                               !open[3].array;
            if (frame)
                frames[open[1].count].emplace_back(open[3].key, json::to_cbor(parsed));
            open.pop_back();
            element();
            return !frame;
        }
        }
        return true;
    };
    try {
        root = json::parse(text, takeFrames);
        DuplicateKeys duplicates(file);
        json::sax_parse(text, &duplicates);
    } catch (const json::parse_error &error) {
        // nlohmann names the byte; an editor wants the line and column.
        const size_t at = std::min<size_t>(error.byte > 0 ? error.byte - 1 : 0, text.size());
        const size_t lineStart = text.rfind('\n', at == 0 ? 0 : at - 1);
        const size_t line =
            1 + static_cast<size_t>(std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(at), '\n'));
        const size_t column = lineStart == std::string::npos || at == 0 ? at + 1 : at - lineStart;
        std::string what = error.what();
        auto colon = what.find("syntax error");
        throw TraceError(file, "line " + std::to_string(line) + ", column " + std::to_string(column),
                         "invalid JSON: " + (colon == std::string::npos ? what : what.substr(colon)));
    } catch (const json::exception &error) {
        // A number beyond a double's range ("1e400").
        std::string what = error.what();
        throw TraceError(file, "", "invalid JSON: " + what.substr(what.find(']') + 2));
    }
    return TraceSchema(file, std::move(frames)).trace(root);
}

TraceSpec readTraceFile(const std::string &path)
{
    std::error_code error;
    if (std::filesystem::is_directory(path, error))
        throw TraceError(path, "", "is a directory, not a trace file");
    std::ifstream in(path, std::ios::binary);
    if (!in)
        throw TraceError(path, "", std::string("cannot read the file: ") + std::strerror(errno));
    // Read straight into one string: a trace's text is held once.
    std::string text;
    in.seekg(0, std::ios::end);
    text.resize(static_cast<size_t>(std::max<std::streamoff>(0, in.tellg())));
    in.seekg(0);
    in.read(text.data(), static_cast<std::streamsize>(text.size()));
    if (!in)
        throw TraceError(path, "", std::string("cannot read the file: ") + std::strerror(errno));
    return parseTrace(text, path);
}

} // namespace zsl::replay
