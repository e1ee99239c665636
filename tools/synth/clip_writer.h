// The writer of KRW clips: one frame's record and the stored frame table in memory, and whole clips streamed
// to a file. tools/synth/plane_encoder.h codes the samples.
#pragma once

#include "tools/clip/mosaic.h"
#include "tools/export/output_file.h"
#include "tools/synth/plane_encoder.h"

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <utility>
#include <vector>

/// Timecode of a clip's first frame, counted without drop-frame.
struct StartTimecode {
    unsigned hours = 1;
    unsigned minutes = 0;
    unsigned seconds = 0;
    unsigned frames = 0;
};

/// The content of a clip beside its pictures. A text is at most as long as its field.
struct ClipDescription {
    float framesPerSecond = 25;
    StartTimecode start;
    unsigned shift = 0;                // the reader delivers coded samples << shift
    std::uint32_t blackLevel = 256;    // on the scale of the coded samples
    std::uint32_t whiteLevel = 4095;   // on the scale of the coded samples
    std::uint16_t compression = 9;     // 1, 9 or 10; the planes are coded with 9 and 10
    std::uint32_t danrawOffset = 2048; // place of the DANRAW_HEADER in every record
    std::uint32_t planePadding = 1;    // zeros fill each plane's data up to a multiple of this many bytes
    bool storedTable = true;           // false: no table, as after a camera lost its power

    std::uint32_t value24 = 1;
    std::int32_t cameraIndex = 1;
    std::int32_t scene = 1;
    std::int32_t take = 1;
    std::string manufacturer = "KRW synth";
    std::string modelName = "Drawn scene";
    std::string serialNo = "000001";
    std::string project = "Test clips";
    std::string directorName = "Nobody";
    std::string note = "Written by krw synth"; // up to 140 bytes
    std::string text304;
    std::string text368;
    std::string text772;
    std::string text856;
    std::string text884;
    std::string text1380;
    std::string text1416;
};

/// One colour plane as a record stores it.
struct CodedPlane {
    kinedec::CodeTable table;
    std::vector<std::uint8_t> data;
};

/// A mosaic's four coded planes.
struct CodedPicture {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::uint16_t largestSample = 0;
    std::array<CodedPlane, krwfile::plane::kCount> planes;
};

/// Converts a level of coded samples to delivered samples, at most 65535.
[[nodiscard]] std::uint32_t deliveredLevel(std::uint32_t level, unsigned shift);

/// Throws std::runtime_error unless a clip can have pictures of this size: positive, even, and a picture of
/// 16-bit samples smaller than 4 GiB.
void checkPictureSize(std::uint32_t width, std::uint32_t height);

/// Codes each plane with a table fitted to it. Throws std::runtime_error for a size that clips cannot have,
/// and when neighbouring samples of a plane differ by more than the coding allows.
[[nodiscard]] CodedPicture encodePicture(const Mosaic& mosaic);

/// Makes the record of frame number `frame`: a TIFF/DNG-style header, the DANRAW_HEADER, the planes. Readers
/// parse the TIFF/DNG-style header of the first record only. Throws std::runtime_error when a value of the
/// description does not fit its field, or a shifted sample does not fit 16 bits.
[[nodiscard]] std::vector<std::uint8_t> makeFrameRecord(const ClipDescription& description,
                                                        const CodedPicture& picture, std::uint64_t frame);

/// Writes a clip frame by frame. The file appears in `finish`; without `finish` nothing is left. All frames
/// have the size of the first. Every failure throws std::runtime_error, "PATH: reason".
class ClipWriter final {
  public:
    ClipWriter(const std::string& path, ClipDescription description, OutputOptions options = {});

    void append(const CodedPicture& picture);
    void finish();

    /// Bytes written so far.
    [[nodiscard]] std::uint64_t size() const { return m_end; }

  private:
    [[nodiscard]] std::vector<std::uint8_t> makeRecord(const CodedPicture& picture);

    ClipDescription m_description;
    OutputFile m_file;
    std::pair<std::uint32_t, std::uint32_t> m_size; // of the first frame and so of all: width, height
    std::vector<std::uint64_t> m_recordStarts;
    std::uint64_t m_end = 0;
};
