// Completeness in the table's names and in words.

#include "outcome/Completeness.h"

namespace zsl::outcome {

const char *completenessName(Completeness completeness)
{
    switch (completeness) {
    case Completeness::Whole:
        return "whole";
    case Completeness::StartsInside:
        return "starts-inside";
    case Completeness::EndsInside:
        return "ends-inside";
    case Completeness::LinesMissing:
        return "lines-missing";
    }
    return "";
}

std::string completenessText(Completeness completeness, const std::string &why)
{
    const std::string tail = why.empty() ? "" : ": " + why;
    switch (completeness) {
    case Completeness::Whole:
        return "whole";
    case Completeness::StartsInside:
        return "the log starts inside this capture" + tail;
    case Completeness::EndsInside:
        return "the log ends inside this capture" + tail;
    case Completeness::LinesMissing:
        return "lines of this capture are missing from the log" + tail;
    }
    return "";
}

} // namespace zsl::outcome
