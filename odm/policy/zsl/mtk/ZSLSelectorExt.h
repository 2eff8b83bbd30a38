#pragma once
/*
 * ZSLSelectorExt: the platform layer between the host's abstract selector and
 * the concrete selectors. It adds no data; it only supplies the platform's
 * sensor-mode check, which compares the sensor mode a buffered frame was
 * produced in with the one the request asks for.
 */

#include <ZSLSelectorBase.h>
#include <ZSLSelectorLog.h>

class ZSLSelectorExt : public kohal::ZSLSelectorBase {
public:
    std::pair<bool, bool> checkDesiredSensorMode(const kohal::ZSLFrameCheckInfo &info) override;
};

inline std::pair<bool, bool> ZSLSelectorExt::checkDesiredSensorMode(const kohal::ZSLFrameCheckInfo &)
{
    // Placeholder until the platform sensor-mode check lands.
    return {true, true};
}
