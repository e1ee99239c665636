// The virtual operations that this host has no use for. They return status::kNotSupported and touch nothing.
// A reader overrides those that it offers.
#include "host/media_file.h"
#include "plugin/status.h"

std::uint32_t CAMediaFile::Open(const char* /*path*/, std::uint32_t /*flags*/, std::uint32_t /*share*/,
                                _SECURITY_ATTRIBUTES* /*security*/, std::uint32_t /*disposition*/,
                                std::uint32_t /*attributes*/, std::uint32_t /*templateFile*/) {
    return status::kNotSupported;
}

std::uint32_t CAMediaFile::Close() {
    return status::kNotSupported;
}

std::uint32_t CAMediaFile::SetMode(MEDIACMD* /*command*/) {
    return status::kNotSupported;
}

std::uint32_t CAMediaFile::GetActive() {
    return status::kNotSupported;
}

std::uint32_t CAMediaFile::SetActive(int /*active*/, int /*mode*/) {
    return status::kNotSupported;
}

std::uint32_t CAMediaFile::WriteUnc(std::uint32_t /*frame*/, std::uint32_t /*frameCount*/,
                                    std::uint32_t /*channel*/, std::uint32_t /*request*/, DFRAME* /*dframe*/,
                                    _OVERLAPPED* /*overlapped*/, std::uint32_t /*option*/) {
    return status::kNotSupported;
}

std::uint32_t CAMediaFile::ReadUnc(std::uint32_t /*frame*/, std::uint32_t /*frameCount*/,
                                   std::uint32_t /*channel*/, std::uint32_t /*request*/, DFRAME* /*dframe*/,
                                   _OVERLAPPED* /*overlapped*/, std::uint32_t /*option*/) {
    return status::kNotSupported;
}

std::uint32_t CAMediaFile::Write(std::uint32_t /*frame*/, std::uint32_t /*frameCount*/,
                                 std::uint32_t /*channel*/, std::uint32_t /*request*/, DFRAME* /*dframe*/,
                                 _OVERLAPPED* /*overlapped*/) {
    return status::kNotSupported;
}

std::uint32_t CAMediaFile::Read(std::uint32_t /*frame*/, std::uint32_t /*frameCount*/,
                                std::uint32_t /*channel*/, std::uint32_t /*request*/, DFRAME* /*dframe*/,
                                _OVERLAPPED* /*overlapped*/) {
    return status::kNotSupported;
}

std::uint32_t CAMediaFile::GetOverlappedResult(_OVERLAPPED* /*overlapped*/, std::uint32_t* /*bytes*/,
                                               int /*wait*/) {
    return status::kNotSupported;
}

std::uint32_t CAMediaFile::GetOverlappedResult(long long /*handle*/, _OVERLAPPED* /*overlapped*/,
                                               std::uint32_t* /*bytes*/, int /*wait*/) {
    return status::kNotSupported;
}

std::uint32_t CAMediaFile::Status(std::uint32_t /*item*/, std::uint32_t /*option*/) {
    return status::kNotSupported;
}

std::uint32_t CAMediaFile::Length() {
    return status::kNotSupported;
}

std::uint32_t CAMediaFile::FindKeyFrame(std::uint32_t /*frame*/, std::uint32_t /*channel*/,
                                        std::uint32_t /*request*/, std::uint32_t /*option*/) {
    return status::kNotSupported;
}

std::uint32_t CAMediaFile::Rename(const char* /*path*/, std::uint32_t /*option*/) {
    return status::kNotSupported;
}

std::uint32_t CAMediaFile::Move(const char* /*path*/, std::uint32_t /*option*/) {
    return status::kNotSupported;
}

std::uint32_t CAMediaFile::Copy(const char* /*path*/, std::uint32_t /*option*/) {
    return status::kNotSupported;
}

std::uint32_t CAMediaFile::Alias(const char* /*path*/, std::uint32_t /*option*/) {
    return status::kNotSupported;
}

std::uint32_t CAMediaFile::Delete(std::uint32_t /*option*/) {
    return status::kNotSupported;
}

std::uint32_t CAMediaFile::GetCodecs(std::uint32_t /*kind*/, std::uint32_t /*index*/, char* /*name*/,
                                     char* /*description*/, std::uint32_t* /*code*/,
                                     std::uint32_t* /*flags*/) {
    return status::kNotSupported;
}

