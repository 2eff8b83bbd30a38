// The strict JSON trace reader: every value checked where it is read, with
// its JSON pointer for the message.
// Over 400 lines: the checked-JSON helpers, the schema and the duplicate-key
// pass are one reader today; their split into stages is planned apart.

#include "replay/TraceReader.h"

#include "outcome/AndroidEnums.h"
#include "outcome/FrameText.h"
#include "replay/Replayer.h"

#include <KoTagTable.h>
#include <ZSLSelectorBase.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>
#include <iterator>
#include <set>
#include <unordered_map>
#include <sstream>

namespace zsl::replay {

using namespace zsl::outcome;

namespace {

using nlohmann::json;

const std::map<std::string, uint8_t> kTypeNames = {
    {"byte", KoMetadata::TYPE_BYTE},   {"int32", KoMetadata::TYPE_INT32},   {"float", KoMetadata::TYPE_FLOAT},
    {"int64", KoMetadata::TYPE_INT64}, {"double", KoMetadata::TYPE_DOUBLE}, {"rational", KoMetadata::TYPE_RATIONAL},
};

std::string typeName(uint8_t type)
{
    for (const auto &entry : kTypeNames)
        if (entry.second == type)
            return entry.first;
    return "unknown";
}

// Text shapes are checked by plain scans, never std::regex, whose recursion
// overflows the stack on long input.
bool allOf(const std::string &text, size_t from, int (*isClass)(int))
{
    return from < text.size() && std::all_of(text.begin() + static_cast<std::ptrdiff_t>(from), text.end(),
                                             [isClass](char c) { return isClass(static_cast<unsigned char>(c)) != 0; });
}

// "0x" and 1 to maxDigits hex digits.
bool isHex(const std::string &text, size_t maxDigits)
{
    return text.size() > 2 && text.size() <= 2 + maxDigits && text[0] == '0' && (text[1] == 'x' || text[1] == 'X') &&
           allOf(text, 2, isxdigit);
}

std::string escapeKey(const std::string &key)
{
    std::string out;
    for (char c : key)
        out += c == '~' ? "~0" : c == '/' ? "~1" : std::string(1, c);
    return out;
}

// Walks the JSON with the place (a JSON pointer) of every value at hand.
// The frames of each queue (by its index), taken out of the tree while it
// is parsed: each frame's object as CBOR, a fraction of its tree's size,
// read back only when its queue is read.
using ParsedFrames = std::map<size_t, std::vector<std::pair<std::string, std::vector<uint8_t>>>>;

class Reader {
public:
    Reader(std::string file, ParsedFrames frames) : mFile(std::move(file)), mFrames(std::move(frames)) {}

    [[noreturn]] void fail(const std::string &place, const std::string &expected) const
    {
        throw TraceError(mFile, place, expected);
    }

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

    const json &object(const json &value, const std::string &place) const
    {
        if (!value.is_object())
            fail(place, "expected an object");
        return value;
    }

    const json &array(const json &value, const std::string &place) const
    {
        if (!value.is_array())
            fail(place, "expected an array");
        return value;
    }

    // Every key must be known; required ones must be there.
    void keys(const json &value, const std::string &place, std::initializer_list<const char *> allowed,
              std::initializer_list<const char *> required = {}) const
    {
        object(value, place);
        for (auto it = value.begin(); it != value.end(); ++it) {
            bool known = false;
            for (const char *key : allowed)
                known = known || it.key() == key;
            if (!known) {
                std::string list;
                for (const char *key : allowed)
                    list += std::string(list.empty() ? "" : ", ") + "\"" + key + "\"";
                fail(at(place, it.key()), "unknown key \"" + it.key() + "\" (expected one of " + list + ")");
            }
        }
        for (const char *key : required)
            if (!value.contains(key))
                fail(at(place, key), std::string("missing required field \"") + key + "\"");
    }

    std::string string(const json &value, const std::string &place) const
    {
        if (!value.is_string())
            fail(place, "expected a string");
        return value.get<std::string>();
    }

