#pragma once
/*
 * HtmlPage: one self-contained HTML file of every capture, for a ticket: a
 * summary, the capture table, and a view per capture (its explanation as
 * the text report words it, its timeline, its checks, and the plug-in's
 * lines with their file and line number). Style, script and data are
 * inside the page, nothing is fetched. The data is JSON in script elements
 * of their own, never markup: text from a log is shown as text by the
 * page's script. Captures are kept as compact JSON, not as sessions, and
 * the views are stored in chunks the page decodes only when one is opened;
 * a page of many captures holds its first rows before the script and the
 * others after it, so that it opens as fast as a small one. Large data is
 * gzip-compressed and base64-encoded, each full chunk of views on a thread
 * of its own while the next is filled.
 */

#include "outcome/Outcome.h"
#include "output/CaptureTable.h"
#include "output/FleetSummary.h"

#include <cstddef>
#include <deque>
#include <future>
#include <map>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace zsl::output {

class HtmlPage {
public:
    // Views per chunk; data blocks above kCompressAbove bytes are compressed.
    static constexpr size_t kChunk = 256;
    static constexpr size_t kCompressAbove = 32 * 1024;
    // The page's table shows up to kAllRowsAtOnce rows at once, else
    // kFirstRows at a time (as its script does).
    static constexpr size_t kAllRowsAtOnce = 1000, kFirstRows = 100;
    // Places in the plug-in's source ("file:line function()") given by
    // number in the views; any more are written out.
    static constexpr size_t kMaxPlaces = 4096;

    // A capture of the session being read, with its row and its lines of the
    // text report: kept as the page shows it (its row, its view compressed
    // with its chunk's), not as a step.
    void add(const outcome::SessionOutcome &session, const outcome::StepOutcome &step, const CaptureRow &row,
             std::string_view text);
    // The session is read whole: its header (what only the whole input
    // tells), kept once for all its captures.
    void endSession(const outcome::SessionOutcome &session);
    // The session could not be read whole: its captures are taken out again.
    void dropSession();
    // The page, with the summary of every capture added.
    void write(std::ostream &out, const FleetSummary &summary);

private:
    // A text's number in `texts`, added on first sight.
    static size_t intern(std::vector<std::string> &texts, std::map<std::string, size_t> &numbers,
                         const std::string &text);
    // A chunk of views: their JSON array, gzip-compressed when large.
    struct Chunk {
        std::string data;
        bool compressed = false;
    };
    // `views`: "[" and the chunk's views, each written as JSON, joined by
    // commas; closed (in place), and compressed when large.
    static Chunk chunkOf(std::string &views);
    // The oldest chunk being compressed, taken into mChunks; settle() takes
    // them all.
    void takeOldest();
    void settle();

    // Each capture's row as a JSON array, its texts that repeat from capture
    // to capture (input, device and build, what the log could not tell; and
    // in the views, each line's place in the plug-in's source, up to
    // kMaxPlaces of them) given by number: the page reads 16,000 rows at
    // once.
    // "[" and the rows joined by commas, each row's offset kept.
    std::string mRows;
    std::vector<size_t> mRowStarts;
    std::vector<std::string> mTexts;
    std::map<std::string, size_t> mTextNumbers;
    size_t mPlaces = 0; // places among the texts
    // Each session's header lines, as JSON; a view names its session by number.
    std::vector<std::string> mSessions;
    size_t mSessionFirstRow = 0; // the first row of the session being read
    // The views: each full chunk kept compressed at once, the last chunk's
    // views as JSON until the page is written ("[" and the views joined by
    // commas, each view's offset kept so that a dropped session can be cut
    // off).
    std::vector<Chunk> mChunks;
    // Chunks being compressed, oldest first: each one's views, read by its
    // task (declared first, so that the task is waited for before they go).
    // Up to kInFlight at once, so that filling the next chunk never waits
    // for one slower to compress; their buffers are used again
    // (mSpareViews), each allocated and grown once.
    struct Compressing {
        std::string views;
        std::future<Chunk> chunk;
    };
    static constexpr size_t kInFlight = 2;
    std::deque<Compressing> mCompressing;
    std::string mSpareViews;
    std::string mViews;
    std::vector<size_t> mViewStarts;
};

} // namespace zsl::output
