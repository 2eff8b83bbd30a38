// Android's names of the frame-check tags' values, as in CameraMetadata.

#include "outcome/AndroidEnums.h"

#include <algorithm>
#include <map>

namespace zsl::outcome {

const std::vector<std::string> *enumNames(uint32_t tag)
{
    static const std::map<uint32_t, std::vector<std::string>> kNames = {
        {0x10007, {"OFF", "AUTO", "MACRO", "CONTINUOUS_VIDEO", "CONTINUOUS_PICTURE", "EDOF"}},       // afMode
        {0x1001f, {"INACTIVE", "SEARCHING", "CONVERGED", "LOCKED", "FLASH_REQUIRED", "PRECAPTURE"}}, // aeState
        {0x10020,
         {"INACTIVE", "PASSIVE_SCAN", "PASSIVE_FOCUSED", "ACTIVE_SCAN", "FOCUSED_LOCKED", "NOT_FOCUSED_LOCKED",
          "PASSIVE_UNFOCUSED"}},             // afState
        {0x80009, {"STATIONARY", "MOVING"}}, // lens state
    };
    auto names = kNames.find(tag);
    return names == kNames.end() ? nullptr : &names->second;
}

std::optional<int> enumValue(uint32_t tag, const std::string &name)
{
    const std::vector<std::string> *names = enumNames(tag);
    if (!names)
        return std::nullopt;
    auto at = std::find(names->begin(), names->end(), name);
    return at == names->end() ? std::nullopt : std::optional<int>(static_cast<int>(at - names->begin()));
}

} // namespace zsl::outcome
