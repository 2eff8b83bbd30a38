// The duplicate-key pass over a trace's text.

#include "replay/DuplicateKeys.h"

namespace zsl::replay {

bool DuplicateKeys::key(string_t &key)
{
    Open &object = mOpen.back();
    object.key = key;
    if (!object.keys.insert(key).second)
        throw TraceError(mFile, place(), "duplicate key \"" + key + "\": this object already has one");
    return true;
}

bool DuplicateKeys::open(bool array)
{
    mOpen.push_back({array, 0, "", {}});
    return true;
}

bool DuplicateKeys::close()
{
    mOpen.pop_back();
    return value();
}

bool DuplicateKeys::value()
{
    if (!mOpen.empty() && mOpen.back().array)
        ++mOpen.back().index;
    return true;
}

std::string DuplicateKeys::place() const
{
    std::string pointer;
    for (const Open &open : mOpen)
        pointer += "/" + (open.array ? std::to_string(open.index) : escapeKey(open.key));
    return pointer;
}

} // namespace zsl::replay
