// A frame record in memory: the places of its coded planes, and their bytes.
#pragma once

#include "kinedec/picture_decoder.h"
#include "krw/byte_view.h"
#include "krw/format.h"
#include "krw/frame_record.h"
#include "plugin/status.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <span>

/// The coded planes of one frame. They are read in order; reading stops at the first plane that is misplaced
/// or cannot be read.
class CodedFrame {
  public:
    /// Takes the plane descriptors out of a DANRAW_HEADER. `pixels` is the number of the frame's pixels,
    /// `recordStart` the file offset of its record.
    CodedFrame(ByteView danraw, std::uint32_t pixels, std::uint64_t recordStart);

    /// Allocates one block for the bytes of all planes before the first misplaced one. False without memory.
    [[nodiscard]] bool allocate();

    struct Failure {
        const char* message = nullptr; // null: all four planes are there
        std::uint32_t code = status::kOk;
    };

    /// Reads the planes in order and says why reading stopped, if it did.
    [[nodiscard]] Failure read(std::int64_t handle);

    /// The planes that were read. Each is followed by the padding that the picture decoder wants.
    [[nodiscard]] std::span<const kinedec::PlaneStream> planes() const {
        return std::span(m_planes).first(m_planesRead);
    }

  private:
    struct FreeDeleter {
        void operator()(std::uint8_t* block) const { std::free(block); }
    };

    std::uint64_t m_recordStart;
    std::array<PlaneDescriptor, krwfile::plane::kCount> m_descriptors{};
    std::size_t m_wellPlaced = 0; // number of planes before the first misplaced one
    std::size_t m_planesRead = 0;
    std::unique_ptr<std::uint8_t, FreeDeleter> m_block;
    std::array<kinedec::PlaneStream, krwfile::plane::kCount> m_planes{};
};
