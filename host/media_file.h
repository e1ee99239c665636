// The host's media-file base class. Hosts call its virtual operations by slot, so their order is part of the
// interface. It is fixed here and never changes. A reader derives from the class, fills the embedded records
// when a clip opens, and overrides what it does itself. The base class answers everything else.
#pragma once

#include "host/files.h"
#include "host/info_records.h"
#include "plugin/records.h"

#include <cstdint>

class [[gnu::visibility("default")]] CAMediaFile {
  public:
    /// Command codes of MFXCmd and of a plug-in's xMediaFile.
    enum mfxfcn : std::uint32_t {
        MFX_CREATE = 0,
        MFX_INIT = 1,
        MFX_EXIT = 2,
        MFX_DESTROY = 0x7FFFFFFD,
        MFX_GETOPENFLAGS = 0x7FFFFFFE,
        MFX_GETNAME = 0x7FFFFFFF,
    };

    /// Entries of the stream-record arrays.
    static constexpr std::uint32_t kChannels = 64;

    /// `value` is the construction value that the host hands to a plug-in's creation call.
    explicit CAMediaFile(std::uint32_t value);
    CAMediaFile(const CAMediaFile&) = delete;
    CAMediaFile& operator=(const CAMediaFile&) = delete;

    // The virtual operations, in slot order. The destructor takes two slots (complete object, deleting).
    // Operations that this host has no use for return status::kNotSupported.
    virtual ~CAMediaFile();
    virtual std::uint32_t Open(const char* path, std::uint32_t flags, std::uint32_t share,
                               _SECURITY_ATTRIBUTES* security, std::uint32_t disposition,
                               std::uint32_t attributes, std::uint32_t templateFile);
    virtual std::uint32_t Close();
    virtual std::uint32_t Channels(std::uint32_t * audio, std::uint32_t * video, std::uint32_t * info);
    virtual std::uint32_t AudChan() {
        return m_audChan;
    }
    virtual std::uint32_t VidChan() {
        return m_vidChan;
    }
    virtual std::uint32_t InfChan() {
        return m_infChan;
    }
    virtual std::uint32_t GetFileInfo(std::uint32_t mask, QMXSYSTEM * system, QMXVIDEO * video,
                                      QMXAUDIO * audio, QMXINFO * info);
    virtual std::uint32_t SetFileInfo(std::uint32_t mask, QMXSYSTEM * system, QMXVIDEO * video,
                                      QMXAUDIO * audio, QMXINFO * info);
    virtual std::uint32_t GetSysInfo(std::uint32_t mask, QMXSYSTEM * system, QMXVIDEO * video,
                                     QMXAUDIO * audio, QMXINFO * info);
    virtual std::uint32_t SetSysInfo(std::uint32_t mask, QMXSYSTEM * system, QMXVIDEO * video,
                                     QMXAUDIO * audio, QMXINFO * info);
    virtual std::uint32_t SetMode(MEDIACMD * command);
    virtual std::uint32_t GetActive();
    virtual std::uint32_t SetActive(int active, int mode);
    virtual std::uint32_t WriteUnc(std::uint32_t frame, std::uint32_t frameCount, std::uint32_t channel,
                                   std::uint32_t request, DFRAME * dframe, _OVERLAPPED * overlapped,
                                   std::uint32_t option);
    virtual std::uint32_t ReadUnc(std::uint32_t frame, std::uint32_t frameCount, std::uint32_t channel,
                                  std::uint32_t request, DFRAME * dframe, _OVERLAPPED * overlapped,
                                  std::uint32_t option);
    virtual std::uint32_t Write(std::uint32_t frame, std::uint32_t frameCount, std::uint32_t channel,
                                std::uint32_t request, DFRAME * dframe, _OVERLAPPED * overlapped);
    virtual std::uint32_t Read(std::uint32_t frame, std::uint32_t frameCount, std::uint32_t channel,
                               std::uint32_t request, DFRAME * dframe, _OVERLAPPED * overlapped);
    virtual std::uint32_t GetOverlappedResult(_OVERLAPPED * overlapped, std::uint32_t * bytes, int wait);
    virtual std::uint32_t GetOverlappedResult(long long handle, _OVERLAPPED* overlapped, std::uint32_t* bytes,
                                              int wait);
    virtual std::uint32_t Status(std::uint32_t item, std::uint32_t option);
    virtual std::uint32_t Length();
    virtual std::uint32_t GetCurFrame();
    virtual std::uint32_t FindKeyFrame(std::uint32_t frame, std::uint32_t channel, std::uint32_t request,
                                       std::uint32_t option);
    virtual std::uint32_t OpenCopyFileInfo() {
        return qmxInfoSet(&m_infoCopy, &m_info);
    }
    virtual std::uint32_t Rename(const char* path, std::uint32_t option);
    virtual std::uint32_t Move(const char* path, std::uint32_t option);
    virtual std::uint32_t Copy(const char* path, std::uint32_t option);
    virtual std::uint32_t Alias(const char* path, std::uint32_t option);
    virtual std::uint32_t Delete(std::uint32_t option);
    virtual std::uint32_t GetCodecs(std::uint32_t kind, std::uint32_t index, char* name, char* description,
                                    std::uint32_t* code, std::uint32_t* flags);
    virtual std::uint32_t GetCodecOptions(std::uint32_t kind, std::uint32_t index, std::uint32_t option,
                                          std::uint32_t * word1, std::uint32_t * word2, std::uint32_t * word3,
                                          char* name, char* description, std::uint32_t* flags);
    virtual std::uint32_t SetCodecOption(std::uint32_t kind, std::uint32_t index, std::uint32_t option,
                                         std::uint32_t value, CODEC_DESCRIPTION * description);
    virtual std::uint32_t GetItem(std::uint32_t item);
    virtual std::uint32_t GetAudItem(std::uint32_t item, std::uint32_t channel);
    virtual std::uint32_t SetItem(std::uint32_t item, std::uint32_t value);
    virtual std::uint32_t SetGraphicItem(std::uint32_t item, std::uint32_t value, std::uint32_t option);
    virtual std::uint32_t SetAudioItem(std::uint32_t item, std::uint32_t value, std::uint32_t channel,
                                       std::uint32_t option);
    virtual std::uint32_t InstanceData(void* data);
    virtual std::uint32_t forbid();
    virtual std::uint32_t permit();
    virtual std::uint32_t MFXCmd(mfxfcn code, MFXCmdV1 * command);
    virtual std::uint32_t GetPreferredAudType();
    virtual std::uint32_t SepAudOpen(const char* path, std::uint32_t flags, std::uint32_t share,
                                     _SECURITY_ATTRIBUTES* security, std::uint32_t disposition,
                                     std::uint32_t attributes, std::uint32_t templateFile);
    virtual std::uint32_t SepAudClose();
    virtual std::uint32_t SepAudChannels(std::uint32_t * audio, std::uint32_t * video, std::uint32_t * info);
    virtual std::uint32_t SepAudGetFileInfo(std::uint32_t mask, QMXSYSTEM * system, QMXVIDEO * video,
                                            QMXAUDIO * audio, QMXINFO * info);
    virtual std::uint32_t SepAudSetFileInfo(std::uint32_t mask, QMXSYSTEM * system, QMXVIDEO * video,
                                            QMXAUDIO * audio, QMXINFO * info);
    virtual std::uint32_t SepAudGetSysInfo(std::uint32_t mask, QMXSYSTEM * system, QMXVIDEO * video,
                                           QMXAUDIO * audio, QMXINFO * info);
    virtual std::uint32_t SepAudSetSysInfo(std::uint32_t mask, QMXSYSTEM * system, QMXVIDEO * video,
                                           QMXAUDIO * audio, QMXINFO * info);
    virtual std::uint32_t SepAudSetMode(MEDIACMD * command);
    virtual std::uint32_t SepAudSetActive(int active, int mode);
    virtual std::uint32_t SepAudWriteUnc(std::uint32_t frame, std::uint32_t frameCount, std::uint32_t channel,
                                         std::uint32_t request, DFRAME * dframe, _OVERLAPPED * overlapped,
                                         std::uint32_t option);
    virtual std::uint32_t SepAudReadUnc(std::uint32_t frame, std::uint32_t frameCount, std::uint32_t channel,
                                        std::uint32_t request, DFRAME * dframe, _OVERLAPPED * overlapped,
                                        std::uint32_t option);
    virtual std::uint32_t SepAudWrite(std::uint32_t frame, std::uint32_t frameCount, std::uint32_t channel,
                                      std::uint32_t request, DFRAME * dframe, _OVERLAPPED * overlapped);
    virtual std::uint32_t SepAudRead(std::uint32_t frame, std::uint32_t frameCount, std::uint32_t channel,
                                     std::uint32_t request, DFRAME * dframe, _OVERLAPPED * overlapped);
    virtual std::uint32_t SepAudGetOverlappedResult(_OVERLAPPED * overlapped, std::uint32_t * bytes,
                                                    int wait);
    virtual std::uint32_t SepAudStatus(std::uint32_t item, std::uint32_t option);
    virtual std::uint32_t SepAudRename(const char* path, std::uint32_t option);
    virtual std::uint32_t SepAudMove(const char* path, std::uint32_t option);
    virtual std::uint32_t SepAudCopy(const char* path, std::uint32_t option);
    virtual std::uint32_t SepAudAlias(const char* path, std::uint32_t option);
    virtual std::uint32_t SepAudDelete(std::uint32_t option);
    virtual std::uint32_t ccOpenFile(char* path, std::uint32_t option);
    virtual std::uint32_t ccCreateFile(char* path, std::uint32_t option);
    virtual std::uint32_t ccCloseFile();
    virtual std::uint32_t ccReadFile(DFRAME * dframe);
    virtual std::uint32_t ccWriteFile(DFRAME * dframe);
    virtual std::uint32_t ccPluginCanWriteCC();
    virtual std::uint32_t tcOpenFile(char* path, std::uint32_t option);
    virtual std::uint32_t tcCreateFile(char* path, std::uint32_t option);
    virtual std::uint32_t tcCloseFile();
    virtual std::uint32_t tcReadFile(DFRAME * dframe);
    virtual std::uint32_t tcWriteFile(DFRAME * dframe);
    virtual std::uint32_t m_GetFileType() {
        return m_fileType;
    }
    virtual std::uint32_t m_GetfccCodec() {
        return m_vid.biCompression != 0 ? m_vid.biCompression : m_vid.stream.fccHandler;
    }
    virtual std::uint32_t m_GetOpenFlags() {
        return m_openFlags;
    }
    virtual std::uint32_t m_SetOpenFlags(std::uint32_t flags) {
        return m_openFlags = flags;
    }
    virtual std::uint32_t m_SetFileType(std::uint32_t fileType) {
        return m_fileType = fileType;
    }
    virtual std::uint32_t m_getFileType() {
        return m_fileType;
    }
    virtual std::int64_t m_GetHandle() {
        return m_hFile;
    }
    virtual std::uint32_t m_GetCodecPrivateData(QMXVIDEO * *video, std::uint32_t * size);
    virtual std::uint32_t m_SetCodecPrivateData(QMXVIDEO * video, std::uint32_t * size);
    virtual std::uint32_t __Dump(); // the host's name

