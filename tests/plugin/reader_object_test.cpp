// A reader object with nothing open: defaults, slot order, small operations.
#include "metadata/info_items.h"
#include "plugin/cmfkrw.h"

#include <array>
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <type_traits>

namespace {

static_assert(!std::is_final_v<CMFKrw>);
static_assert(std::is_polymorphic_v<CMFKrw>);

/// The slot of a virtual operation, computed from the offset that a pointer to member holds under the Itanium
/// C++ ABI. Some processors add 1 to the offset.
template <class Member>
std::size_t slotOf(Member member) {
    static_assert(std::is_member_function_pointer_v<Member>);
    std::ptrdiff_t parts[2];
    static_assert(sizeof parts == sizeof member);
    std::memcpy(parts, &member, sizeof parts);
    return static_cast<std::size_t>(parts[0]) / sizeof(void*);
}

template <class... Members>
std::array<std::size_t, sizeof...(Members)> slotsOf(Members... members) {
    return {slotOf(members)...};
}

/// Calls an operation by its slot, like a host that knows only the order of the slots.
template <class Result, class... Arguments>
Result callSlot(CAMediaFile& object, std::size_t slot, Arguments... arguments) {
    void* const* table = nullptr;
    std::memcpy(&table, static_cast<const void*>(&object), sizeof table);
    using Function = Result (*)(CAMediaFile*, Arguments...);
    return reinterpret_cast<Function>(table[slot])(&object, arguments...);
}

TEST(ReaderObject, SlotOrderIsTheHosts) {
    using C = CAMediaFile;
    using Result3 = std::uint32_t (C::*)(_OVERLAPPED*, std::uint32_t*, int);
    using Result4 = std::uint32_t (C::*)(long long, _OVERLAPPED*, std::uint32_t*, int);
    const auto slots = slotsOf(
        &C::Open, &C::Close, &C::Channels, &C::AudChan, &C::VidChan, &C::InfChan, &C::GetFileInfo,
        &C::SetFileInfo, &C::GetSysInfo, &C::SetSysInfo, &C::SetMode, &C::GetActive, &C::SetActive,
        &C::WriteUnc, &C::ReadUnc, &C::Write, &C::Read, static_cast<Result3>(&C::GetOverlappedResult),
        static_cast<Result4>(&C::GetOverlappedResult), &C::Status, &C::Length, &C::GetCurFrame,
        &C::FindKeyFrame, &C::OpenCopyFileInfo, &C::Rename, &C::Move, &C::Copy, &C::Alias, &C::Delete,
        &C::GetCodecs, &C::GetCodecOptions, &C::SetCodecOption, &C::GetItem, &C::GetAudItem, &C::SetItem,
        &C::SetGraphicItem, &C::SetAudioItem, &C::InstanceData, &C::forbid, &C::permit, &C::MFXCmd,
        &C::GetPreferredAudType, &C::SepAudOpen, &C::SepAudClose, &C::SepAudChannels, &C::SepAudGetFileInfo,
        &C::SepAudSetFileInfo, &C::SepAudGetSysInfo, &C::SepAudSetSysInfo, &C::SepAudSetMode,
        &C::SepAudSetActive, &C::SepAudWriteUnc, &C::SepAudReadUnc, &C::SepAudWrite, &C::SepAudRead,
        &C::SepAudGetOverlappedResult, &C::SepAudStatus, &C::SepAudRename, &C::SepAudMove, &C::SepAudCopy,
        &C::SepAudAlias, &C::SepAudDelete, &C::ccOpenFile, &C::ccCreateFile, &C::ccCloseFile, &C::ccReadFile,
        &C::ccWriteFile, &C::ccPluginCanWriteCC, &C::tcOpenFile, &C::tcCreateFile, &C::tcCloseFile,
        &C::tcReadFile, &C::tcWriteFile, &C::m_GetFileType, &C::m_GetfccCodec, &C::m_GetOpenFlags,
        &C::m_SetOpenFlags, &C::m_SetFileType, &C::m_getFileType, &C::m_GetHandle, &C::m_GetCodecPrivateData,
        &C::m_SetCodecPrivateData, &C::__Dump);
    std::size_t expected = 2; // the destructor takes the first two
    for (const std::size_t slot : slots)
        EXPECT_EQ(slot, expected++);
    EXPECT_EQ(expected, 85U);

    // The reader's own operations answer in the base class's slots.
    CMFKrw reader(0);
    reader.m_vid.stream.dwLength = 321;
    EXPECT_EQ(callSlot<std::uint32_t>(reader, 22), 321U) << "Length";
    EXPECT_EQ((callSlot<std::uint32_t, _OVERLAPPED*, std::uint32_t*, int>(reader, 19, nullptr, nullptr, 1)),
              1U);
    EXPECT_EQ(callSlot<std::uint32_t>(reader, 75), 141U) << "m_GetFileType";
    EXPECT_EQ(callSlot<std::uint32_t>(reader, 80), 141U) << "m_getFileType";
    EXPECT_EQ(callSlot<std::int64_t>(reader, 81), -1) << "m_GetHandle";
    EXPECT_EQ(callSlot<std::uint32_t>(reader, 3), 0U) << "Close";
}

TEST(ReaderObject, Defaults) {
    CMFKrw reader(0);
    const QMXVIDEO& video = reader.m_vid;
    EXPECT_EQ(video.biSize, 40U);
    EXPECT_EQ(video.biWidth, 720);
    EXPECT_EQ(video.biHeight, 480);
    EXPECT_EQ(video.biPlanes, 1);
    EXPECT_EQ(video.biBitCount, 24);
    EXPECT_EQ(video.biSizeImage, 1036800U);
    EXPECT_EQ(video.stream.fccType, fourCC('v', 'i', 'd', 's'));
    EXPECT_EQ(video.stream.dwScale, 1001U);
    EXPECT_EQ(video.stream.dwRate, 30000U);
    EXPECT_EQ(video.stream.dwSuggestedBufferSize, 1296000U);
    EXPECT_EQ(video.stream.dwQuality, 0xFFFFFFFFU);
    EXPECT_EQ(video.stream.rcFrame.right, 720);
    EXPECT_EQ(video.stream.rcFrame.bottom, 480);
    EXPECT_STREQ(video.stream.name, "Krw");
    EXPECT_EQ(video.rowBytes, 2160U);
    EXPECT_EQ(video.fileType, 141U);

    const QMXAUDIO& audio = reader.m_aud;
    EXPECT_EQ(audio.wFormatTag, 1);
    EXPECT_EQ(audio.nChannels, 0);
    EXPECT_EQ(audio.nSamplesPerSec, 48000U);
    EXPECT_EQ(audio.wBitsPerSample, 16);
    EXPECT_EQ(audio.stream.fccType, fourCC('a', 'u', 'd', 's'));
    EXPECT_EQ(audio.stream.fccHandler, fourCC('t', 'w', 'o', 's'));
    EXPECT_EQ(audio.stream.dwQuality, 0xFFFFFFFFU);
    EXPECT_STREQ(audio.stream.name, "Krw");
    EXPECT_EQ(audio.fileType, 141U);

    const QMXSYSTEM& system = reader.m_sys;
    EXPECT_EQ(system.fccFile, 7828043U);
    EXPECT_EQ(system.fileType, 141U);
    EXPECT_EQ(system.dwPaddingGranularity, 2048U);
    EXPECT_EQ(system.dwMicroSecPerFrame, 33366U);
    EXPECT_EQ(system.dwMaxBytesPerSec, 34594U);
    EXPECT_EQ(system.dwSuggestedBufferSize, 1296000U);
    EXPECT_EQ(system.dwWidth, 720U);
    EXPECT_EQ(system.dwHeight, 480U);

    for (char* text : reader.m_info.texts)
        EXPECT_EQ(text, nullptr);
    for (std::uint32_t item = 198; item < 250; ++item) {
        std::uint32_t expected = 0xFFFFFFFF;
        if (item == 198 || item == 199 || item == 201 || item == 204 || item == 205 || item == 249)
            expected = 0;
        if (item == 248) expected = 0x7FFFFFFF;
        EXPECT_EQ(reader.m_info[InfoNumber{item}], expected) << item;
    }
    EXPECT_EQ(reader.m_frameTable, nullptr);
    EXPECT_EQ(reader.m_frameBase, 0);
    EXPECT_EQ(reader.m_danrawOffset, 0);
    EXPECT_EQ(reader.Length(), 0U);
    EXPECT_EQ(reader.m_GetHandle(), -1);
    EXPECT_EQ(reader.m_GetfccCodec(), reader.m_vid.stream.fccHandler);
}

TEST(ReaderObject, SmallOperations) {
    CMFKrw reader(0);
    EXPECT_EQ(reader.Write(1, 2, 3, 4, nullptr, nullptr), 0U);
    EXPECT_EQ(reader.m_SetOpenFlags(77), 77U);
    EXPECT_EQ(reader.m_GetOpenFlags(), 77U);

    reader.m_vid.biWidth = 1920;
    reader.m_vid.biHeight = -1080;
    EXPECT_EQ(reader.SetSysInfo(0, nullptr, nullptr, nullptr, nullptr), 0U);
    EXPECT_EQ(reader.m_vid.biSizeImage, 1036800U) << "no video record, no change";
    QMXVIDEO other{};
    EXPECT_EQ(reader.SetSysInfo(0, nullptr, &other, nullptr, nullptr), 0U);
    EXPECT_EQ(reader.m_vid.biSizeImage, 8294400U) << "from the object's own size";

    char text[] = "reel";
    EXPECT_EQ(mfKrwSetInfoString(&reader.m_info[InfoText::reel], text, 4), 1);
    EXPECT_EQ(reader.OpenCopyFileInfo(), 0U);
    EXPECT_STREQ(reader.m_infoCopy[InfoText::reel], "reel");
    EXPECT_NE(reader.m_infoCopy[InfoText::reel], reader.m_info[InfoText::reel]);

    EXPECT_EQ(reader.Close(), 0U);
    EXPECT_EQ(reader.m_info[InfoText::reel], nullptr);
    EXPECT_EQ(reader.Close(), 0U);
}

} // namespace
