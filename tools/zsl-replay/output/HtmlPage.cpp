// The self-contained page: data gathered per capture, then written into
// the page's template with its style and script.

#include "output/HtmlPage.h"

#include "outcome/FrameText.h"
#include "outcome/PluginLines.h"
#include "output/JsonWriter.h"
#include "output/Outputs.h"
#include "output/PageAssets.h"
#include "output/PageBlock.h"
#include "output/Report.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <random>
#include <set>
#include <sstream>

namespace zsl::output {

using namespace zsl::outcome;

namespace {

constexpr const char kNonceMark[] = "@NONCE@";

std::vector<std::string> textLines(const std::string &text)
{
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);)
        lines.push_back(line);
    return lines;
}

// What the timeline of a selection draws: the metadata queue's frames, the
// consumer list's, and the frames selected and taken, with their time from
// the capture moment, null where the log lacks it. Its keys in the JSON
// library's order (sorted); null when no selection ran.
void writeTimeline(JsonWriter &json, const SessionOutcome &session, const StepOutcome &step)
{
    if (!step.selectRan) {
        json.null();
        return;
    }
    const bool momentKnown = step.momentKnown && (!session.fromLog || step.curTime);
    std::vector<uint32_t> frames;
    std::set<uint32_t> seen;
    auto addFrames = [&](const std::vector<uint32_t> &list) {
        for (uint32_t frame : list)
            if (seen.insert(frame).second)
                frames.push_back(frame);
    };
    for (const QueueView &queue : step.queues)
        if (queue.type == 1)
            addFrames(queue.held);
    addFrames(step.consumer);
    addFrames(step.selectedFrames);
    for (const auto &entry : step.selection)
        addFrames(entry.second);
    addFrames(step.taken);
    auto ms = [&](int64_t ns) { return (static_cast<double>(ns) - static_cast<double>(step.captureNs)) / 1e6; };
    auto list = [&](const std::vector<uint32_t> &values) {
        json.beginArray();
        for (uint32_t value : values)
            json.number(uint64_t{value});
        json.endArray();
    };
    json.beginObject().key("anchor");
    step.anchorFrame ? json.number(uint64_t{*step.anchorFrame}) : json.null();
    json.key("frames").beginArray();
    for (uint32_t frame : frames) {
        const auto shutter = step.shutterNs.find(frame);
        json.beginArray().number(uint64_t{frame});
        if (momentKnown && shutter != step.shutterNs.end())
            json.number(ms(shutter->second));
        else
            json.null();
        json.endArray();
    }
    json.endArray().key("momentKnown").boolean(momentKnown).key("selected");
    if (step.selectionUnknown.empty() && !step.selectedFrames.empty()) {
        list(step.selectedFrames);
    } else {
        json.beginArray();
        if (step.selectionUnknown.empty())
            for (const auto &entry : step.selection)
                for (uint32_t frame : entry.second)
                    json.number(uint64_t{frame});
        json.endArray();
    }
    json.key("taken");
    step.takenUnknown.empty() ? list(step.taken) : void(json.null());
    json.key("zsdMs");
    if (step.zsdTs && momentKnown)
        json.number(ms(*step.zsdTs));
    else
        json.null();
    json.endObject();
}

// A capture's view, appended to `out`, with its lines of the text report
// (`words`); its session's header is kept apart, once (`sessionNumber`), and
// each line's place in the plug-in's source ("file:line function()") is
// written by `writePlace`. Written in place: a view is made for every
// capture.
template <typename WritePlace> void writeView(std::string &out, const SessionOutcome &session, const StepOutcome &step,
                                              std::string_view words, size_t sessionNumber, WritePlace writePlace)
{
    JsonWriter json(out);
    json.beginObject().key("checks").beginArray();
    for (const CheckOutcome &check : step.checks) {
        const bool known = check.unknown.empty();
        json.beginArray()
            .number(uint64_t{check.frame})
            .string(!known                ? "unknown"
                    : check.verdict.first ? "accepted"
                                          : "refused")
            .string(!known ? check.unknown : check.explanation)
            .endArray();
    }
    json.endArray().key("lines").beginArray();
    std::string place;
    for (const kohost::LogLine &line : step.log) {
        place.clear();
        if (!line.fileName.empty())
            place.append(line.fileName)
                .append(":")
                .append(std::to_string(line.line))
                .append(" ")
                .append(line.function)
                .append("()");
        json.beginArray().number(line.logLine).string(line.timeText).string(line.level);
        writePlace(json, place);
        json.string(line.text).endArray();
    }
    json.endArray().key("session").number(uint64_t{sessionNumber}).key("text").beginArray();
    for (size_t at = 0; at < words.size();) {
        const size_t end = std::min(words.find('\n', at), words.size());
        json.string(words.substr(at, end - at));
        at = end + 1;
    }
    json.endArray().key("timeline");
    writeTimeline(json, session, step);
    json.endObject();
}

