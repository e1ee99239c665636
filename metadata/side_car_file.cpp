#include "metadata/side_car_file.h"

#include "host/files.h"
#include "krw/log.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <utility>

namespace {

constexpr std::size_t kChunk = std::size_t{8} * 1024; // most side-cars are smaller

/// A file open for reading, closed on every way out.
class InputFile {
  public:
    explicit InputFile(const char* path)
        : m_handle(pvOSCreateFile(path, kAccessRead, kShareRead, nullptr, kOpenExisting, 0, 0)) {}
    InputFile(const InputFile&) = delete;
    InputFile& operator=(const InputFile&) = delete;
    ~InputFile() {
        if (isOpen()) pvOSCloseFile(m_handle);
    }
    [[nodiscard]] bool isOpen() const { return m_handle != kInvalidHandle; }
    [[nodiscard]] bool read(char* buffer, std::uint32_t length, std::uint32_t& got) const {
        return pvOSReadFile(m_handle, buffer, length, &got, nullptr) != 0;
    }

  private:
    std::int64_t m_handle;
};

} // namespace

std::optional<SideCarBytes> readSideCar(const char* path) {
    const InputFile file(path);
    if (!file.isOpen()) return std::nullopt;
    // One byte beyond the limit tells whether the file is longer.
    constexpr std::size_t kMost = kMaxSideCarSize + 1;
    std::string bytes;
    while (bytes.size() < kMost) {
        const std::size_t start = bytes.size();
        const std::size_t wanted = std::min(kChunk, kMost - start);
        bytes.resize(start + wanted);
        std::uint32_t got = 0;
        if (!file.read(&bytes[start], static_cast<std::uint32_t>(wanted), got)) return std::nullopt;
        bytes.resize(start + got);
        if (got < wanted) break;
    }
    const bool complete = bytes.size() <= kMaxSideCarSize;
    bytes.resize(std::min(bytes.size(), kMaxSideCarSize));
    return SideCarBytes{std::move(bytes), complete};
}

void warnAboutSideCar(const char* path, const char* limit) {
    char message[kPathArea + 256];
    std::snprintf(message, sizeof message, "Side-car %s: %s\n", path, limit);
    logWarning(message);
}
