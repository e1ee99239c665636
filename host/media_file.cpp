#include "host/media_file.h"

#include "host/memory.h"
#include "plugin/status.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <map>
#include <mutex>
#include <new>
#include <string>
#include <utility>

namespace {

/// Bit of the open flags that asks for write access. A file would have to be created.
constexpr std::uint32_t kOpenForWriting = kAccessWrite;

/// The objects published under their paths.
class Registry {
  public:
    void publish(const std::string& path, CAMediaFile* file) {
        const std::scoped_lock lock(m_mutex);
        m_files[path] = file;
    }

    [[nodiscard]] CAMediaFile* find(const std::string& path) {
        const std::scoped_lock lock(m_mutex);
        const auto found = m_files.find(path);
        return found != m_files.end() ? found->second : nullptr;
    }

    void forget(const CAMediaFile* file) {
        const std::scoped_lock lock(m_mutex);
        std::erase_if(m_files, [file](const auto& entry) { return entry.second == file; });
    }

  private:
    std::mutex m_mutex;
    std::map<std::string, CAMediaFile*> m_files;
};

Registry& registry() {
    // Constructed in place, because a constructor must not fail when memory runs out. Never destroyed,
    // because a media file may outlive every static object of this library.
    alignas(Registry) static unsigned char storage[sizeof(Registry)];
    static auto* const theRegistry = ::new (storage) Registry;
    return *theRegistry;
}

} // namespace

// The record comes first: its address is the block's.
struct CAMediaFile::StreamBlock {
    StreamRecord record;
    StreamBlock* next;
};

CAMediaFile::CAMediaFile(std::uint32_t /*value*/) {}

CAMediaFile::~CAMediaFile() {
    m_setClose();
    qmxInfoDelete(&m_info);
    qmxInfoDelete(&m_infoCopy);
    while (m_streamBlocks != nullptr)
        PVFree(std::exchange(m_streamBlocks, m_streamBlocks->next));
}

void CAMediaFile::m_setOpen(const char* path, std::uint32_t flags, std::uint32_t /*share*/,
                            _SECURITY_ATTRIBUTES* /*security*/, std::uint32_t /*disposition*/,
                            std::uint32_t /*attributes*/, std::uint32_t /*templateFile*/) {
    // Copied before the earlier open ends, because the path may be that open's own.
    char stored[sizeof m_fileName] = {};
    const std::size_t length = path != nullptr ? strnlen(path, sizeof stored) : 0;
    if (length < sizeof stored) pvOSCopyMemory(stored, path, length);
    m_setClose();
    std::memcpy(m_fileName, stored, sizeof stored);
    m_openFlags = flags;
}

bool CAMediaFile::m_fCreateFile() const {
    return (m_openFlags & kOpenForWriting) != 0;
}

void CAMediaFile::m_setClose() {
    registry().forget(this);
    if (m_hFile != kInvalidHandle) pvOSCloseFile(std::exchange(m_hFile, kInvalidHandle));
    m_fileName[0] = '\0';
}

StreamRecord* CAMediaFile::m_AllocAStream() {
    void* const memory = PVAlloc(sizeof(StreamBlock));
    if (memory == nullptr) return nullptr;
    m_streamBlocks = ::new (memory) StreamBlock{{}, m_streamBlocks};
    return &m_streamBlocks->record;
}

std::uint32_t CAMediaFile::m_totalSecondaryFiles() const {
    return 0;
}

const char* CAMediaFile::m_getSecondaryFile(std::uint32_t /*index*/) const {
    return nullptr;
}

void CAMediaFile::m_fixQMXStruct(QMXAUDIO* audio) {
    audio->cbSize = std::min<std::uint16_t>(audio->cbSize, sizeof audio->extension);
}

std::uint32_t CAMediaFile::Channels(std::uint32_t* audio, std::uint32_t* video, std::uint32_t* info) {
    if (audio != nullptr) *audio = m_audChan;
    if (video != nullptr) *video = m_vidChan;
    if (info != nullptr) *info = m_infChan;
    return status::kOk;
}

std::uint32_t CAMediaFile::GetFileInfo(std::uint32_t /*mask*/, QMXSYSTEM* system, QMXVIDEO* video,
                                       QMXAUDIO* audio, QMXINFO* info) {
    if (system != nullptr) *system = m_sys;
    if (video != nullptr) *video = m_vid;
    if (audio != nullptr) *audio = m_aud;
    return info != nullptr ? qmxInfoSet(info, &m_info) : status::kOk;
}

std::uint32_t CAMediaFile::SetFileInfo(std::uint32_t /*mask*/, QMXSYSTEM* system, QMXVIDEO* /*video*/,
                                       QMXAUDIO* /*audio*/, QMXINFO* /*info*/) {
    if (system != nullptr) m_sys = *system;
    return status::kOk;
}

std::uint32_t CAMediaFile::GetSysInfo(std::uint32_t mask, QMXSYSTEM* system, QMXVIDEO* video, QMXAUDIO* audio,
                                      QMXINFO* info) {
    return CAMediaFile::GetFileInfo(mask, system, video, audio, info);
}

std::uint32_t CAMediaFile::SetSysInfo(std::uint32_t mask, QMXSYSTEM* system, QMXVIDEO* video, QMXAUDIO* audio,
                                      QMXINFO* info) {
    return CAMediaFile::SetFileInfo(mask, system, video, audio, info);
}

std::uint32_t CAMediaFile::GetCurFrame() {
    return m_vidStream[0] != nullptr ? m_vidStream[0]->curFrame : 0;
}

std::uint32_t CAMediaFile::MFXCmd(mfxfcn code, MFXCmdV1* /*command*/) {
    return code == MFX_INIT || code == MFX_EXIT ? status::kOk : status::kNotSupported;
}

std::uint32_t mfSetMediaInfo(const char* path, CAMediaFile* file) {
    if (path == nullptr || file == nullptr) return status::kMissingArgument;
    try {
        registry().publish(path, file);
        return status::kOk;
    } catch (const std::exception&) {
        return status::kOutOfMemory;
    }
}

CAMediaFile* mfGetMediaInfo(const char* path) {
    try {
        return path != nullptr ? registry().find(path) : nullptr;
    } catch (const std::exception&) {
        return nullptr;
    }
}