// A block of JSON, compressed when large.
void writeBlock(std::ostream &out, const std::string &id, std::string_view json)
{
    if (json.size() > HtmlPage::kCompressAbove)
        writePageBlock(out, id, gzip(json), true);
    else
        writePageBlock(out, id, json, false);
}

std::string joined(const std::vector<std::string> &items)
{
    std::string out = "[";
    for (size_t i = 0; i < items.size(); ++i)
        out += (i > 0 ? "," : "") + items[i];
    return out + "]";
}

} // namespace

void HtmlPage::add(const SessionOutcome &session, const StepOutcome &step, const CaptureRow &row, std::string_view text)
{
    auto textNumber = [&](const std::string &value) { return uint64_t{intern(mTexts, mTextNumbers, value)}; };
    std::string unknown;
    for (const std::string &note : row.unknown)
        unknown += (unknown.empty() ? "" : " | ") + note;
    const auto [least, most] = std::minmax_element(row.takenLagsMs.begin(), row.takenLagsMs.end());
    // The order the page's script reads (page/script/1-base.js, expandRow).
    mRows += mRowStarts.empty() ? '[' : ',';
    mRowStarts.push_back(mRows.size());
    JsonWriter out(mRows);
    auto count = [&](const std::optional<size_t> &value) { value ? out.number(uint64_t{*value}) : out.null(); };
    auto lag = [&](auto at) { at == row.takenLagsMs.end() ? out.null() : out.number(*at); };
    out.beginArray().number(textNumber(row.input)).number(textNumber(row.device)).number(textNumber(row.build));
    out.string(row.logTime.empty() ? row.reportTime : row.logTime).number(uint64_t{row.fwkFrame}).string(row.kind);
    row.zslNeeded ? out.boolean(*row.zslNeeded) : out.null();
    row.anchorFrame ? out.number(uint64_t{*row.anchorFrame}) : out.null();
    count(row.selected);
    count(row.requested);
    count(row.taken);
    out.string(frameText(row.takenFrames, "")).number(uint64_t{row.refusedFrames}).beginArray();
    for (const char *kind : kRefusalClasses)
        out.number(uint64_t{row.refused.count(kind) ? row.refused.at(kind) : 0});
    out.endArray().number(textNumber(unknown));
    lag(least);
    lag(most);
    out.number(uint64_t{row.takenLagUnknown}).string(row.answer).endArray();
    mViews += mViewStarts.empty() ? '[' : ',';
    mViewStarts.push_back(mViews.size());
    // A place is given by its number among the texts: a few dozen places
    // make a sixth of the views' bytes. Past kMaxPlaces of them (a log of
    // many builds, or made up) the others are written out, so that the
    // texts never grow with the log.
    auto writePlace = [&](JsonWriter &json, const std::string &place) {
        const auto known = mTextNumbers.find(place);
        if (known != mTextNumbers.end()) {
            json.number(uint64_t{known->second});
        } else if (mPlaces < kMaxPlaces) {
            ++mPlaces;
            json.number(textNumber(place));
        } else {
            json.string(place);
        }
    };
    writeView(mViews, session, step, text, mSessions.size(), writePlace);
    if (mViewStarts.size() == kChunk) {
        // Compressed on a thread of its own while the next chunk is filled.
        if (mCompressing.size() == kInFlight)
            takeOldest();
        Compressing &next = mCompressing.emplace_back();
        next.views.swap(mViews);
        mViews.swap(mSpareViews);
        mViews.clear();
        mViewStarts.clear();
        next.chunk = std::async(std::launch::async, [&views = next.views] { return chunkOf(views); });
    }
}

void HtmlPage::takeOldest()
{
    Compressing &oldest = mCompressing.front();
    mChunks.push_back(oldest.chunk.get());
    mSpareViews = std::move(oldest.views);
    mCompressing.pop_front();
}

void HtmlPage::settle()
{
    while (!mCompressing.empty())
        takeOldest();
}

void HtmlPage::endSession(const SessionOutcome &session)
{
    settle();
    std::ostringstream header;
    writeSessionHeader(header, session);
    mSessions.push_back(jsonText(nlohmann::json(textLines(header.str()))));
    mSessionFirstRow = mRowStarts.size();
}

