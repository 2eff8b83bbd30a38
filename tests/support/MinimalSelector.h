#pragma once
/*
 * MinimalSelector: the smallest concrete selector, answering only what the
 * interface leaves pure. It keeps the interface's own preCheckFrame,
 * forEachZSLQ and sensor-mode check, for tests and the fuzzer to reach them.
 */

#include <ZSLSelectorBase.h>

namespace kotest {

class MinimalSelector : public kohal::ZSLSelectorBase {
public:
    bool isSelectorNeeded(const kohal::ZSLFrameSelectInfo &) override { return false; }
    std::pair<bool, bool> checkFrame(const kohal::ZSLFrameCheckInfo &) override { return {}; }
    kohal::ZSLSelection selectZSLFrames(const kohal::ZSLFrameSelectInfo &) override { return {}; }
};

} // namespace kotest