    int64_t integer(const json &value, const std::string &place, int64_t low, int64_t high,
                    const std::string &what) const
    {
        std::string range = what + " from " + std::to_string(low) + " to " + std::to_string(high);
        if (value.is_number_unsigned()) {
            uint64_t v = value.get<uint64_t>();
            if (v > static_cast<uint64_t>(high))
                fail(place, "out of range: expected " + range);
            return static_cast<int64_t>(v);
        }
        if (value.is_number_integer()) {
            int64_t v = value.get<int64_t>();
            if (v < low || v > high)
                fail(place, "out of range: expected " + range);
            return v;
        }
        if (value.is_string()) {
            // Hex is welcome where engineers write masks: "0x40".
            const std::string text = value.get<std::string>();
            if (isHex(text, 16)) {
                errno = 0;
                unsigned long long v = std::strtoull(text.c_str(), nullptr, 16);
                if (errno == ERANGE || v > static_cast<unsigned long long>(high))
                    fail(place, "out of range: expected " + range);
                return static_cast<int64_t>(v);
            }
        }
        fail(place, "expected an integer (" + range + ")");
    }

    // A byte, or for a state or mode tag its Android name ("SEARCHING").
    int64_t enumOrByte(const json &value, const std::string &place, uint32_t tag, const std::string &tagText) const
    {
        const std::vector<std::string> *names = enumNames(tag);
        if (!names || !value.is_string() || isHex(value.get<std::string>(), 2))
            return integer(value, place, 0, 255, "a byte of " + tagText + (names ? " or its name" : ""));
        if (auto known = enumValue(tag, value.get<std::string>()))
            return *known;
        std::string list;
        for (const std::string &name : *names)
            list += (list.empty() ? "" : ", ") + name;
        fail(place, "unknown name \"" + value.get<std::string>() + "\" for " + tagText + " (expected " + list + ")");
    }

    uint32_t u32(const json &value, const std::string &place, const std::string &what) const
    {
        return static_cast<uint32_t>(integer(value, place, 0, std::numeric_limits<uint32_t>::max(), what));
    }

    // A number of ns (absolute) or a string "<sign><number><unit>" relative
    // to the capture moment, unit ns, us, ms or s. The sign is required, so
    // that "266.7ms" is not silently a frame from the future.
    TimeValue time(const json &value, const std::string &place) const
    {
        if (value.is_number_integer())
            return {false, integer(value, place, std::numeric_limits<int64_t>::min(),
                                   std::numeric_limits<int64_t>::max(), "a time in ns")};
        const std::string text = value.is_string() ? value.get<std::string>() : "";
        const size_t unitAt = text.find_first_not_of("0123456789.", 1);
        const std::string number = text.substr(0, unitAt);
        const std::string unit = unitAt == std::string::npos ? "" : text.substr(unitAt);
        const bool shaped = (text[0] == '+' || text[0] == '-') && number.size() > 1 && number[1] != '.' &&
                            number.back() != '.' && std::count(number.begin(), number.end(), '.') <= 1 &&
                            (unit == "ns" || unit == "us" || unit == "ms" || unit == "s");
        if (!value.is_string() || text.empty() || !shaped)
            fail(place, "expected a time: an integer of ns, or a signed time relative to the capture moment "
                        "such as \"-33ms\" or \"+2.5ms\"");
        // Read exactly, in decimal digits: "-2.01s" is -2010000000 ns, not a
        // floating-point product a nanosecond off.
        const int exponent = unit == "ns" ? 0 : unit == "us" ? 3 : unit == "ms" ? 6 : 9;
        const size_t point = number.find('.');
        const std::string whole = number.substr(1, point == std::string::npos ? std::string::npos : point - 1);
        std::string fraction = point == std::string::npos ? "" : number.substr(point + 1);
        if (fraction.find_first_not_of('0', std::min<size_t>(fraction.size(), exponent)) != std::string::npos)
            fail(place, "finer than a nanosecond: a time is a whole number of ns");
        fraction.resize(static_cast<size_t>(exponent), '0');
        const int sign = text[0] == '-' ? -1 : 1; // digits added with the sign: -2^63 is in range
        int64_t ns = 0;
        for (char digit : whole + fraction)
            if (__builtin_mul_overflow(ns, 10, &ns) || __builtin_add_overflow(ns, sign * (digit - '0'), &ns))
                fail(place, "out of range: expected a time within the 64-bit ns range");
        noteRelative(ns, place);
        return {true, ns};
    }