void HtmlPage::dropSession()
{
    settle();
    const size_t keep = mSessionFirstRow;
    if (keep < mRowStarts.size()) {
        mRows.resize(mRowStarts[keep] - 1); // with the bracket or comma before it
        mRowStarts.resize(keep);
    }
    // The chunk the session began in is read back, and cut where it began.
    const size_t whole = keep / kChunk;
    if (mChunks.size() > whole) {
        const Chunk &cut = mChunks[whole];
        const nlohmann::json views = nlohmann::json::parse(cut.compressed ? gunzip(cut.data) : cut.data);
        mViews.clear();
        mViewStarts.clear();
        for (size_t i = 0; i < keep % kChunk; ++i) {
            mViews += i == 0 ? '[' : ',';
            mViewStarts.push_back(mViews.size());
            mViews += jsonText(views.at(i));
        }
        mChunks.resize(whole);
    } else {
        const size_t views = keep - whole * kChunk;
        // The bracket or comma before the first view dropped goes with it.
        if (views < mViewStarts.size()) {
            mViews.resize(mViewStarts[views] - 1);
            mViewStarts.resize(views);
        }
    }
}

HtmlPage::Chunk HtmlPage::chunkOf(std::string &views)
{
    views += ']';
    if (views.size() > kCompressAbove)
        return {gzip(views), true};
    return {views, false};
}

size_t HtmlPage::intern(std::vector<std::string> &texts, std::map<std::string, size_t> &numbers,
                        const std::string &text)
{
    const auto [at, fresh] = numbers.try_emplace(text, texts.size());
    if (fresh)
        texts.push_back(text);
    return at->second;
}

void HtmlPage::write(std::ostream &out, const FleetSummary &summary)
{
    settle();
    std::ostringstream text;
    summary.writeText(text);
    nlohmann::json classes = nlohmann::json::array();
    for (const char *kind : kRefusalClasses)
        classes.push_back(kind);
    const FleetSummary::Histogram lags = summary.histogram(20);
    const nlohmann::json head = {{"summary", summary.toJson()},
                                 {"histogram", {{"low", lags.low}, {"high", lags.high}, {"counts", lags.counts}}},
                                 {"summaryText", textLines(text.str())},
                                 {"reasonClasses", classes},
                                 {"texts", mTexts},
                                 {"sessions", nlohmann::json::parse(joined(mSessions))},
                                 {"captures", mRowStarts.size()},
                                 {"chunk", kChunk}};
    // A nonce of this page's own: text planted in a report cannot know it.
    std::random_device random;
    char nonce[33];
    std::snprintf(nonce, sizeof(nonce), "%08x%08x%08x%08x", random(), random(), random(), random());
    std::string page(pageTemplate());
    for (size_t at = page.find(kNonceMark); at != std::string::npos; at = page.find(kNonceMark, at))
        page.replace(at, std::strlen(kNonceMark), nonce);
    // The summary and the rows before the script, the views after it: the
    // first view is drawn while the views are still being read.
    const std::string dataMark = "<!--data-->", viewsMark = "<!--views-->";
    const size_t data = page.find(dataMark), views = page.find(viewsMark);
    const std::string_view layout(page);
    out << layout.substr(0, data);
    // The rows closed in place, not copied: at 160,000 captures they are some
    // 20 MB. A page of more rows than its table shows at once holds the first
    // page of them before the script and the others after it, so that the
    // first view is drawn before those are read.
    mRows += mRowStarts.empty() ? "[]" : "]";
    const std::string_view rows(mRows);
    const bool split = mRowStarts.size() > kAllRowsAtOnce;
    const size_t firstEnd = split ? mRowStarts[kFirstRows] - 1 : rows.size();
    writeBlock(out, "zsl-head", jsonText(head));
    writeBlock(out, "zsl-rows", split ? std::string(rows.substr(0, firstEnd)) + "]" : rows);
    out << layout.substr(data + dataMark.size(), views - data - dataMark.size());
    if (split) {
        mRows[firstEnd] = '['; // the comma before the rest's first row
        writeBlock(out, "zsl-rows-rest", rows.substr(firstEnd));
        mRows[firstEnd] = ',';
    }
    mRows.resize(mRows.size() - (mRowStarts.empty() ? 2 : 1));
    for (size_t chunk = 0; chunk < mChunks.size(); ++chunk)
        writePageBlock(out, "zsl-views-" + std::to_string(chunk), mChunks[chunk].data, mChunks[chunk].compressed);
    if (!mViewStarts.empty()) {
        std::string views = mViews;
        const Chunk last = chunkOf(views);
        writePageBlock(out, "zsl-views-" + std::to_string(mChunks.size()), last.data, last.compressed);
    }
    out << layout.substr(views + viewsMark.size());
}

} // namespace zsl::output
