// The report on a source: the clips that were found and those that were written, for people and for programs.
#pragma once

#include "tools/recover/clip_rebuilder.h"
#include "tools/recover/findings.h"

#include <span>
#include <string>
#include <vector>

/// A clip that was written.
struct WrittenClip {
    std::string path; // empty when it was not written
    std::size_t frames = 0;
    HeaderOrigin header = HeaderOrigin::ownRecord;
};

struct RecoveryReport {
    const Source& source;
    const Findings& findings;
    std::vector<WrittenClip> written; // one for each clip
};

/// A block of lines for each clip.
[[nodiscard]] std::string recoveryText(const RecoveryReport& report);

/// One line for each damaged frame and each place where frames are missing: "SOURCE: clip 1: ...".
[[nodiscard]] std::vector<std::string> recoveryProblems(const RecoveryReport& report);

/// "3 clips: 60 frames whole, 1 damaged, 2 missing"
[[nodiscard]] std::string recoverySummary(const RecoveryReport& report);

/// One JSON document, as docs/json.md describes it.
[[nodiscard]] std::string recoveryJson(const RecoveryReport& report);
