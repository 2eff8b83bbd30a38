#pragma once
/*
 * WhatIfPage: one self-contained HTML page of a what-if: the change and the
 * inputs it was tried on, the summary, and one table of every capture with
 * the same columns (each fact before and after, the frame checks, the frames
 * taken), with the facts the input does not ground and why. It fetches
 * nothing and runs no script, so it opens from a file or an e-mail.
 */

#include "whatif/Comparison.h"
#include "whatif/WhatIfReport.h"
#include "whatif/WhatIfSummary.h"

#include <string>
#include <utility>
#include <vector>

namespace zsl::whatif {

class WhatIfPage {
public:
    void add(const Comparison &comparison);
    std::string html(const std::string &change, const WhatIfSummary &summary) const;

private:
    struct Capture {
        ComparisonView view;
        std::string input, device;
    };
    std::vector<Capture> mCaptures;
    std::vector<std::pair<std::string, std::string>> mInputs; // each input once, with its bug report's device
};

} // namespace zsl::whatif
