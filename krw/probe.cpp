#include "krw/probe.h"

#include "host/files.h"
#include "krw/file_header.h"
#include "krw/frame_table.h"
#include "krw/log.h"
#include "plugin/status.h"

#include <array>
#include <cstdlib>

namespace {

// A single picture is not a clip.
constexpr std::int32_t kFewestFrames = 2;

std::uint32_t reject(const HeaderFault& fault) {
    if (fault.probeWarns)
        logWarning(fault.probeMessage);
    else
        logError(fault.probeMessage);
    return fault.code;
}

std::uint32_t checkOpenFile(std::int64_t handle) {
    std::array<std::uint8_t, krwfile::kHeaderSize> header{};
    if (const HeaderFault* fault = readFileHeader(handle, header); fault != nullptr) return reject(*fault);
    const HeaderTags tags = readIfd(ByteView{header});
    if (!tags.compressionKnown) return reject(kUnknownCompression);
    const std::int32_t danrawOffset = tags.danrawOffset.value_or(0);
    if (danrawOffset <= 0) return reject(kNoDanrawHeader);
    std::int32_t frameCount = 0;
    std::uint64_t* table = krw2_get_frame_table(handle, &frameCount, danrawOffset);
    const bool readable = table != nullptr && frameCount >= kFewestFrames;
    std::free(table);
    return readable ? status::kOk : status::kNoFile;
}

} // namespace

std::uint32_t mfPlugInCheckFile(const char* path, std::uint32_t /*index*/) {
    if (path == nullptr || *path == '\0') return status::kOk;
    const std::int64_t handle = pvOSCreateFile(path, kAccessRead, kShareRead, nullptr, kOpenExisting, 0, 0);
    if (handle == kInvalidHandle) return status::kNoFile;
    const std::uint32_t verdict = checkOpenFile(handle);
    pvOSCloseFile(handle);
    return verdict;
}
