#pragma once
/*
 * JsonWriter: compact JSON text appended to a string piece by piece, for
 * outputs written per capture where a document tree would be built only to
 * be printed (the page's views). It writes the bytes jsonText() would for
 * the same values: strings of plain printable ASCII are copied as they
 * are, any other is escaped by the JSON library (a byte that is not UTF-8
 * becomes U+FFFD). Commas are placed by the writer; the caller opens and
 * closes arrays and objects in order. The text is gathered in a small
 * buffer of the writer's own and is in the string once the outermost value
 * is written (and when the writer goes).
 */

#include <nlohmann/json.hpp>

#include <cstdint>
#include <string>
#include <string_view>

namespace zsl::output {

class JsonWriter {
public:
    explicit JsonWriter(std::string &out) : mOut(out) {}
    ~JsonWriter() { flush(); }
    JsonWriter(const JsonWriter &) = delete;
    JsonWriter &operator=(const JsonWriter &) = delete;

    JsonWriter &beginArray() { return open('['); }
    JsonWriter &endArray() { return close(']'); }
    JsonWriter &beginObject() { return open('{'); }
    JsonWriter &endObject() { return close('}'); }
    // An object's key; its value comes next.
    JsonWriter &key(std::string_view name);

    JsonWriter &string(std::string_view text);
    JsonWriter &number(uint64_t value);
    JsonWriter &number(int64_t value);
    // A fraction as the JSON library prints it: its shortest round-trip
    // digits, and null for what is not finite.
    JsonWriter &number(double value);
    JsonWriter &boolean(bool value);
    JsonWriter &null();
    // JSON text made elsewhere, taken as one value.
    JsonWriter &raw(std::string_view json);

private:
    template <typename T> JsonWriter &decimal(T value);
    JsonWriter &open(char bracket);
    JsonWriter &close(char bracket);
    void separate();
    // The value just written; the outermost one is handed to the string.
    JsonWriter &written();
    void put(char c)
    {
        if (mUsed == sizeof(mStage))
            flush();
        mStage[mUsed++] = c;
    }
    void put(std::string_view text);
    void flush();

    std::string &mOut;
    // Small pieces are gathered here and appended to the string together:
    // a view is some sixty strings and numbers of a few bytes each.
    char mStage[2048];
    size_t mUsed = 0;
    // Per open array or object: '1' once it has a value. Characters, not a
    // vector of bools: a writer is made per view and nests a few levels,
    // which the string holds without allocating.
    std::string mHasValue;
    bool mAfterKey = false;
};

} // namespace zsl::output
