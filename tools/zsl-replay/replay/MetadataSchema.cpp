// A frame's or a request's metadata, read by the host's tag tables.

#include "replay/MetadataSchema.h"

#include "outcome/AndroidEnums.h"

#include <KoTagTable.h>

#include <optional>
#include <utility>
#include <vector>

namespace zsl::replay {

using namespace zsl::outcome;

namespace {

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

} // namespace

// A byte, or for a state or mode tag its Android name ("SEARCHING").
int64_t MetadataSchema::enumOrByte(const json &value, const std::string &place, uint32_t tag,
                                   const std::string &tagText) const
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

MetaSpec MetadataSchema::metadata(const json &value, const std::string &place) const
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

MetaEntrySpec MetadataSchema::entry(const std::string &key, const json &value, const std::string &place) const
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

} // namespace zsl::replay
