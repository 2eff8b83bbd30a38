#pragma once
/*
 * Side: one side of a comparison (the base, or a candidate): its name, the
 * inputs its rows came from, and its captures measured per device (or all
 * together, pooled). Rows are taken one at a time and not kept.
 */

#include "compare/Sample.h"
#include "output/CaptureTable.h"

#include <map>
#include <set>
#include <string>

namespace zsl::compare {

// The device key of pooled sides, and of rows without a bug report.
constexpr const char kAllDevices[] = "all devices";
constexpr const char kNoDevice[] = "(no bug report)";

class Side {
public:
    Side(std::string name, bool pooled) : mName(std::move(name)), mPooled(pooled) {}
    void add(const output::CaptureRow &row);

    const std::string &name() const { return mName; }
    const std::map<std::string, Sample> &devices() const { return mDevices; }
    const std::set<std::string> &inputs() const { return mInputs; }
    size_t captures() const;

private:
    std::string mName;
    bool mPooled;
    std::map<std::string, Sample> mDevices;
    std::set<std::string> mInputs;
};

} // namespace zsl::compare
