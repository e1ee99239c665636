// Reading a side-car's bytes through the host's file functions.
#include "metadata/side_car_file.h"

#include "host/files.h"

#include <algorithm>
#include <cstdint>

namespace {

constexpr std::size_t kChunk = std::size_t{64} * 1024;

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

std::optional<std::string> readSideCar(const char* path, std::size_t limit) {
    const InputFile file(path);
    if (!file.isOpen()) return std::nullopt;
    std::string bytes;
    while (bytes.size() <= limit) {
        const std::size_t start = bytes.size();
        const std::size_t wanted = std::min(kChunk, limit + 1 - start);
        bytes.resize(start + wanted);
        std::uint32_t got = 0;
        if (!file.read(&bytes[start], static_cast<std::uint32_t>(wanted), got)) return std::nullopt;
        bytes.resize(start + got);
        if (got < wanted) break;
    }
    return bytes;
}
