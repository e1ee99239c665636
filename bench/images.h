// The pictures that the benchmarks decode, coded once and kept in memory.
#pragma once

#include "kinedec/picture_decoder.h"
#include "tools/synth/clip_writer.h"

#include <array>
#include <cstdint>
#include <string>
#include <vector>

/// A mosaic and its coded planes. Neither copied nor moved: the streams point into it.
class BenchImage final {
  public:
    BenchImage(std::string imageName, Mosaic source);
    BenchImage(const BenchImage&) = delete;
    BenchImage& operator=(const BenchImage&) = delete;
    ~BenchImage() = default;

    const std::string name;
    const Mosaic mosaic;
    const CodedPicture coded;
    const double bitsPerSample;

    /// The planes as decoders take them, each followed by kPlanePadding zero bytes.
    [[nodiscard]] const std::array<kinedec::PlaneStream, 4>& streams() const { return m_streams; }
    [[nodiscard]] std::size_t samples() const { return mosaic.samples.size(); }

  private:
    std::array<std::vector<std::uint8_t>, 4> m_bytes;
    std::array<kinedec::PlaneStream, 4> m_streams{};
};