    // The latest relative time, with its place: added to a capture moment
    // (never negative), it must stay within the 64-bit ns range.
    void noteRelative(int64_t ns, const std::string &place) const
    {
        if (ns > mLatest.first)
            mLatest = {ns, place};
    }

    // Each relative time lands within int64 at every capture moment of the steps.
    void checkRelativeTimes(const TraceSpec &input) const
    {
        int64_t last = 0, sum = 0;
        for (const StepSpec &step : input.steps)
            last = std::max(last, step.captureNs.value_or(kDefaultCaptureNs));
        if (!input.steps.empty() && __builtin_add_overflow(mLatest.first, last, &sum))
            fail(mLatest.second, "out of range: " + std::to_string(mLatest.first) + " ns after the capture moment " +
                                     std::to_string(last) + " is past the largest 64-bit ns time");
    }

    MetaSpec metadata(const json &value, const std::string &place) const
    {
        MetaSpec input;
        if (value.is_null()) {
            input.null = true;
            return input;
        }
        object(value, place);
        input.entries.reserve(value.size()); // a frame's metadata, many times over in a large trace
        for (auto it = value.begin(); it != value.end(); ++it)
            part([&] { input.entries.push_back(entry(it.key(), it.value(), at(place, it.key()))); });
        return input;
    }

    MetaEntrySpec entry(const std::string &key, const json &value, const std::string &place) const
    {
        MetaEntrySpec entry;
        const KoTagInfo *info = nullptr;
        if (isHex(key, 8)) {
            entry.tag = static_cast<uint32_t>(std::stoul(key, nullptr, 16));
            info = KoTagTable::byId(entry.tag);
        } else {
            info = KoTagTable::byName(key.c_str());
            if (!info)
                fail(place, "unknown tag name \"" + key + "\" (expected a tag of the host's tag tables or a hex id)");
            entry.tag = info->id;
        }

        const json *values = &value;
        std::optional<uint8_t> given;
        if (value.is_object()) {
            keys(value, place, {"type", "values"}, {"type", "values"});
            std::string name = string(value["type"], at(place, "type"));
            auto type = kTypeNames.find(name);
            if (type == kTypeNames.end())
                fail(at(place, "type"),
                     "unknown type \"" + name + "\" (expected byte, int32, float, int64, double or rational)");
            given = type->second;
            values = &value["values"];
        }
        if (info && given && *given != info->type)
            fail(at(place, "type"), "wrong value type: " + std::string(info->name) + " holds " + typeName(info->type) +
                                        ", not " + typeName(*given));
        if (!info && !given)
            fail(place, "a tag outside the tag tables needs its type: {\"type\": ..., \"values\": [...]}");
        entry.type = info ? info->type : *given;

        std::string valuesPlace = value.is_object() ? at(place, "values") : place;
        std::vector<std::pair<const json *, std::string>> items;
        if (values->is_array()) {
            for (size_t i = 0; i < values->size(); ++i)
                items.emplace_back(&(*values)[i], at(valuesPlace, i));
        } else {
            items.emplace_back(values, valuesPlace);
        }
        const std::string tagText = info ? info->name : key;
        for (const auto &[item, itemPlace] : items) {
            switch (entry.type) {
            case KoMetadata::TYPE_BYTE:
                entry.integers.push_back({false, enumOrByte(*item, itemPlace, entry.tag, tagText)});
                break;
            case KoMetadata::TYPE_INT32:
                entry.integers.push_back(
                    {false, integer(*item, itemPlace, std::numeric_limits<int32_t>::min(),
                                    std::numeric_limits<uint32_t>::max(), "a 32-bit integer of " + tagText)});
                break;
            case KoMetadata::TYPE_INT64:
                entry.integers.push_back(time(*item, itemPlace));
                break;
            case KoMetadata::TYPE_FLOAT:
            case KoMetadata::TYPE_DOUBLE:
                if (!item->is_number())
                    fail(itemPlace, "wrong value type: expected a number for " + tagText);
                entry.reals.push_back(item->get<double>());
                break;
            case KoMetadata::TYPE_RATIONAL:
                if (!item->is_array() || item->size() != 2)
                    fail(itemPlace, "wrong value type: expected [numerator, denominator] for " + tagText);
                entry.rationals.push_back({static_cast<int32_t>(integer((*item)[0], at(itemPlace, size_t{0}), INT32_MIN,
                                                                        INT32_MAX, "a numerator")),
                                           static_cast<int32_t>(integer((*item)[1], at(itemPlace, size_t{1}), INT32_MIN,
                                                                        INT32_MAX, "a denominator"))});
                break;
            default:
                fail(place, "unsupported type");
            }
        }
        return entry;
    }

