#pragma once
/*
 * CopyFilter: the stage that hands a line over once when a bug report holds
 * several copies of one log (dumpstate's two SYSTEM LOG sections, LAST
 * LOGCAT, logd's persistent files in a zip). Each copy is read between
 * startCopy() and endCopy(); a line is new when this copy holds it more
 * often than any copy before, so a line the plug-in really wrote twice in
 * one copy is kept twice.
 */

#include <LogRecorder.h>

#include <map>
#include <string>

namespace zsl::log {

class CopyFilter {
public:
    void startCopy() { mThisCopy.clear(); }
    void endCopy();
    bool isNew(const kohost::LogLine &line);

private:
    std::map<std::string, unsigned> mBefore, mThisCopy; // by the line's key: its count in each
};

} // namespace zsl::log
