#pragma once
/*
 * WhatIfPage: one self-contained HTML page of a what-if: the change, the
 * summary, and each capture before and after, side by side, with the facts
 * the input does not ground and why. It fetches nothing and runs no script,
 * so it opens from a file or an e-mail; the captures that changed, or whose
 * change is not known, come unfolded.
 */

#include "whatif/Comparison.h"
#include "whatif/WhatIfReport.h"
#include "whatif/WhatIfSummary.h"

#include <string>
#include <vector>

namespace zsl::whatif {

class WhatIfPage {
public:
    void add(const Comparison &comparison);
    std::string html(const std::string &change, const WhatIfSummary &summary) const;

private:
    struct Capture {
        ComparisonView view;
        bool unfolded = false;
    };
    std::vector<Capture> mCaptures;
};

} // namespace zsl::whatif