    // A list of distinct frame numbers.
    std::vector<uint32_t> frameList(const json &value, const std::string &place) const
    {
        std::vector<uint32_t> frames;
        std::unordered_map<uint32_t, size_t> seen; // frame number to its index
        array(value, place);
        for (size_t i = 0; i < value.size(); ++i) {
            const uint32_t frame = u32(value[i], at(place, i), "a frame number");
            auto first = seen.emplace(frame, i);
            if (!first.second)
                fail(at(place, i), "frame " + std::to_string(frame) + " is listed twice (also at " +
                                       at(place, first.first->second) + ")");
            frames.push_back(frame);
        }
        return frames;
    }

    int queueType(const json &value, const std::string &place) const
    {
        if (value.is_string()) {
            std::string name = value.get<std::string>();
            if (name == "meta")
                return 1;
            if (name == "sensorMode")
                return 2;
            fail(place, "unknown queue type \"" + name + "\" (expected \"meta\", \"sensorMode\" or an integer)");
        }
        return static_cast<int>(integer(value, place, INT32_MIN, INT32_MAX, "a queue type"));
    }

    // Each frame's part of the tree is released once read, so that a large
    // trace is not held twice, as a tree and as records.
    QueueSpec queue(json &value, size_t index, const std::string &place) const
    {
        keys(value, place, {"id", "type", "name", "consumer", "producer", "frames"}, {"id", "type"});
        QueueSpec input;
        input.id = u32(value["id"], at(place, "id"), "a queue id");
        input.type = queueType(value["type"], at(place, "type"));
        input.name =
            value.contains("name") ? string(value["name"], at(place, "name")) : "queue" + std::to_string(input.id);
        if (value.contains("consumer"))
            input.consumer = frameList(value["consumer"], at(place, "consumer"));
        if (value.contains("producer"))
            input.producer = frameList(value["producer"], at(place, "producer"));
        if (value.contains("frames")) {
            const std::string framesPlace = at(place, "frames");
            json &frames = value["frames"];
            object(frames, framesPlace);
            if (auto parsed = mFrames.find(index); parsed != mFrames.end())
                for (auto &[key, cbor] : parsed->second) {
                    part([&, &key = key, &cbor = cbor] {
                        input.frames.push_back(frame(input.type, key, json::from_cbor(cbor), at(framesPlace, key)));
                    });
                    std::vector<uint8_t>().swap(cbor);
                }
            for (auto it = frames.begin(); it != frames.end(); ++it) {
                part([&] {
                    input.frames.push_back(frame(input.type, it.key(), it.value(), at(framesPlace, it.key())));
                });
                it.value() = nullptr;
            }
        }
        // A listed frame without a record has left the queue, a record of an
        // unlisted frame is possible too; both at once look like a typo.
        std::set<uint32_t> listed(input.consumer.begin(), input.consumer.end()), recorded;
        listed.insert(input.producer.begin(), input.producer.end());
        std::vector<uint32_t> unlisted, recordless;
        for (const FrameSpec &frame : input.frames) {
            recorded.insert(frame.frameNum);
            if (!listed.count(frame.frameNum))
                unlisted.push_back(frame.frameNum);
        }
        std::set_difference(listed.begin(), listed.end(), recorded.begin(), recorded.end(),
                            std::back_inserter(recordless));
        if (input.type == kohal::ZSL_QUEUE_TYPE_META && !unlisted.empty() && !recordless.empty())
            mWarnings.push_back(mFile + ": at " + place + ": listed without a record: " + frameText(recordless) +
                                "; with a record but not listed: " + frameText(unlisted) + " (a typo?)");
        return input;
    }

