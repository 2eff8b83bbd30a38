#pragma once
// The captures zsl-replay replays when given no trace: the files of
// examples/, compiled in.

#include <vector>

namespace zsl::replay {

struct BuiltinTrace {
    const char *name; // examples/<file>
    const char *text;
};

const std::vector<BuiltinTrace> &builtinTraces();

} // namespace zsl::replay
