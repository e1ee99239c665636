#include "plugin/entry_points.h"

#include "krw/probe.h"
#include "plugin/cmfkrw.h"
#include "plugin/status.h"

#include <cstring>
#include <iterator>
#include <new>

namespace {

constexpr char kDescription[] = "KRW - Corvel KRW Stream Reader";

/// -33 as the pointer-sized result.
constexpr auto kMissing = static_cast<std::uintptr_t>(
    static_cast<std::intptr_t>(static_cast<std::int32_t>(status::kMissingArgument)));

std::uintptr_t asResult(CAMediaFile* object) {
    return reinterpret_cast<std::uintptr_t>(object);
}

CAMediaFile* create(const void* record) {
    std::uint32_t value = 0;
    std::memcpy(&value, record, sizeof value);
    return new (std::nothrow) CMFKrw(value);
}

/// Sends the initialisation. An object that refuses it is shut down and destroyed, also when the caller
/// created it.
std::uintptr_t initialise(CAMediaFile* object, MFXCmdV1* command) {
    if (object->MFXCmd(CAMediaFile::MFX_INIT, command) == status::kOk) return asResult(object);
    MFXCmdV1 none{};
    object->MFXCmd(CAMediaFile::MFX_EXIT, &none);
    delete object;
    return 0;
}

std::uintptr_t openFlags(CAMediaFile* object, void* record) {
    if (object == nullptr || record == nullptr) return kMissing;
    const std::uint32_t flags = object->m_GetOpenFlags();
    std::memcpy(record, &flags, sizeof flags);
    return 0;
}

std::uintptr_t openPath(const CAMediaFile* object, void* record) {
    if (object == nullptr || record == nullptr) return kMissing;
    std::memcpy(record, object->m_fileName, std::strlen(object->m_fileName) + 1);
    return 0;
}

} // namespace

const FormatDescriptor sarFormats[1] = {{
    .fileType = kKrwFileType,
    .zero = 0,
    .pattern = "*.krw",
    .shortDescription = kDescription,
    .longDescription = kDescription,
    .capabilities = {0x00500021, 0xDC000000},
    .reserved = {},
}};

std::uintptr_t xMediaFile(CAMediaFile* object, std::uint32_t code, void* record) {
    if (object == nullptr && (code == CAMediaFile::MFX_CREATE || code == CAMediaFile::MFX_INIT)) {
        if (record == nullptr) return 0;
        object = create(record);
        if (object == nullptr || code == CAMediaFile::MFX_CREATE) return asResult(object);
    }
    if (code == CAMediaFile::MFX_GETOPENFLAGS) return openFlags(object, record);
    if (code == CAMediaFile::MFX_GETNAME) return openPath(object, record);
    if (object == nullptr) return 0;

    auto* command = static_cast<MFXCmdV1*>(record);
    switch (code) {
    case CAMediaFile::MFX_DESTROY:
        delete object;
        return 0;
    case CAMediaFile::MFX_INIT:
        return initialise(object, command);
    case CAMediaFile::MFX_EXIT:
        object->MFXCmd(CAMediaFile::MFX_EXIT, command);
        return 0;
    default:
        return object->MFXCmd(static_cast<CAMediaFile::mfxfcn>(code), command);
    }
}

std::uint32_t xCheckVersionAndFile(const char* path, std::uint32_t index, void* output) {
    if (path == nullptr && index == kVersionQuery) {
        const auto formats = static_cast<std::uint32_t>(std::size(sarFormats));
        if (output != nullptr) std::memcpy(output, &formats, sizeof formats);
        return kInterfaceVersion;
    }
    if (path == nullptr && output != nullptr) {
        if (index >= std::size(sarFormats)) return status::kUnknownFormat;
        std::memcpy(output, &sarFormats[index], sizeof sarFormats[index]);
        return status::kOk;
    }
    return mfPlugInCheckFile(path, index);
}

std::uint32_t xValidateFile() {
    return 0;
}
