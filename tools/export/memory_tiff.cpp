#include "tools/export/memory_tiff.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <exception>
#include <mutex>
#include <utility>

namespace {

using Storage = MemoryTiff::Storage;

Storage& storageOf(thandle_t handle) {
    return *static_cast<Storage*>(handle);
}

/// The buffer at the current position, head or tail, and the position in it.
std::pair<std::vector<std::uint8_t>&, std::uint64_t> placeOf(Storage& storage) {
    const std::uint64_t headEnd = storage.headEnd();
    if (storage.chunks.empty() || storage.position < headEnd) return {storage.head, storage.position};
    const std::uint64_t tailBegin = headEnd + storage.chunkBytes;
    if (storage.position < tailBegin) throw std::out_of_range("a chunk is not read back");
    return {storage.tail, storage.position - tailBegin};
}

tmsize_t readStorage(thandle_t handle, void* data, tmsize_t size) {
    Storage& storage = storageOf(handle);
    try {
        const auto [bytes, position] = placeOf(storage);
        if (position >= bytes.size()) return 0;
        const std::uint64_t count =
            std::min<std::uint64_t>(static_cast<std::uint64_t>(size), bytes.size() - position);
        std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(position), count,
                    static_cast<std::uint8_t*>(data));
        storage.position += count;
        return static_cast<tmsize_t>(count);
    } catch (const std::exception&) {
        return 0; // no exception passes through libtiff
    }
}

void storeChunk(Storage& storage, std::span<const std::uint8_t> chunk) {
    storage.head.resize(storage.headEnd());
    storage.chunks.push_back(chunk);
    storage.chunkBytes += chunk.size() + chunk.size() % 2;
}

tmsize_t writeStorage(thandle_t handle, void* data, tmsize_t size) {
    Storage& storage = storageOf(handle);
    const auto* const from = static_cast<const std::uint8_t*>(data);
    const auto count = static_cast<std::size_t>(size);
    try {
        if (data == storage.nextChunk) {
            storeChunk(storage, {from, count});
        } else {
            const auto [bytes, position] = placeOf(storage);
            if (bytes.size() < position + count) bytes.resize(position + count);
            std::copy_n(from, count, bytes.begin() + static_cast<std::ptrdiff_t>(position));
        }
    } catch (const std::exception&) {
        return 0; // no exception passes through libtiff; a short write tells it of a failure
    }
    storage.position += count;
    return size;
}

toff_t seekStorage(thandle_t handle, toff_t offset, int whence) {
    Storage& storage = storageOf(handle);
    if (whence == SEEK_CUR) offset += storage.position;
    if (whence == SEEK_END) offset += storage.size();
    return storage.position = offset;
}

int closeStorage(thandle_t /*handle*/) {
    return 0;
}

toff_t storageSize(thandle_t handle) {
    return storageOf(handle).size();
}

std::uint32_t wordAt(const std::vector<std::uint8_t>& bytes, std::size_t offset, std::size_t size) {
    std::uint32_t word = 0;
    for (std::size_t index = size; index-- > 0;)
        word = word << 8 | bytes.at(offset + index);
    return word;
}

/// Replaces the value of a tag whose value lies outside its entry (TIFF 6.0, section 2: 2-byte count, 12-byte
/// entries of tag, type, count and offset, all little-endian here).
void storeRational(std::vector<std::uint8_t>& bytes, std::size_t directory, std::uint32_t tag,
                   const Rational& rational) {
    const std::size_t entries = wordAt(bytes, directory, 2);
    for (std::size_t entry = directory + 2; entry < directory + 2 + 12 * entries; entry += 12) {
        if (wordAt(bytes, entry, 2) != tag) continue;
        const std::size_t value = wordAt(bytes, entry + 8, 4);
        for (std::size_t index = 0; index < 4; ++index) {
            bytes.at(value + index) = static_cast<std::uint8_t>(rational.numerator >> (8 * index));
            bytes.at(value + 4 + index) = static_cast<std::uint8_t>(rational.denominator >> (8 * index));
        }
    }
}

TIFFExtendProc outerExtender = nullptr;

