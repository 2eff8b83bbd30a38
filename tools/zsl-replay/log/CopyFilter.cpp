// Lines held by several copies of one log, handed over once.

#include "log/CopyFilter.h"

#include <algorithm>

namespace zsl::log {

namespace {

// What makes two copies' lines the same line.
std::string key(const kohost::LogLine &line)
{
    // Milliseconds within the year: a copy in usec or with a year is the same line.
    constexpr int64_t kYearNs = int64_t(12 * 31) * 86400 * 1000000000;
    return std::to_string((line.timeNs % kYearNs) / 1000000) + ' ' + std::to_string(line.pid) + ' ' +
           std::to_string(line.tid) + ' ' + line.level + ' ' + line.fileName + ':' + std::to_string(line.line) + ' ' +
           line.function + ' ' + line.text;
}

} // namespace

void CopyFilter::endCopy()
{
    for (const auto &[text, count] : mThisCopy)
        mBefore[text] = std::max(mBefore[text], count);
    mThisCopy.clear();
}

bool CopyFilter::isNew(const kohost::LogLine &line)
{
    const std::string text = key(line);
    const unsigned count = ++mThisCopy[text];
    auto before = mBefore.find(text);
    return before == mBefore.end() || count > before->second;
}

} // namespace zsl::log
