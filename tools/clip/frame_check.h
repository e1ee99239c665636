// Checks whether a delivered frame is whole. A colour plane is whole when its codes end where its data ends.
// The reader cannot tell, because it decodes whatever bits there are.
#pragma once

#include "kinedec/plane_decoder.h"
#include "tools/clip/clip_file.h"
#include "tools/clip/mosaic.h"
#include "tools/clip/plane_padding.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

/// The results of decoding a frame's planes.
using PlaneResults = std::array<kinedec::PlaneResult, krwfile::plane::kCount>;

/// Every sample takes a bit or more. A plane with fewer is damaged. Decoding it would go on in zeros for as
/// many samples as the header states.
[[nodiscard]] constexpr bool canHoldSamples(std::uint64_t bytes, std::uint64_t samples) {
    return bytes * 8 >= samples;
}

/// Decodes the four planes of a frame, one after another, and stores no sample.
[[nodiscard]] PlaneResults checkPlanes(std::span<const kinedec::PlaneStream, krwfile::plane::kCount> planes,
                                       FrameSize size);

/// The padding of those planes that decode and end inside their data.
[[nodiscard]] std::vector<PlanePadding> planePaddings(const RecordHeader& header,
                                                      const PlaneResults& results);

/// Indices of the frames that a clip's padding is learned from: up to 16, spread over the clip. Those of them
/// teach nothing that have a plane which cannot hold its samples.
[[nodiscard]] std::vector<std::uint32_t> framesToLearnFrom(std::size_t frames);

/// The faults of a frame's planes in words: plane, row of the picture and byte, or the number of bytes behind
/// the codes. Empty when the planes are whole.
[[nodiscard]] std::string describePlanes(const RecordHeader& header, const PlaneResults& results,
                                         const ClipPadding& padding);

/// Checks the frames of one clip, by the clip's own file. Not thread-safe: each thread has its own.
class FrameCheck final {
  public:
    /// Throws std::runtime_error when the file cannot be opened or has no frame table.
    explicit FrameCheck(const std::string& path) : m_file(path), m_padding(std::make_shared<Padding>()) {}

    /// The reason why a delivered frame is damaged; empty for a whole frame. `brokeOff` is true when the
    /// decoder rejected a plane. The first frame with padding makes this read some other frames, to learn the
    /// padding of the clip.
    [[nodiscard]] std::string findDamage(std::uint32_t frame, const MosaicView& picture, bool brokeOff);

    /// The frame's header as the file has it; nothing when it cannot be read.
    [[nodiscard]] std::optional<RecordHeader> header(std::uint32_t frame) { return m_file.header(frame); }

    [[nodiscard]] ClipFile& file() { return m_file; }

  private:
    /// Learned once, by the first thread that needs it.
    struct Padding {
        std::once_flag learned;
        ClipPadding clip;
        std::atomic<std::uint32_t> mostUsual = 0; // of the clip, from then on
    };

    [[nodiscard]] const ClipPadding& padding();
    [[nodiscard]] bool allEndInTheirCodes(const RecordHeader& header, const MosaicView& picture);

    ClipFile m_file;
    std::shared_ptr<Padding> m_padding;
};
