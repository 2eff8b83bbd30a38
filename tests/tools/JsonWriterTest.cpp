// JSON written piece by piece is the text the JSON library prints for the
// same document, whatever bytes its strings hold.

#include "output/JsonWriter.h"
#include "output/Outputs.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cmath>
#include <limits>
#include <random>
#include <string>

namespace {

using zsl::output::JsonWriter;

// Bytes drawn mostly from what logs hold, with quotes, backslashes, control
// bytes, DEL and bytes that are (or only start) UTF-8 among them.
std::string randomText(std::mt19937 &random)
{
    static const std::string kSpecial = std::string("\"\\\b\f\n\r\t\x01\x1f\x7f/", 11) + "\xc3\xa9\xe2\x82\xac\xff\xc3";
    std::string text;
    const size_t length = random() % 40; // several of the eight-byte words plain() reads
    for (size_t i = 0; i < length; ++i)
        text += random() % 4 == 0 ? kSpecial[random() % kSpecial.size()] : static_cast<char>(' ' + random() % 95);
    return text;
}

// Times in ms as the page writes them, and fractions of any size, whole
// ones, signed zeros and what is not finite (which the library writes as null).
double randomFraction(std::mt19937 &random)
{
    switch (random() % 4) {
    case 0:
        return static_cast<double>(random() % 200000) / 1000.0 - 100.0;
    case 1:
        return (static_cast<double>(random()) - 2147483648.0) / 1e6;
    case 2:
        return std::ldexp(static_cast<double>(random()) + 0.5, static_cast<int>(random() % 200) - 100) *
               (random() % 2 == 0 ? 1 : -1);
    default: {
        const double special[] = {0.0,
                                  -0.0,
                                  1.0,
                                  -100.0,
                                  1e16,
                                  1e-5,
                                  123456789012345680.0,
                                  std::numeric_limits<double>::infinity(),
                                  std::nan(""),
                                  std::numeric_limits<double>::denorm_min(),
                                  std::numeric_limits<double>::max()};
        return special[random() % std::size(special)];
    }
    }
}

nlohmann::json randomDocument(std::mt19937 &random, int depth)
{
    switch (random() % (depth > 3 ? 6 : 8)) {
    case 0:
        return randomText(random);
    case 5:
        return random() % 2 == 0;
    case 1:
        return static_cast<uint64_t>(random()) << (random() % 33);
    case 2:
        return -static_cast<int64_t>(random() % 100000);
    case 3:
        return nullptr;
    case 4:
        return randomFraction(random);
    case 6: {
        nlohmann::json array = nlohmann::json::array();
        for (size_t n = random() % 4; n > 0; --n)
            array.push_back(randomDocument(random, depth + 1));
        return array;
    }
    default: {
        nlohmann::json object = nlohmann::json::object();
        for (size_t n = random() % 4; n > 0; --n)
            object[randomText(random)] = randomDocument(random, depth + 1);
        return object;
    }
    }
}

// The document written through the writer, as a page's view is.
void write(JsonWriter &out, const nlohmann::json &value)
{
    if (value.is_array()) {
        out.beginArray();
        for (const nlohmann::json &item : value)
            write(out, item);
        out.endArray();
    } else if (value.is_object()) {
        out.beginObject();
        for (const auto &[key, item] : value.items()) {
            out.key(key);
            write(out, item);
        }
        out.endObject();
    } else if (value.is_string()) {
        out.string(value.get_ref<const std::string &>());
    } else if (value.is_number_unsigned()) {
        out.number(value.get<uint64_t>());
    } else if (value.is_number_integer()) {
        out.number(value.get<int64_t>());
    } else if (value.is_null()) {
        out.null();
    } else if (value.is_boolean()) {
        out.boolean(value.get<bool>());
    } else {
        out.number(value.get<double>());
    }
}

} // namespace

TEST(JsonWriter, WritesTheLibrarysTextOfAnyDocument)
{
    std::mt19937 random(7);
    for (int i = 0; i < 3000; ++i) {
        const nlohmann::json document = randomDocument(random, 0);
        std::string text = "prefix:";
        JsonWriter out(text);
        write(out, document);
        ASSERT_EQ(text, "prefix:" + zsl::output::jsonText(document)) << "document " << i;
    }
}

TEST(JsonWriter, PiecesAcrossItsOwnBufferArriveWholeAndInOrder)
{
    // Texts of every length about the writer's buffer (and twice it) after
    // some bytes already held, and a long run of small pieces: the string
    // holds the library's text as soon as the outermost value is closed,
    // before the writer goes.
    for (const size_t held : {0u, 1u, 700u, 2047u})
        for (const size_t length : {1u, 1000u, 2046u, 2047u, 2048u, 2049u, 4095u, 4096u, 4097u, 9000u}) {
            SCOPED_TRACE(std::to_string(held) + " then " + std::to_string(length));
            const nlohmann::json document = {std::string(held, 'h'), std::string(length, 'x'), length, nullptr};
            std::string text = "prefix:";
            JsonWriter out(text);
            write(out, document);
            EXPECT_EQ(text, "prefix:" + zsl::output::jsonText(document));
        }
    nlohmann::json many = nlohmann::json::array();
    for (uint64_t i = 0; i < 3000; ++i)
        many.push_back(i % 3 == 0 ? nlohmann::json(i) : nlohmann::json(std::string(i % 7, 'a')));
    std::string text;
    JsonWriter out(text);
    write(out, many);
    EXPECT_EQ(text, zsl::output::jsonText(many));
}

TEST(JsonWriter, TakesTextMadeElsewhereAsOneValue)
{
    std::string text;
    JsonWriter out(text);
    out.beginArray().raw("{\"a\":1}").number(uint64_t{2}).beginObject().key("b").raw("[3]").endObject().endArray();
    EXPECT_EQ(text, "[{\"a\":1},2,{\"b\":[3]}]");
}

TEST(JsonWriter, OneByteToEscapeIsFoundAtAnyPlaceInAnyLength)
{
    // A text of plain letters with one byte put at each place in turn, for
    // every length up to three of the widest blocks plain() reads: a byte the
    // library escapes or replaces is escaped wherever it stands, and the
    // plain bytes at the edges of the range (a blank, a tilde) are copied.
    const std::string bytes = std::string("\"\\\x00\x01\n\x1f\x7f\x80\xc3\xff ~", 12);
    for (size_t length = 1; length <= 48; ++length)
        for (size_t place = 0; place < length; ++place)
            for (const char byte : bytes) {
                std::string text(length, 'a');
                text[place] = byte;
                std::string written;
                JsonWriter(written).string(text);
                ASSERT_EQ(written, zsl::output::jsonText(nlohmann::json(text)))
                    << "length " << length << ", byte " << int(static_cast<unsigned char>(byte)) << " at " << place;
            }
}
