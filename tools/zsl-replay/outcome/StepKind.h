#pragma once
// The kinds of step a capture session is made of, shared by a trace and the
// account of what happened in it.

namespace zsl::outcome {

enum class StepKind {
    Capture, // isSelectorNeeded, then selectZSLFrames, then checkFrame per selected frame
    Select,  // selectZSLFrames alone
    Check,   // checkFrame alone
    Needed,  // isSelectorNeeded alone
};

inline const char *stepKindName(StepKind kind)
{
    switch (kind) {
    case StepKind::Capture:
        return "capture";
    case StepKind::Select:
        return "select";
    case StepKind::Check:
        return "check";
    case StepKind::Needed:
        return "needed";
    }
    return "";
}

} // namespace zsl::outcome
