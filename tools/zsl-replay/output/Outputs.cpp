// The outputs asked for, fed session by session.

#include "Outputs.h"

#include "Report.h"

namespace replay {

Outputs::Outputs(std::ostream &out, OutputOptions options) : mOut(out), mOptions(std::move(options))
{
    if (mOptions.table)
        mTable.emplace(*mOptions.table, mOptions.tableFormat);
}

void Outputs::add(SessionOutcome session)
{
    if (mTable || mOptions.summary) {
        for (const CaptureRow &row : captureRows(session)) {
            if (mTable)
                mTable->write(row);
            mSummary.add(row);
        }
    }
    if (mOptions.table)
        mOptions.table->flush();
    if (mOptions.report) {
        if (!mOptions.json)
            writeText(mOut, session, mOptions.withLog), mOut << "\n";
        else if (mOptions.jsonLines)
            mOut << jsonText(toJson(session)) << "\n";
        else
            mTraces.push_back(toJson(session));
        mOut.flush();
    }
    if (mOptions.keepSessions)
        mSessions.push_back(std::move(session));
}

void Outputs::finish()
{
    const bool summary = mOptions.summary && mSummary.captures() > 1;
    if (!mOptions.report)
        return;
    if (mOptions.json && !mOptions.jsonLines) {
        nlohmann::json out = {{"traces", std::move(mTraces)}};
        // The plug-in by file name: the build's path would differ from machine to machine.
        if (!mOptions.plugin.empty())
            out["plugin"] = mOptions.plugin.substr(mOptions.plugin.rfind('/') + 1);
        if (summary)
            out["summary"] = mSummary.toJson();
        mOut << jsonText(out, 2) << "\n";
    } else if (mOptions.json && summary) {
        mOut << jsonText(nlohmann::json{{"summary", mSummary.toJson()}}) << "\n";
    } else if (summary) {
        mSummary.writeText(mOut);
    }
    mOut.flush();
}

} // namespace replay
