#pragma once
/*
 * TagsCommand: `zsl-replay tags`: every metadata tag a trace may use, with
 * its id and type, from the host's own tag table.
 */

namespace zsl::commands {

int runTags();

} // namespace zsl::commands
