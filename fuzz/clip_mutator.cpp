// Mutations for inputs that are clips: besides libFuzzer's own ones, edits of named fields, so that inputs
// stay clips up to the field that is wrong.
#include "krw/byte_view.h"
#include "krw/format.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <random>
#include <span>

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t mostSize);
extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t mostSize,
                                               unsigned seed);

namespace {

namespace danraw = krwfile::danraw;
namespace plane = krwfile::plane;
namespace trailer = krwfile::trailer;

struct Field {
    std::uint64_t offset;
    std::size_t size; // bytes
};

constexpr std::array kHeaderFields{Field{0, 2}, Field{2, 4}, Field{4, 4},
                                   Field{krwfile::kEntryCountOffset, 2}};
constexpr std::array kEntryFields{Field{0, 2}, Field{krwfile::kEntryValueOffset, 4}};
constexpr std::array kDanrawFields{
    Field{danraw::kSignatureOffset, 4}, Field{danraw::kWidth, 4},        Field{danraw::kHeight, 4},
    Field{danraw::kFramesPerSecond, 4}, Field{danraw::kTimecode, 4},     Field{danraw::kCameraIndex, 4},
    Field{danraw::kRecordLength, 4},    Field{danraw::kRecordLength, 4},
};
constexpr std::array kPlaneFields{Field{plane::kDataOffset, 4}, Field{plane::kDataSize, 4},
                                  Field{plane::kShift, 4}};
constexpr std::array kTrailerFields{Field{trailer::kMagicOffset, 4}, Field{trailer::kFrameCount, 4},
                                    Field{trailer::kTableOffset, 8}};

class Editor {
  public:
    Editor(std::span<std::uint8_t> clip, unsigned seed) : m_clip(clip), m_random(seed) {}

    void edit() {
        const Field field = pick();
        if (!ByteView(m_clip).contains(field.offset, field.size)) return;
        const std::uint64_t number = value(field);
        for (std::size_t i = 0; i < field.size; ++i)
            m_clip[field.offset + i] = static_cast<std::uint8_t>(number >> (8 * i));
    }
    std::uint32_t below(std::uint32_t limit) { return static_cast<std::uint32_t>(m_random() % limit); }

  private:
    template <std::size_t kCount>
    Field oneOf(const std::array<Field, kCount>& fields, std::uint64_t start) {
        Field field = fields[below(kCount)];
        field.offset += start;
        return field;
    }

    Field pick() {
        switch (below(8)) {
        case 0:
            return oneOf(kHeaderFields, 0);
        case 1:
            return oneOf(kEntryFields, krwfile::kEntriesOffset +
                                           std::size_t{below(krwfile::kMaxEntries)} * krwfile::kEntrySize);
        case 2:
            return oneOf(kTrailerFields, trailerStart());
        case 3: {
            const std::uint64_t table = ByteView(m_clip).u64(trailerStart() + trailer::kTableOffset);
            return {table + std::size_t{below(4)} * trailer::kEntrySize, trailer::kEntrySize};
        }
        case 4:
        case 5:
            return oneOf(kDanrawFields, record() + danrawOffset());
        default:
            return planeField(record() + danrawOffset() + danraw::kPlanes +
                              std::size_t{below(plane::kCount)} * plane::kSize);
        }
    }

    Field planeField(std::uint64_t descriptor) {
        if (below(2) == 0) return oneOf(kPlaneFields, descriptor);
        return {descriptor + plane::kCodeLengths + 2 * std::size_t{below(2 * plane::kStoredCategories)}, 2};
    }

    [[nodiscard]] std::uint64_t trailerStart() const {
        return m_clip.empty() ? 0 : (m_clip.size() - 1) / trailer::kBlock * trailer::kBlock;
    }

    [[nodiscard]] std::uint32_t danrawOffset() const {
        const ByteView clip(m_clip);
        for (std::size_t i = 0; i < krwfile::kMaxEntries; ++i) {
            const std::size_t entry = krwfile::kEntriesOffset + i * krwfile::kEntrySize;
            if (clip.u16(entry) == krwfile::kTagDngPrivateData)
                return clip.u32(entry + krwfile::kEntryValueOffset);
        }
        return clip.u32(4); // where inputs of the frame-table target have it
    }

    /// Start of one of the first records of the chain.
    std::uint64_t record() {
        std::uint64_t start = 0;
        for (std::uint32_t steps = below(3); steps > 0; --steps)
            start += ByteView(m_clip).u32(start + danrawOffset() + danraw::kRecordLength);
        return start < m_clip.size() ? start : 0;
    }

    std::uint64_t value(Field field) {
        const ByteView clip(m_clip);
        const std::uint64_t old = field.size == 8   ? clip.u64(field.offset)
                                  : field.size == 4 ? clip.u32(field.offset)
                                                    : clip.u16(field.offset);
        const std::array<std::uint64_t, 14> values{0,
                                                   1,
                                                   ~std::uint64_t{0},
                                                   0x7FFFFFFF,
                                                   0x80000000,
                                                   0x7FFFFFFFFFFFFFFF,
                                                   m_clip.size(),
                                                   m_clip.size() - below(2000),
                                                   old + 1 + below(16),
                                                   old - 1 - below(16),
                                                   old ^ (1U << below(32)),
                                                   below(14),
                                                   2 * std::uint64_t{below(1000)},
                                                   below(0x7FFFFFFF)};
        return values[below(values.size())];
    }

    std::span<std::uint8_t> m_clip;
    std::minstd_rand m_random;
};

} // namespace

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t mostSize,
                                               unsigned seed) {
    Editor editor({data, size}, seed);
    if (size == 0 || editor.below(3) == 0) return LLVMFuzzerMutate(data, size, mostSize);
    for (std::uint32_t edits = 1 + editor.below(3); edits > 0; --edits)
        editor.edit();
    return size;
}