std::uint32_t CAMediaFile::GetCodecOptions(std::uint32_t /*kind*/, std::uint32_t /*index*/,
                                           std::uint32_t /*option*/, std::uint32_t* /*word1*/,
                                           std::uint32_t* /*word2*/, std::uint32_t* /*word3*/, char* /*name*/,
                                           char* /*description*/, std::uint32_t* /*flags*/) {
    return status::kNotSupported;
}

std::uint32_t CAMediaFile::SetCodecOption(std::uint32_t /*kind*/, std::uint32_t /*index*/,
                                          std::uint32_t /*option*/, std::uint32_t /*value*/,
                                          CODEC_DESCRIPTION* /*description*/) {
    return status::kNotSupported;
}

std::uint32_t CAMediaFile::GetItem(std::uint32_t /*item*/) {
    return status::kNotSupported;
}

std::uint32_t CAMediaFile::GetAudItem(std::uint32_t /*item*/, std::uint32_t /*channel*/) {
    return status::kNotSupported;
}

std::uint32_t CAMediaFile::SetItem(std::uint32_t /*item*/, std::uint32_t /*value*/) {
    return status::kNotSupported;
}

std::uint32_t CAMediaFile::SetGraphicItem(std::uint32_t /*item*/, std::uint32_t /*value*/,
                                          std::uint32_t /*option*/) {
    return status::kNotSupported;
}

std::uint32_t CAMediaFile::SetAudioItem(std::uint32_t /*item*/, std::uint32_t /*value*/,
                                        std::uint32_t /*channel*/, std::uint32_t /*option*/) {
    return status::kNotSupported;
}

std::uint32_t CAMediaFile::InstanceData(void* /*data*/) {
    return status::kNotSupported;
}

std::uint32_t CAMediaFile::forbid() {
    return status::kNotSupported;
}

std::uint32_t CAMediaFile::permit() {
    return status::kNotSupported;
}

std::uint32_t CAMediaFile::GetPreferredAudType() {
    return status::kNotSupported;
}

std::uint32_t CAMediaFile::SepAudOpen(const char* /*path*/, std::uint32_t /*flags*/, std::uint32_t /*share*/,
                                      _SECURITY_ATTRIBUTES* /*security*/, std::uint32_t /*disposition*/,
                                      std::uint32_t /*attributes*/, std::uint32_t /*templateFile*/) {
    return status::kNotSupported;
}

std::uint32_t CAMediaFile::SepAudClose() {
    return status::kNotSupported;
}

std::uint32_t CAMediaFile::SepAudChannels(std::uint32_t* /*audio*/, std::uint32_t* /*video*/,
                                          std::uint32_t* /*info*/) {
    return status::kNotSupported;
}

std::uint32_t CAMediaFile::SepAudGetFileInfo(std::uint32_t /*mask*/, QMXSYSTEM* /*system*/,
                                             QMXVIDEO* /*video*/, QMXAUDIO* /*audio*/, QMXINFO* /*info*/) {
    return status::kNotSupported;
}

std::uint32_t CAMediaFile::SepAudSetFileInfo(std::uint32_t /*mask*/, QMXSYSTEM* /*system*/,
                                             QMXVIDEO* /*video*/, QMXAUDIO* /*audio*/, QMXINFO* /*info*/) {
    return status::kNotSupported;
}

std::uint32_t CAMediaFile::SepAudGetSysInfo(std::uint32_t /*mask*/, QMXSYSTEM* /*system*/,
                                            QMXVIDEO* /*video*/, QMXAUDIO* /*audio*/, QMXINFO* /*info*/) {
    return status::kNotSupported;
}

std::uint32_t CAMediaFile::SepAudSetSysInfo(std::uint32_t /*mask*/, QMXSYSTEM* /*system*/,
                                            QMXVIDEO* /*video*/, QMXAUDIO* /*audio*/, QMXINFO* /*info*/) {
    return status::kNotSupported;
}

std::uint32_t CAMediaFile::SepAudSetMode(MEDIACMD* /*command*/) {
    return status::kNotSupported;
}

std::uint32_t CAMediaFile::SepAudSetActive(int /*active*/, int /*mode*/) {
    return status::kNotSupported;
}