    uint32_t keyNumber(const std::string &key, const std::string &place, const std::string &what, int64_t low = 0,
                       int64_t high = std::numeric_limits<uint32_t>::max()) const
    {
        // No leading zeros: "0044" would name frame 44 a second time.
        const size_t digits = key.rfind('-', 0) == 0 ? 1 : 0;
        if (!allOf(key, digits, isdigit) || key.size() - digits > 20 || (key[digits] == '0' && key.size() > digits + 1))
            fail(place, "expected " + what + " as the key, in decimal without leading zeros, not \"" + key + "\"");
        errno = 0;
        long long v = std::strtoll(key.c_str(), nullptr, 10);
        if (errno == ERANGE || v < low || v > high)
            fail(place,
                 "out of range: expected " + what + " from " + std::to_string(low) + " to " + std::to_string(high));
        return static_cast<uint32_t>(v);
    }

    FrameSpec frame(int queueType, const std::string &key, const json &value, const std::string &place) const
    {
        FrameSpec input;
        input.frameNum = keyNumber(key, place, "a frame number");
        if (queueType == 1) {
            keys(value, place, {"shutter", "metadata", "physical"}, {"shutter"});
            input.shutter = time(value["shutter"], at(place, "shutter"));
            if (value.contains("metadata"))
                input.metadata = metadata(value["metadata"], at(place, "metadata"));
            if (value.contains("physical")) {
                const std::string physicalPlace = at(place, "physical");
                const json &cameras = object(value["physical"], physicalPlace);
                for (auto it = cameras.begin(); it != cameras.end(); ++it) {
                    std::string cameraPlace = at(physicalPlace, it.key());
                    int camera = static_cast<int>(
                        static_cast<int32_t>(keyNumber(it.key(), cameraPlace, "a camera id", INT32_MIN, INT32_MAX)));
                    input.physical.emplace_back(camera, metadata(it.value(), cameraPlace));
                }
            }
        } else if (queueType == 2) {
            keys(value, place, {"sensorMode"}, {"sensorMode"});
            input.sensorMode = static_cast<int32_t>(
                integer(value["sensorMode"], at(place, "sensorMode"), INT32_MIN, INT32_MAX, "a sensor mode"));
        } else {
            keys(value, place, {});
        }
        return input;
    }

    std::vector<MetaSpec> requests(const json &value, const std::string &place) const
    {
        std::vector<MetaSpec> specs;
        array(value, place);
        for (size_t i = 0; i < value.size(); ++i)
            specs.push_back(metadata(value[i], at(place, i)));
        return specs;
    }

    bool boolean(const json &value, const std::string &place) const
    {
        if (!value.is_boolean())
            fail(place, "expected true or false");
        return value.get<bool>();
    }

    ExpectSpec expect(const json &value, const std::string &place) const
    {
        keys(value, place, {"needed", "zsdTs", "anchor", "selection", "taken", "checks"});
        ExpectSpec input;
        if (value.contains("zsdTs"))
            input.zsdTs = time(value["zsdTs"], at(place, "zsdTs"));
        if (value.contains("anchor"))
            input.anchor = value["anchor"].is_null()
                               ? std::optional<uint32_t>()
                               : u32(value["anchor"], at(place, "anchor"), "a frame number or null");
        if (value.contains("needed"))
            input.needed = boolean(value["needed"], at(place, "needed"));
        if (value.contains("selection")) {
            const std::string selection = at(place, "selection");
            input.selection.emplace();
            for (auto it = object(value["selection"], selection).begin(); it != value["selection"].end(); ++it) {
                const std::string entry = at(selection, it.key());
                (*input.selection)[keyNumber(it.key(), entry, "a queue id")] = frameList(it.value(), entry);
            }
        }
        if (value.contains("taken"))
            input.taken = frameList(value["taken"], at(place, "taken"));
        if (value.contains("checks")) {
            const std::string checks = at(place, "checks");
            input.checks.emplace();
            for (auto it = object(value["checks"], checks).begin(); it != value["checks"].end(); ++it) {
                const std::string entry = at(checks, it.key());
                keys(it.value(), entry, {"verdict", "reason"}, {"verdict"});
                const json &verdict = array(it.value()["verdict"], at(entry, "verdict"));
                if (verdict.size() != 2)
                    fail(at(entry, "verdict"), "expected two booleans: [verdict, flag]");
                ExpectedCheck check;
                check.verdict = {boolean(verdict[0], at(at(entry, "verdict"), 0)),
                                 boolean(verdict[1], at(at(entry, "verdict"), 1))};
                if (it.value().contains("reason"))
                    check.reason = string(it.value()["reason"], at(entry, "reason"));
                (*input.checks)[keyNumber(it.key(), entry, "a frame number")] = check;
            }
        }
        return input;
    }

