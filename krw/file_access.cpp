#include "krw/file_access.h"

#include "host/files.h"

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