    /// Stores path and open flags. An open that was never ended is ended first. A null path, or one that does
    /// not fit `m_fileName`, is stored empty, so that the open fails.
    void m_setOpen(const char* path, std::uint32_t flags, std::uint32_t share, _SECURITY_ATTRIBUTES* security,
                   std::uint32_t disposition, std::uint32_t attributes, std::uint32_t templateFile);

    /// True when the open flags ask for a file to be created or written.
    [[nodiscard]] bool m_fCreateFile() const;

    /// Ends the open: closes `m_hFile`, and forgets the path and what was published under it.
    void m_setClose();

    /// Returns a zero-filled stream record, or null when there is no memory. The object owns the record and
    /// releases it in its destructor, wherever the caller stores the pointer.
    [[nodiscard]] StreamRecord* m_AllocAStream();

    /// Number of files that belong to the clip beside its own; this host has none.
    [[nodiscard]] std::uint32_t m_totalSecondaryFiles() const;

    /// Path of the secondary file with that 0-based index, null when there is none. Owned by the object.
    [[nodiscard]] const char* m_getSecondaryFile(std::uint32_t index) const;

    /// Repairs an audio record that was copied from outside: limits the stated number of extension bytes to
    /// the record's room.
    void m_fixQMXStruct(QMXAUDIO * audio);