    StepSpec step(const json &value, const std::string &place) const
    {
        object(value, place);
        if (value.size() != 1)
            fail(place,
                 "expected one step: {\"capture\": ...}, {\"select\": ...}, {\"check\": ...} or {\"needed\": ...}");
        const std::string kind = value.begin().key();
        const json &body = value.begin().value();
        const std::string bodyPlace = at(place, kind);
        StepSpec input;
        if (kind == "capture" || kind == "select" || kind == "needed") {
            input.kind = kind == "capture" ? StepKind::Capture : kind == "select" ? StepKind::Select : StepKind::Needed;
            keys(body, bodyPlace, {"label", "fwkFrame", "used", "requests", "logicalId", "at", "expect"}, {"requests"});
            if (body.contains("used"))
                input.used = frameList(body["used"], at(bodyPlace, "used"));
            input.requests = requests(body["requests"], at(bodyPlace, "requests"));
            if (body.contains("logicalId"))
                input.logicalId = u32(body["logicalId"], at(bodyPlace, "logicalId"), "a camera id");
        } else if (kind == "check") {
            input.kind = StepKind::Check;
            keys(body, bodyPlace,
                 {"label", "fwkFrame", "frame", "request", "logicalId", "reqtMasterId", "masterRoleId", "AiHLFrameNum",
                  "at", "expect"},
                 {"frame", "request"});
            input.frame = u32(body["frame"], at(bodyPlace, "frame"), "a frame number");
            input.request = metadata(body["request"], at(bodyPlace, "request"));
            const std::pair<const char *, uint32_t *> ids[] = {{"logicalId", &input.logicalId},
                                                               {"reqtMasterId", &input.reqtMasterId},
                                                               {"masterRoleId", &input.masterRoleId},
                                                               {"AiHLFrameNum", &input.aiHLFrameNum}};
            for (const auto &[name, field] : ids)
                if (body.contains(name))
                    *field = u32(body[name], at(bodyPlace, name), std::string("a ") + name);
        } else {
            fail(at(place, kind), "unknown step \"" + kind + "\" (expected capture, select, check or needed)");
        }
        if (body.contains("label"))
            input.label = string(body["label"], at(bodyPlace, "label"));
        if (body.contains("fwkFrame"))
            input.fwkFrame = u32(body["fwkFrame"], at(bodyPlace, "fwkFrame"), "a frame number");
        if (body.contains("at"))
            input.captureNs = integer(body["at"], at(bodyPlace, "at"), 0, std::numeric_limits<int64_t>::max(),
                                      "a capture moment in ns of the boot-time clock");
        if (body.contains("expect"))
            input.expect = expect(body["expect"], at(bodyPlace, "expect"));
        return input;
    }

