#include "tools/recover/findings.h"

#include "tools/clip/interrupt.h"
#include "tools/recover/record_checks.h"
#include "tools/recover/record_scan.h"

#include <algorithm>

namespace {

// No real source has more; one that does was made to fill the memory.
constexpr std::size_t kMostTrailers = 100'000;

} // namespace

bool Findings::isComplete() const {
    return !clips.empty() && std::ranges::all_of(clips, [](const ClipFindings& clip) {
        return clip.found.isComplete() && clip.frames.damaged.empty();
    });
}

Findings findClips(const Source& source, unsigned jobs,
                   const std::function<void(std::uint64_t done)>& progress) {
    Findings findings;
    std::vector<ScannedTrailer> trailers;
    {
        RecordChecks checks(source, jobs);
        ScanEvents events;
        events.header = [&checks](const ScannedHeader& header) { checks.add(header); };
        events.trailer = [&trailers](const ScannedTrailer& trailer) {
            if (trailers.size() < kMostTrailers) trailers.push_back(trailer);
        };
        events.progress = [&progress](std::uint64_t done) {
            interrupt::check();
            progress(done);
        };
        scanRecords(source, {0, source.size()}, events);
        findings.records = checks.finish();
    }
    for (FoundClip& clip : groupRecords(source, findings.records, trailers)) {
        interrupt::check();
        JudgedFrames frames = judgeFrames(source, findings.records, clip.records);
        findings.clips.push_back({std::move(clip), std::move(frames)});
    }
    return findings;
}
