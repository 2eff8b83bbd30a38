// The host's tag table, one tag a line.

#include "commands/TagsCommand.h"

#include "commands/Usage.h"

#include <KoTagTable.h>

#include <cstdio>
#include <iostream>

namespace zsl::commands {

int runTags()
{
    static const char *const kTypes[] = {"byte", "int32", "float", "int64", "double", "rational"};
    for (const auto *table : {&KoTagTable::androidTags(), &KoTagTable::vendorTags()})
        for (const KoTagInfo &tag : *table) {
            char id[16];
            std::snprintf(id, sizeof(id), "0x%08x", tag.id);
            std::cout << id << "  " << (tag.type < 6 ? kTypes[tag.type] : "?") << "\t" << tag.name << "\n";
        }
    return kExitOk;
}

} // namespace zsl::commands