    TraceSpec trace(json &root) const
    {
        keys(root, "", {"name", "description", "properties", "log", "staticMetadata", "queues", "steps"},
             {"queues", "steps"});
        TraceSpec input;
        input.file = mFile;
        input.name = root.contains("name") ? string(root["name"], "/name") : mFile;
        if (root.contains("description"))
            input.description = string(root["description"], "/description");
        if (root.contains("properties")) {
            const json &properties = object(root["properties"], "/properties");
            static const std::set<std::string> kRead = {
                "persist.vendor.kohal.selector.pending.mask", "ro.vendor.camera3.zsl.default",
                "ro.vendor.camera3.zsl.project", "vendor.debug.camera3.zsl.timestamp"};
            for (auto it = properties.begin(); it != properties.end(); ++it)
                part([&] {
                    const json &v = it.value();
                    std::string place = at("/properties", it.key());
                    if (!kRead.count(it.key()))
                        fail(place, "unknown property \"" + it.key() + "\": the selector reads only " +
                                        "persist.vendor.kohal.selector.pending.mask, ro.vendor.camera3.zsl.default, " +
                                        "ro.vendor.camera3.zsl.project and vendor.debug.camera3.zsl.timestamp");
                    if (v.is_string())
                        input.properties.emplace_back(it.key(), v.get<std::string>());
                    else if (v.is_number_integer() || v.is_boolean())
                        input.properties.emplace_back(it.key(), v.dump());
                    else
                        fail(place, "expected a property value: a string, an integer or a boolean");
                });
        }
        if (root.contains("log")) {
            const json &log = root["log"];
            keys(log, "/log", {"level", "group", "debugMask"});
            if (log.contains("level"))
                input.logLevel = u32(log["level"], "/log/level", "a log level");
            if (log.contains("group"))
                input.logGroup = u32(log["group"], "/log/group", "a log-group mask");
            if (log.contains("debugMask"))
                input.debugMask = u32(log["debugMask"], "/log/debugMask", "a debug mask");
        }
        if (root.contains("staticMetadata")) {
            const json &cameras = object(root["staticMetadata"], "/staticMetadata");
            for (auto it = cameras.begin(); it != cameras.end(); ++it)
                part([&] {
                    std::string place = at("/staticMetadata", it.key());
                    input.staticMetadata[keyNumber(it.key(), place, "a logical camera id")] =
                        metadata(it.value(), place);
                });
        }
        part([&] {
            json &queues = root["queues"];
            array(queues, "/queues");
            for (size_t i = 0; i < queues.size(); ++i)
                part([&] { input.queues.push_back(queue(queues[i], i, at("/queues", i))); });
        });
        part([&] {
            const json &steps = array(root["steps"], "/steps");
            for (size_t i = 0; i < steps.size(); ++i)
                part([&] { input.steps.push_back(step(steps[i], at("/steps", i))); });
        });
        part([&] { checkRelativeTimes(input); });
        input.warnings = mWarnings;
        if (!mErrors.empty()) {
            std::string lines;
            for (const std::string &error : mErrors)
                lines += (lines.empty() ? "" : "\n") + error;
            throw TraceError(lines);
        }
        return input;
    }

private:
    std::string mFile;
    mutable ParsedFrames mFrames;
    mutable std::vector<std::string> mErrors;
    mutable std::vector<std::string> mWarnings;
    mutable std::pair<int64_t, std::string> mLatest{0, ""};
};

// A second, linear pass over the text that finds a key given twice in one
// object, which the parser would silently resolve to the last value. It
// keeps only the open objects and arrays: where it stands, and the keys each
// object has had so far.
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
    bool key(string_t &key) override
    {
        Open &object = mOpen.back();
        object.key = key;
        if (!object.keys.insert(key).second)
            throw TraceError(mFile, place(), "duplicate key \"" + key + "\": this object already has one");
        return true;
    }
    bool parse_error(std::size_t, const std::string &, const nlohmann::detail::exception &) override { return false; }

private:
    struct Open {
        bool array;
        size_t index;
        std::string key;
        std::set<std::string> keys;
    };

    bool open(bool array)
    {
        mOpen.push_back({array, 0, "", {}});
        return true;
    }
    bool close()
    {
        mOpen.pop_back();
        return value();
    }
    bool value() // one more element of the array that holds it
    {
        if (!mOpen.empty() && mOpen.back().array)
            ++mOpen.back().index;
        return true;
    }
    std::string place() const
    {
        std::string pointer;
        for (const Open &open : mOpen)
            pointer += "/" + (open.array ? std::to_string(open.index) : escapeKey(open.key));
        return pointer;
    }

    std::string mFile;
    std::vector<Open> mOpen;
};

} // namespace

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
    return Reader(file, std::move(frames)).trace(root);
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
