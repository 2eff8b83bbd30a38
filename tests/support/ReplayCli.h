#pragma once
/*
 * Running the built zsl-replay as an engineer does, in tests: replay() runs
 * it with arguments (and an environment or a shell prefix) and answers its
 * exit status and both outputs; TempFile holds a test's input or output
 * file and removes it; count() tells how often an output holds a text.
 */

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

namespace kotest {

struct Outcome {
    int status = -1;
    std::string out;
    std::string err;
};

// A temporary file holding text, removed with the object.
class TempFile {
public:
    // `suffix`: the file name's end, for a tool that chooses by it (".json").
    explicit TempFile(const std::string &text = "", const std::string &suffix = "")
    {
        std::string path = "/tmp/zsl-replay-test-XXXXXX" + suffix;
        close(mkstemps(path.data(), static_cast<int>(suffix.size())));
        mPath = path;
        std::ofstream(mPath) << text;
    }
    ~TempFile() { unlink(mPath.c_str()); }
    const std::string &path() const { return mPath; }
    std::string text() const { return {std::istreambuf_iterator<char>(std::ifstream(mPath).rdbuf()), {}}; }

private:
    std::string mPath;
};

// Runs the tool: exit status, standard output and standard error.
inline Outcome replay(const std::string &args, const std::string &environment = "")
{
    TempFile err;
    Outcome run;
    std::string command = environment + " " + ZSL_REPLAY_COMMAND + " " + args + " 2>" + err.path();
    FILE *pipe = popen(command.c_str(), "r");
    char buffer[4096];
    for (size_t n; (n = fread(buffer, 1, sizeof(buffer), pipe)) > 0;)
        run.out.append(buffer, n);
    int status = pclose(pipe);
    run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    run.err = err.text();
    return run;
}

// How often `part` stands in `text` (overlapping ones counted too).
inline size_t count(const std::string &text, const std::string &part)
{
    size_t n = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
        ++n;
    return n;
}

} // namespace kotest