std::uint32_t CAMediaFile::SepAudWriteUnc(std::uint32_t /*frame*/, std::uint32_t /*frameCount*/,
                                          std::uint32_t /*channel*/, std::uint32_t /*request*/,
                                          DFRAME* /*dframe*/, _OVERLAPPED* /*overlapped*/,
                                          std::uint32_t /*option*/) {
    return status::kNotSupported;
}

std::uint32_t CAMediaFile::SepAudReadUnc(std::uint32_t /*frame*/, std::uint32_t /*frameCount*/,
                                         std::uint32_t /*channel*/, std::uint32_t /*request*/,
                                         DFRAME* /*dframe*/, _OVERLAPPED* /*overlapped*/,
                                         std::uint32_t /*option*/) {
    return status::kNotSupported;
}

std::uint32_t CAMediaFile::SepAudWrite(std::uint32_t /*frame*/, std::uint32_t /*frameCount*/,
                                       std::uint32_t /*channel*/, std::uint32_t /*request*/,
                                       DFRAME* /*dframe*/, _OVERLAPPED* /*overlapped*/) {
    return status::kNotSupported;
}

std::uint32_t CAMediaFile::SepAudRead(std::uint32_t /*frame*/, std::uint32_t /*frameCount*/,
                                      std::uint32_t /*channel*/, std::uint32_t /*request*/,
                                      DFRAME* /*dframe*/, _OVERLAPPED* /*overlapped*/) {
    return status::kNotSupported;
}

std::uint32_t CAMediaFile::SepAudGetOverlappedResult(_OVERLAPPED* /*overlapped*/, std::uint32_t* /*bytes*/,
                                                     int /*wait*/) {
    return status::kNotSupported;
}

std::uint32_t CAMediaFile::SepAudStatus(std::uint32_t /*item*/, std::uint32_t /*option*/) {
    return status::kNotSupported;
}

std::uint32_t CAMediaFile::SepAudRename(const char* /*path*/, std::uint32_t /*option*/) {
    return status::kNotSupported;
}

std::uint32_t CAMediaFile::SepAudMove(const char* /*path*/, std::uint32_t /*option*/) {
    return status::kNotSupported;
}

std::uint32_t CAMediaFile::SepAudCopy(const char* /*path*/, std::uint32_t /*option*/) {
    return status::kNotSupported;
}

std::uint32_t CAMediaFile::SepAudAlias(const char* /*path*/, std::uint32_t /*option*/) {
    return status::kNotSupported;
}

std::uint32_t CAMediaFile::SepAudDelete(std::uint32_t /*option*/) {
    return status::kNotSupported;
}

std::uint32_t CAMediaFile::ccOpenFile(char* /*path*/, std::uint32_t /*option*/) {
    return status::kNotSupported;
}

std::uint32_t CAMediaFile::ccCreateFile(char* /*path*/, std::uint32_t /*option*/) {
    return status::kNotSupported;
}

std::uint32_t CAMediaFile::ccCloseFile() {
    return status::kNotSupported;
}

std::uint32_t CAMediaFile::ccReadFile(DFRAME* /*dframe*/) {
    return status::kNotSupported;
}

std::uint32_t CAMediaFile::ccWriteFile(DFRAME* /*dframe*/) {
    return status::kNotSupported;
}

std::uint32_t CAMediaFile::ccPluginCanWriteCC() {
    return status::kNotSupported;
}

std::uint32_t CAMediaFile::tcOpenFile(char* /*path*/, std::uint32_t /*option*/) {
    return status::kNotSupported;
}

std::uint32_t CAMediaFile::tcCreateFile(char* /*path*/, std::uint32_t /*option*/) {
    return status::kNotSupported;
}

std::uint32_t CAMediaFile::tcCloseFile() {
    return status::kNotSupported;
}

std::uint32_t CAMediaFile::tcReadFile(DFRAME* /*dframe*/) {
    return status::kNotSupported;
}

std::uint32_t CAMediaFile::tcWriteFile(DFRAME* /*dframe*/) {
    return status::kNotSupported;
}

std::uint32_t CAMediaFile::m_GetCodecPrivateData(QMXVIDEO** /*video*/, std::uint32_t* /*size*/) {
    return status::kNotSupported;
}

std::uint32_t CAMediaFile::m_SetCodecPrivateData(QMXVIDEO* /*video*/, std::uint32_t* /*size*/) {
    return status::kNotSupported;
}

std::uint32_t CAMediaFile::__Dump() { // the host's name
    return status::kNotSupported;
}
