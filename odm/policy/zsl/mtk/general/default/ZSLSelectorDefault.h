#pragma once
/*
 * ZSLSelectorDefault: the selector this plug-in hands to the host.
 *
 * It answers, for every capture, whether ZSL applies (the request's
 * android.control.enableZsl), which buffered frames serve it (by shutter time
 * against a time window or a motion-capture anchor) and whether one buffered
 * frame may serve it (its metadata against the request's). Its configuration
 * comes from system properties, is read once at construction and never
 * changes; the selector keeps no other state.
 */

#include <ZSLSelectorExt.h>

#include <cstdint>

class ZSLSelectorDefault : public ZSLSelectorExt {
public:
    ZSLSelectorDefault();

    bool isSelectorNeeded(const kohal::ZSLFrameSelectInfo &info) override;
    std::pair<bool, bool> checkFrame(const kohal::ZSLFrameCheckInfo &info) override;
    kohal::ZSLSelection selectZSLFrames(const kohal::ZSLFrameSelectInfo &info) override;

private:
    int64_t mZSLTimeDiffMs = 0; // shutter-to-now window, default + project + user
};
