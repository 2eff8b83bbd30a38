// zsl-replay-manpages DIR: writes zsl-replay's man pages into DIR, at build
// time, from the command line itself (commands/ManPage).

#include "commands/CommandLine.h"
#include "commands/ManPage.h"

#include <fstream>
#include <iostream>

int main(int argc, char **argv)
{
    if (argc != 2) {
        std::cerr << "usage: zsl-replay-manpages DIR\n";
        return 2;
    }
    zsl::commands::CommandLine line;
    for (const zsl::commands::ManPage &page : zsl::commands::manPages(line.app())) {
        const std::string path = std::string(argv[1]) + "/" + page.fileName;
        std::ofstream out(path, std::ios::binary);
        if (!(out << page.roff) || !(out.flush())) {
            std::cerr << "zsl-replay-manpages: cannot write " << path << "\n";
            return 2;
        }
    }
    return 0;
}
