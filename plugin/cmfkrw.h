// The reader object: one per open clip. When a clip opens, it fills the base class's records, so that the
// inherited queries describe the clip. It overrides what a read-only reader does itself. Open is in
// krw/open.cpp, Read in krw/read.cpp, SetFileInfo in metadata/set_file_info.cpp, the rest in
// plugin/cmfkrw.cpp.
#pragma once

#include "host/media_file.h"
#include "krw/format.h"

#include <cstdint>

class CMFKrw : public CAMediaFile {
  public:
    /// Makes a reader with nothing open and every description at its default.
    explicit CMFKrw(std::uint32_t value);
    ~CMFKrw() override;

    /// Opens a clip for reading. All arguments go to m_setOpen. Returns 0 or a status of plugin/status.h.
    /// After a failure, what Open acquired stays until Close.
    std::uint32_t Open(const char* path, std::uint32_t flags, std::uint32_t share,
                       _SECURITY_ATTRIBUTES* security, std::uint32_t disposition, std::uint32_t attributes,
                       std::uint32_t templateFile) override;
    /// Releases the information items and the frame table and ends the open. Does no harm when nothing is
    /// open. Returns 0.
    std::uint32_t Close() override;
    /// Applies new descriptions given by the host. A null record leaves the present description. Returns 0,
    /// or status::kOutOfMemory when a stream record could not be allocated.
    std::uint32_t SetFileInfo(std::uint32_t mask, QMXSYSTEM* system, QMXVIDEO* video, QMXAUDIO* audio,
                              QMXINFO* info) override;
    std::uint32_t SetSysInfo(std::uint32_t mask, QMXSYSTEM* system, QMXVIDEO* video, QMXAUDIO* audio,
                             QMXINFO* info) override;
    std::uint32_t SetMode(MEDIACMD* command) override;
    /// This reader never writes: always 0.
    std::uint32_t Write(std::uint32_t frame, std::uint32_t frameCount, std::uint32_t channel,
                        std::uint32_t request, DFRAME* dframe, _OVERLAPPED* overlapped) override;
    /// Delivers a frame into the buffer of `dframe`, answers a size query (`dframe` null) or gives a file
    /// reference (bit 27 of `request`). Bits 0 to 7 of `request`: 1 video, 0 audio, 4 secondary file. `frame`
    /// 0xFFFFFFFF reads the stream's current frame. Returns 0 or a status of plugin/status.h; a size query
    /// returns the bytes that a read needs. A read that fails leaves the picture buffer untouched.
    std::uint32_t Read(std::uint32_t frame, std::uint32_t frameCount, std::uint32_t channel,
                       std::uint32_t request, DFRAME* dframe, _OVERLAPPED* overlapped) override;
    /// Every read completes before it returns: always 1.
    std::uint32_t GetOverlappedResult(_OVERLAPPED* overlapped, std::uint32_t* bytes, int wait) override;
    using CAMediaFile::GetOverlappedResult;
    /// Frames in the clip.
    std::uint32_t Length() override;

    /// Copies `m_vid` to the first video stream's record and allocates the record if there is none. Without
    /// memory, logs a line and returns null.
    [[nodiscard]] StreamRecord* describeVideoStream();

    /// Derives `m_sys` from the current `m_vid` and `m_aud`.
    void deriveSystemRecord();

    std::uint8_t m_dngHeader[krwfile::kHeaderSize] = {}; // the first bytes of the clip
    std::uint64_t* m_frameTable = nullptr; // file offset of each frame's record; from malloc, owned
    std::int64_t m_frameBase = 0;          // start of the record that was read last
    std::int32_t m_danrawOffset = 0;       // of the DANRAW_HEADER inside every record

  private:
    // The stages of Open, in order.
    [[nodiscard]] std::uint32_t openHeader();
    [[nodiscard]] std::uint32_t openTable();
    [[nodiscard]] std::uint32_t openFirstRecord();
    [[nodiscard]] std::uint32_t describeStream();

    // The kinds of Read.
    [[nodiscard]] std::uint32_t readVideo(StreamRecord* stream, std::uint32_t frame, std::uint32_t frameCount,
                                          bool reference, DFRAME* dframe);
    [[nodiscard]] std::uint32_t readPicture(StreamRecord& stream, std::uint32_t frame,
                                            std::uint32_t frameCount, DFRAME& dframe);
    [[nodiscard]] std::uint32_t readAudio(const StreamRecord* stream, std::uint32_t channelMask,
                                          std::uint32_t frame, bool reference, DFRAME* dframe);
    [[nodiscard]] std::uint32_t readSecondaryFile(std::uint32_t fileNumber, std::uint32_t frame,
                                                  bool reference, DFRAME* dframe);

    // The parts of SetFileInfo.
    void applyInfo(const QMXINFO& info);
    [[nodiscard]] bool applyVideo(const QMXVIDEO& video);
    [[nodiscard]] bool addAudioChannels(std::uint32_t requested);
    [[nodiscard]] bool describeAudioPair(std::uint32_t pair);

    std::uint32_t m_frameTableLength = 0; // entries of m_frameTable; the host can overwrite dwLength
};
