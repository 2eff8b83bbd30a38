#pragma once
/*
 * AndroidEnums: the names Android gives the values of the state and mode
 * tags the frame check reads (android.control.aeState, afState, afMode,
 * android.lens.state), so that a trace may say "SEARCHING" where it means 1
 * and a report may say what a number means.
 */

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace zsl::outcome {

// The names of a tag's values in value order, or null for a tag without.
const std::vector<std::string> *enumNames(uint32_t tag);

// The value a name stands for, or nullopt.
std::optional<int> enumValue(uint32_t tag, const std::string &name);

} // namespace zsl::outcome
