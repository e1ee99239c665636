// Recovery from bytes of any origin. Every clip that comes out opens, and all its frames are whole.
#include "fuzz/fuzz_support.h"
#include "fuzz/memory_files.h"
#include "fuzz/memory_recovery.h"
#include "host/files.h"
#include "plugin/cmfkrw.h"
#include "tools/clip/frame_check.h"
#include "tools/recover/clip_rebuilder.h"
#include "tools/recover/findings.h"

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr std::uint32_t kVideoChannel = 1;

void requireWhole(const std::string& path, std::size_t frames) {
    CMFKrw reader(0);
    require(reader.Open(path.c_str(), kAccessRead, kShareRead, nullptr, kOpenExisting, 0, 0) == 0,
            "a clip opens");
    require(reader.Length() == frames, "a clip has the frames that were written");
    const auto width = static_cast<std::uint32_t>(reader.m_vid.biWidth);
    const auto height = static_cast<std::uint32_t>(reader.m_vid.biHeight);
    std::vector<std::uint16_t> samples(std::size_t{width} * height);
    DFRAME dframe{};
    dframe.recordSize = sizeof dframe;
    dframe.picture.buffer = samples.data();
    dframe.picture.bufferSize = static_cast<std::uint32_t>(2 * samples.size());
    FrameCheck check(path);
    for (std::uint32_t frame = 0; frame < frames; ++frame) {
        require(reader.Read(frame, 1, kVideoChannel, request::kVideo, &dframe, nullptr) == 0,
                "a frame is read");
        require(check.findDamage(frame, {width, height, samples}, true).empty(), "a frame is whole");
    }
    reader.Close();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    beQuiet();
    static MemoryFile file("source");
    static MemoryFile rebuilt("rebuilt.krw");
    file.assign({data, size});
    const Source source({file.path()});
    const auto ignore = [](std::uint64_t) {};
    const Findings findings = findClips(source, 1, ignore);
    for (const ClipFindings& clip : findings.clips)
        for (const bool keepDamaged : {true, false}) {
            const auto records = recordsToWrite(source, findings, clip, keepDamaged);
            if (records.empty()) continue;
            try {
                rebuildClip(source, findings, clip, records, rebuilt.path(), {Existing::replace}, ignore);
            } catch (const std::runtime_error& error) {
                require(std::string_view(error.what()).ends_with("no room for a file header"), error.what());
                continue;
            }
            if (keepDamaged) continue;
            rebuilt.assign(writtenByRecovery());
            requireWhole(rebuilt.path(), records.size());
        }
    (void)takeLog();
    return 0;
}