void addCinemaTags(TIFF* tiff) {
    static char timeCodes[] = "TimeCodes";
    static char frameRate[] = "FrameRate";
    static char reelName[] = "ReelName";
    static char cameraLabel[] = "CameraLabel";
    static const std::array<TIFFFieldInfo, 4> kTags{
        TIFFFieldInfo{kTagTimeCodes, TIFF_VARIABLE, TIFF_VARIABLE, TIFF_BYTE, FIELD_CUSTOM, 1, 1, timeCodes},
        TIFFFieldInfo{kTagFrameRate, 1, 1, TIFF_SRATIONAL, FIELD_CUSTOM, 1, 0, frameRate},
        TIFFFieldInfo{kTagReelName, TIFF_VARIABLE, TIFF_VARIABLE, TIFF_ASCII, FIELD_CUSTOM, 1, 0, reelName},
        TIFFFieldInfo{kTagCameraLabel, TIFF_VARIABLE, TIFF_VARIABLE, TIFF_ASCII, FIELD_CUSTOM, 1, 0,
                      cameraLabel},
    };
    TIFFMergeFieldInfo(tiff, kTags.data(), static_cast<std::uint32_t>(kTags.size()));
    if (outerExtender != nullptr) outerExtender(tiff);
}

/// Sets what libtiff keeps for the whole process.
void prepareLibrary() {
    static std::once_flag once;
    std::call_once(once, [] {
        TIFFSetErrorHandler(nullptr);
        TIFFSetWarningHandler(nullptr);
        outerExtender = TIFFSetTagExtender(addCinemaTags);
    });
}

} // namespace

MemoryTiff::MemoryTiff() {
    prepareLibrary();
    m_tiff.reset(TIFFClientOpen("memory", "w+l", &m_storage, readStorage, writeStorage, seekStorage,
                                closeStorage, storageSize, nullptr, nullptr));
    if (m_tiff == nullptr) throw std::runtime_error("no TIFF file can be begun");
}

void MemoryTiff::setRational(std::uint32_t tag, const Rational& value) {
    set(tag, static_cast<double>(value.numerator) / value.denominator);
    m_rationals.push_back({tag, value});
}

void MemoryTiff::storeRationals(std::uint64_t directory) {
    for (const RationalTag& rational : m_rationals)
        storeRational(m_storage.head, directory, rational.tag, rational.value);
    m_rationals.clear();
}

void MemoryTiff::beginExif() {
    if (TIFFCreateEXIFDirectory(m_tiff.get()) != 0)
        throw std::runtime_error("no EXIF directory can be begun");
}

void MemoryTiff::endExif() {
    std::uint64_t offset = 0;
    const bool written = TIFFWriteCustomDirectory(m_tiff.get(), &offset) == 1;
    // libtiff keeps the values of a written EXIF directory, and would add the next one to them.
    TIFFFreeDirectory(m_tiff.get());
    if (!written || TIFFCreateDirectory(m_tiff.get()) != 0)
        throw std::runtime_error("the EXIF directory cannot be written");
    storeRationals(offset);
    set(TIFFTAG_EXIFIFD, offset);
}

void MemoryTiff::writeChunks(const std::vector<std::span<const std::uint8_t>>& chunks) {
    TIFF* const tiff = m_tiff.get();
    const auto write = TIFFIsTiled(tiff) != 0 ? TIFFWriteRawTile : TIFFWriteRawStrip;
    bool written = TIFFDeferStrileArrayWriting(tiff) == 1 &&
                   TIFFWriteCheck(tiff, TIFFIsTiled(tiff), "krw") == 1 && TIFFWriteDirectory(tiff) == 1 &&
                   TIFFSetDirectory(tiff, 0) == 1;
    for (std::uint32_t index = 0; index < chunks.size() && written; ++index) {
        // libtiff takes a pointer to changeable data, but changes it only to swap bytes.
        auto* const data = const_cast<std::uint8_t*>(chunks[index].data());
        const auto size = static_cast<tmsize_t>(chunks[index].size());
        m_storage.nextChunk = data;
        written = write(tiff, index, data, size) == size;
        m_storage.nextChunk = nullptr;
    }
    if (!written || TIFFForceStrileArrayWriting(tiff) != 1)
        throw std::runtime_error("the TIFF picture cannot be written");
}

EncodedFile MemoryTiff::finish(const std::vector<std::span<const std::uint8_t>>& chunks) {
    static constexpr std::array<std::uint8_t, 1> kFiller{};
    writeChunks(chunks);
    m_tiff.reset();
    storeRationals(wordAt(m_storage.head, 4, 4));
    EncodedFile file;
    file.append(std::move(m_storage.head));
    for (const auto& chunk : m_storage.chunks) {
        file.borrow(chunk);
        const bool isLast = &chunk == &m_storage.chunks.back() && m_storage.tail.empty();
        if (chunk.size() % 2 != 0 && !isLast) file.borrow(kFiller);
    }
    file.append(std::move(m_storage.tail));
    return file;
}