    // State that readers fill and the inherited operations report.
    char m_fileName[4096] = {};            // path of the open clip
    std::int64_t m_hFile = kInvalidHandle; // handle of the open clip
    std::uint32_t m_ioAlign = 4096;        // I/O size unit, bytes
    std::uint64_t m_fileParam = 0;         // handed on beside the path in file references
    struct AudioCadence {
        std::uint64_t word0;
        std::uint64_t word1;
        std::uint64_t m_audFrameDen; // m_audFrameNum / m_audFrameDen = audio samples per video frame
        std::uint64_t m_audFrameNum;
        std::uint64_t word4;
    } m_audCadence = {};
    std::uint32_t m_openFlags = 0;
    QMXSYSTEM m_sys = {};
    QMXVIDEO m_vid = {};
    QMXAUDIO m_aud = {};
    QMXINFO m_info = makeDefaultInfo();
    QMXINFO m_infoCopy = makeDefaultInfo();
    std::uint32_t m_vidChan = 0; // channel masks
    std::uint32_t m_audChan = 0;
    std::uint32_t m_infChan = 0;
    StreamRecord* m_vidStream[kChannels] = {}; // by channel; owned by this object
    StreamRecord* m_audStream[kChannels] = {};
    std::uint32_t m_fileType = 0;

  private:
    struct StreamBlock;
    StreamBlock* m_streamBlocks = nullptr; // every record that m_AllocAStream made
};

extern "C" {

/// Publishes the description of a media file that has just been opened. The host remembers path and object.
/// Returns 0, status::kMissingArgument when one of the two is missing, or status::kOutOfMemory.
[[gnu::visibility("default")]] std::uint32_t mfSetMediaInfo(const char* path, CAMediaFile* file);

/// The object last published under a path, null when there is none. Closed and destroyed objects are
/// forgotten.
[[gnu::visibility("default")]] CAMediaFile* mfGetMediaInfo(const char* path);
}
