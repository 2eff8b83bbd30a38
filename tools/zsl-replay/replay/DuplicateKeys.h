#pragma once
/*
 * DuplicateKeys: a second, linear pass over a trace's text that finds a key
 * given twice in one object, which the parser would silently resolve to the
 * last value, and throws a TraceError at its place. It keeps only the open
 * objects and arrays: where it stands, and the keys each object has had so
 * far.
 */

#include "replay/CheckedJson.h"

#include <set>
#include <string>
#include <vector>

namespace zsl::replay {

class DuplicateKeys : public nlohmann::json_sax<json> {
public:
    explicit DuplicateKeys(std::string file) : mFile(std::move(file)) {}

    bool null() override { return value(); }
    bool boolean(bool) override { return value(); }
    bool number_integer(number_integer_t) override { return value(); }
    bool number_unsigned(number_unsigned_t) override { return value(); }
    bool number_float(number_float_t, const string_t &) override { return value(); }
    bool string(string_t &) override { return value(); }
    bool binary(binary_t &) override { return value(); }
    bool start_object(std::size_t) override { return open(false); }
    bool start_array(std::size_t) override { return open(true); }
    bool end_object() override { return close(); }
    bool end_array() override { return close(); }
    bool key(string_t &key) override;
    bool parse_error(std::size_t, const std::string &, const nlohmann::detail::exception &) override { return false; }

private:
    struct Open {
        bool array;
        size_t index;
        std::string key;
        std::set<std::string> keys;
    };

    bool open(bool array);
    bool close();
    bool value(); // one more element of the array that holds it
    std::string place() const;

    std::string mFile;
    std::vector<Open> mOpen;
};

} // namespace zsl::replay
