#pragma once
/*
 * Options: what each subcommand was asked to do, as plain values. The
 * command line (CommandLine) fills them and knows their spelling; the
 * subcommands run from them and know nothing of how they were spelled, so
 * that a test or another front end can run a subcommand directly.
 */

#include <string>
#include <vector>

namespace zsl::commands {

// The outputs that replay and explain share.
struct OutputOptions {
    bool json = false;                     // the JSON report instead of the text one
    std::string svgPath;                   // each capture as a timeline
    std::string perfettoPath;              // FILE.json: the Trace Event Format; FILE.zip: an archive; else protobuf
    std::string htmlPath;                  // one self-contained page of every capture
    std::vector<std::string> deviceTraces; // the device's Perfetto traces, into the archive
};

struct ReplayOptions {
    std::vector<std::string> traces; // none: the built-in captures; "-": standard input
    std::string pluginPath;
    bool realClock = false;
    bool writeExpectations = false;
    std::string logcatPath; // the plug-in's Android-log lines, as logcat shows them
    std::string logcatFormat = "threadtime";
    bool withLog = false; // the plug-in's lines in the text report
    OutputOptions output;
};

struct ExplainOptions {
    std::vector<std::string> inputs; // files, folders, "-"
    unsigned jobs = 0;               // 0: the machine's cores
    bool follow = false;
    std::string tracesDir;
    std::string table; // FILE.csv, FILE.jsonl, csv:FILE, jsonl:FILE, csv:-, jsonl:-
    std::string summarySvgPath;
    std::string stdinName; // what standard input is called ("": "-")
    bool inFolder = false; // each INPUT as a folder's file: one without the plug-in's lines is passed over
    std::string statsPath; // the run's counts as JSON ("": said on standard error)
    OutputOptions output;
};

struct WhatIfOptions {
    std::vector<std::string> inputs; // traces and logs, told apart by content; none: the built-in captures
    std::vector<std::string> sets;   // NAME=VALUE
    std::string sweep;               // NAME=FROM:TO:STEP
    std::string sweepSvgPath;
    std::string pluginPath;
    bool json = false;
    std::string table;    // as explain's
    std::string htmlPath; // one page of every capture, both sides
};

struct SummarizeOptions {
    std::vector<std::string> tables; // capture tables, CSV or JSON Lines; "-": standard input
    bool json = false;
    std::string summarySvgPath;
};

struct CompareOptions {
    // Two sides given apart: capture tables, or anything explain reads.
    std::vector<std::string> base, candidate;
    // ... or the sides as the values of one column of these.
    std::vector<std::string> tables;
    std::string by;
    std::string baseValue; // "": the first value in sort order
    bool pool = false;     // every device together
    bool json = false;
    std::string htmlPath;
    std::vector<std::string> failOn; // NAME:LIMIT
    unsigned jobs = 1;               // logs explained at a time
};

} // namespace zsl::commands
