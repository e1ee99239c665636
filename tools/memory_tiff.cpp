#include "tools/memory_tiff.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <mutex>

namespace {

using Storage = MemoryTiff::Storage;

Storage& storageOf(thandle_t handle) {
    return *static_cast<Storage*>(handle);
}

tmsize_t readStorage(thandle_t handle, void* data, tmsize_t size) {
    Storage& storage = storageOf(handle);
    if (storage.position >= storage.bytes.size()) return 0;
    const std::uint64_t count =
        std::min<std::uint64_t>(static_cast<std::uint64_t>(size), storage.bytes.size() - storage.position);
    std::copy_n(storage.bytes.begin() + static_cast<std::ptrdiff_t>(storage.position), count,
                static_cast<std::uint8_t*>(data));
    storage.position += count;
    return static_cast<tmsize_t>(count);
}

tmsize_t writeStorage(thandle_t handle, void* data, tmsize_t size) {
    Storage& storage = storageOf(handle);
    const auto* const from = static_cast<const std::uint8_t*>(data);
    const std::uint64_t end = storage.position + static_cast<std::uint64_t>(size);
    try {
        const std::uint64_t inside = std::min<std::uint64_t>(end, storage.bytes.size());
        const auto kept =
            static_cast<std::ptrdiff_t>(inside > storage.position ? inside - storage.position : 0);
        if (storage.position > storage.bytes.size()) storage.bytes.resize(storage.position);
        std::copy(from, from + kept, storage.bytes.begin() + static_cast<std::ptrdiff_t>(storage.position));
        storage.bytes.insert(storage.bytes.end(), from + kept, from + size);
    } catch (const std::exception&) {
        return 0; // no exception passes through libtiff; a short write is what it understands
    }
    storage.position = end;
    return size;
}

toff_t seekStorage(thandle_t handle, toff_t offset, int whence) {
    Storage& storage = storageOf(handle);
    if (whence == SEEK_CUR) offset += storage.position;
    if (whence == SEEK_END) offset += storage.bytes.size();
    return storage.position = offset;
}

int closeStorage(thandle_t /*handle*/) {
    return 0;
}

toff_t storageSize(thandle_t handle) {
    return storageOf(handle).bytes.size();
}

std::uint32_t wordAt(const std::vector<std::uint8_t>& bytes, std::size_t offset, std::size_t size) {
    std::uint32_t word = 0;
    for (std::size_t index = size; index-- > 0;)
        word = word << 8 | bytes.at(offset + index);
    return word;
}

/// Replaces the value of a tag whose value lies outside its entry (TIFF 6.0, section 2: 2-byte count, 12-byte
/// entries of tag, type, count and offset, all little-endian here).
void storeRational(std::vector<std::uint8_t>& bytes, std::uint32_t tag, std::int32_t numerator,
                   std::int32_t denominator) {
    const std::size_t directory = wordAt(bytes, 4, 4);
    const std::size_t entries = wordAt(bytes, directory, 2);
    for (std::size_t entry = directory + 2; entry < directory + 2 + 12 * entries; entry += 12) {
        if (wordAt(bytes, entry, 2) != tag) continue;
        const std::size_t value = wordAt(bytes, entry + 8, 4);
        for (std::size_t index = 0; index < 4; ++index) {
            bytes.at(value + index) = static_cast<std::uint8_t>(numerator >> (8 * index));
            bytes.at(value + 4 + index) = static_cast<std::uint8_t>(denominator >> (8 * index));
        }
    }
}

TIFFExtendProc outerExtender = nullptr;

void addCinemaTags(TIFF* tiff) {
    static char timeCodes[] = "TimeCodes";
    static char frameRate[] = "FrameRate";
    static char reelName[] = "ReelName";
    static const std::array<TIFFFieldInfo, 3> kTags{
        TIFFFieldInfo{kTagTimeCodes, TIFF_VARIABLE, TIFF_VARIABLE, TIFF_BYTE, FIELD_CUSTOM, 1, 1, timeCodes},
        TIFFFieldInfo{kTagFrameRate, 1, 1, TIFF_SRATIONAL, FIELD_CUSTOM, 1, 0, frameRate},
        TIFFFieldInfo{kTagReelName, TIFF_VARIABLE, TIFF_VARIABLE, TIFF_ASCII, FIELD_CUSTOM, 1, 0, reelName},
    };
    TIFFMergeFieldInfo(tiff, kTags.data(), static_cast<std::uint32_t>(kTags.size()));
    if (outerExtender != nullptr) outerExtender(tiff);
}

/// libtiff keeps these for the whole process.
void prepareLibrary() {
    static std::once_flag once;
    std::call_once(once, [] {
        TIFFSetErrorHandler(nullptr);
        TIFFSetWarningHandler(nullptr);
        outerExtender = TIFFSetTagExtender(addCinemaTags);
    });
}

} // namespace

MemoryTiff::MemoryTiff(std::size_t expectedSize) {
    prepareLibrary();
    m_storage.bytes.reserve(expectedSize);
    m_tiff.reset(TIFFClientOpen("memory", "w+l", &m_storage, readStorage, writeStorage, seekStorage,
                                closeStorage, storageSize, nullptr, nullptr));
    if (m_tiff == nullptr) throw std::runtime_error("no TIFF file can be begun");
}

void MemoryTiff::setRational(std::uint32_t tag, std::int32_t numerator, std::int32_t denominator) {
    set(tag, static_cast<double>(numerator) / denominator);
    m_rationals.push_back({tag, numerator, denominator});
}

std::vector<std::uint8_t> MemoryTiff::finish(std::span<const std::uint16_t> samples) {
    TIFF* const tiff = m_tiff.get();
    const auto size = static_cast<tmsize_t>(samples.size_bytes());
    // libtiff takes the data as changeable because it may swap bytes in place; in the machine's own order it
    // does not.
    auto* const data = const_cast<std::uint16_t*>(samples.data());
    const bool written = TIFFDeferStrileArrayWriting(tiff) == 1 && TIFFWriteCheck(tiff, 0, "krw") == 1 &&
                         TIFFWriteDirectory(tiff) == 1 && TIFFSetDirectory(tiff, 0) == 1 &&
                         TIFFWriteRawStrip(tiff, 0, data, size) == size &&
                         TIFFForceStrileArrayWriting(tiff) == 1;
    if (!written) throw std::runtime_error("the TIFF picture cannot be written");
    m_tiff.reset();
    for (const Rational& rational : m_rationals)
        storeRational(m_storage.bytes, rational.tag, rational.numerator, rational.denominator);
    return std::move(m_storage.bytes);
}

bool isWholeTiff(const std::string& path, std::uint32_t width, std::uint32_t height) {
    prepareLibrary();
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(path, error);
    if (error || size == 0) return false;
    const std::unique_ptr<TIFF, decltype(&TIFFClose)> tiff(TIFFOpen(path.c_str(), "rc"), TIFFClose);
    std::uint32_t columns = 0;
    std::uint32_t rows = 0;
    return tiff != nullptr && TIFFGetField(tiff.get(), TIFFTAG_IMAGEWIDTH, &columns) == 1 &&
           TIFFGetField(tiff.get(), TIFFTAG_IMAGELENGTH, &rows) == 1 && columns == width && rows == height &&
           TIFFGetStrileOffset(tiff.get(), 0) + TIFFGetStrileByteCount(tiff.get(), 0) <= size;
}
