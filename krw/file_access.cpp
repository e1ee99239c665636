#include "krw/file_access.h"

#include "host/files.h"

std::uint64_t fileSize(std::int64_t handle) {
    std::uint32_t high = 0;
    const std::uint32_t low = pvOSGetFileSize(handle, &high);
    return std::uint64_t{high} << 32 | low;
}

FileRead readFully(std::int64_t handle, std::span<std::uint8_t> buffer) {
    const auto length = static_cast<std::uint32_t>(buffer.size());
    std::uint32_t bytesRead = 0;
    if (pvOSReadFile(handle, buffer.data(), length, &bytesRead, nullptr) == 0) return FileRead::readFailed;
    return bytesRead < length ? FileRead::cutShort : FileRead::complete;
}

FileRead readFullyAt(std::int64_t handle, std::uint64_t offset, std::span<std::uint8_t> buffer) {
    if (pvOSSeek(handle, offset) == kSeekFailed) return FileRead::seekFailed;
    return readFully(handle, buffer);
}
