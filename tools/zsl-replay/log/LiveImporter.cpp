// Captures handed over as soon as they are complete.

#include "log/LiveImporter.h"

#include "log/LineParser.h"
#include "messages/MessageLookup.h"
#include "messages/PluginMessages.h"

#include <algorithm>

namespace zsl::log {

using namespace zsl::outcome;
using namespace zsl::messages;

void LiveImporter::completeWhere(const std::function<bool(const Held &)> &isComplete)
{
    // In the order of their first lines, as a whole log would list them.
    std::vector<std::pair<uint64_t, std::pair<int, int>>> order;
    for (const auto &[key, held] : mHeld)
        if (!held.lines.empty() && isComplete(held))
            order.emplace_back(held.lines.front().second, key);
    std::sort(order.begin(), order.end());
    for (const auto &[first, key] : order) {
        complete(mHeld[key]);
        mHeld.erase(key);
    }
}

void LiveImporter::idle()
{
    completeWhere([](const Held &) { return true; });
}

void LiveImporter::complete(Held &held)
{
    LogImporter importer(mFile);
    const int pid = held.lines.front().first.pid;
    if (held.config)
        importer.add(kohost::LogLine(held.config->first), held.config->second);
    if (mDebugProcesses.count(pid))
        importer.assumeDebugLevel(pid);
    for (auto &[line, number] : held.lines)
        importer.add(std::move(line), number);
    SessionOutcome session = importer.finish();
    mDone(std::move(session), importer.warnings());
}

void LiveImporter::add(kohost::LogLine line, uint64_t lineNumber)
{
    if (line.message == kGapMarker) { // to every capture of its process still held
        for (auto &[key, held] : mHeld)
            if (line.pid == outcome::kUnknownId || key.first == line.pid)
                held.lines.emplace_back(line, lineNumber);
        return;
    }
    ++mLinesUsed;
    const PluginMessage *message = findPluginMessage(line.text);
    const MessageKind kind = message ? message->kind : MessageKind::Qualify;
    if ((message && message->level == 'D') || line.level == "D")
        mDebugProcesses.insert(line.pid);
    if (kind == MessageKind::Config) {
        mConfig[line.pid] = {std::move(line), lineNumber};
        return;
    }
    // Threads quiet for a second of the log's own time are done.
    if (line.timeNs > kQuietNs)
        completeWhere([&](const Held &held) { return held.lastTimeNs < line.timeNs - kQuietNs; });
    const std::pair<int, int> key{line.pid, line.tid};
    if (auto current = mHeld.find(key); current != mHeld.end()) {
        Held &held = current->second;
        const bool nextCall = kind == MessageKind::Needed
                                  ? !held.lines.empty()
                                  : kind == MessageKind::SelectStart && (held.selected || held.checked);
        if (nextCall) {
            complete(held);
            mHeld.erase(current);
        }
    }
    auto [at, began] = mHeld.try_emplace(key);
    Held &held = at->second;
    if (began)
        if (auto config = mConfig.find(line.pid); config != mConfig.end())
            held.config = config->second;
    held.selected = held.selected || kind == MessageKind::SelectStart || kind == MessageKind::Select;
    held.checked = held.checked ||
                   (kind != MessageKind::Needed && kind != MessageKind::SelectStart && kind != MessageKind::Select);
    held.lastTimeNs = std::max(held.lastTimeNs, line.timeNs);
    held.lines.emplace_back(std::move(line), lineNumber);
}

} // namespace zsl::log
