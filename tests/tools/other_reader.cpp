// A plug-in whose reader object differs from its descriptions: after opening, its members have other values,
// and the mosaic has another filter pattern. It shows whether a host looks into the reader object instead of
// asking for the descriptions.

#include "krw/probe.h"
#include "plugin/cmfkrw.h"
#include "plugin/entry_points.h"

#include <cstring>

namespace {

class OtherReader final : public CMFKrw {
  public:
    using CMFKrw::CMFKrw;

    std::uint32_t Open(const char* path, std::uint32_t flags, std::uint32_t share,
                       _SECURITY_ATTRIBUTES* security, std::uint32_t disposition, std::uint32_t attributes,
                       std::uint32_t templateFile) override {
        const std::uint32_t result =
            CMFKrw::Open(path, flags, share, security, disposition, attributes, templateFile);
        m_audCadence = {};
        m_vid.biCompression = 0x67726762; // "bgrg"
        return result;
    }
};

} // namespace

const FormatDescriptor sarFormats[1] = {{
    .fileType = kKrwFileType,
    .zero = 0,
    .pattern = "*.krw",
    .shortDescription = "Other reader",
    .longDescription = nullptr,
    .capabilities = {},
    .reserved = {},
}};

std::uintptr_t xMediaFile(CAMediaFile* object, std::uint32_t code, void* /*record*/) {
    if (code == CAMediaFile::MFX_CREATE)
        return reinterpret_cast<std::uintptr_t>(static_cast<CAMediaFile*>(new OtherReader(0)));
    if (code == CAMediaFile::MFX_DESTROY) delete object;
    return 0;
}

std::uint32_t xCheckVersionAndFile(const char* path, std::uint32_t index, void* output) {
    if (path != nullptr) return mfPlugInCheckFile(path, index);
    if (index == kVersionQuery) return kInterfaceVersion;
    std::memcpy(output, &sarFormats[0], sizeof sarFormats[0]);
    return 0;
}

std::uint32_t xValidateFile() {
    return 0;
}
