#include "tools/clip/plugin.h"

#include "plugin/status.h"

#include <array>
#include <dlfcn.h>
#include <filesystem>
#include <fmt/format.h>
#include <stdexcept>
#include <system_error>

namespace {

namespace fs = std::filesystem;

constexpr const char* kPluginName = "pvx_krw.so";

/// Places of an installed or freshly built plug-in, relative to the directory of a program or of an adapter.
constexpr std::array kPluginPlaces{".",
                                   "../plugins",
                                   "../lib/krw/plugins",
                                   "../lib64/krw/plugins",
                                   "../lib/x86_64-linux-gnu/krw/plugins",
                                   "../lib/aarch64-linux-gnu/krw/plugins"};

fs::path programDirectory() {
    std::error_code error;
    const fs::path program = fs::read_symlink("/proc/self/exe", error);
    if (error) throw std::runtime_error("the program's own directory cannot be found; set KRW_PLUGIN");
    return program.parent_path();
}

/// An entry point of the library. POSIX allows the cast from a pointer to a function.
template <class Function>
Function entryPoint(void* library, const char* name, const std::string& path) {
    void* const symbol = dlsym(library, name);
    if (symbol == nullptr)
        throw std::runtime_error(fmt::format("{}: not a reader plug-in (no {})", path, name));
    return reinterpret_cast<Function>(symbol);
}

} // namespace

std::string findPlugin(const fs::path& directory) {
    std::error_code error;
    for (const char* place : kPluginPlaces) {
        const fs::path candidate = (directory / place / kPluginName).lexically_normal();
        if (fs::exists(candidate, error)) return candidate.string();
    }
    throw std::runtime_error(fmt::format("no plug-in {} found in {} or in its ../lib/krw/plugins; set "
                                         "KRW_PLUGIN to its path",
                                         kPluginName, directory.string()));
}

void Plugin::Unloader::operator()(void* library) const {
    dlclose(library);
}

void Plugin::ReaderDeleter::operator()(CAMediaFile* reader) const {
    mediaFile(reader, CAMediaFile::MFX_DESTROY, nullptr);
}

Plugin::Plugin(const std::string& path) : m_path(path.empty() ? findPlugin(programDirectory()) : path) {
    // The system would search its library folders for a name without a slash.
    const std::string file = fs::absolute(m_path).string();
    m_library.reset(dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL));
    if (m_library == nullptr)
        throw std::runtime_error(fmt::format("{}: cannot be loaded: {}", m_path, dlerror()));
    m_mediaFile = entryPoint<XMediaFile>(m_library.get(), "xMediaFile", m_path);
    m_checkVersionAndFile = entryPoint<XCheckVersionAndFile>(m_library.get(), "xCheckVersionAndFile", m_path);
    const std::uint32_t version = m_checkVersionAndFile(nullptr, kVersionQuery, nullptr);
    if (version != kInterfaceVersion)
        throw std::runtime_error(fmt::format("{}: has plug-in interface version {}, expected {}", m_path,
                                             version, kInterfaceVersion));
}

std::uint32_t Plugin::check(const std::string& path) const {
    return m_checkVersionAndFile(path.c_str(), 0, nullptr);
}

Plugin::Reader Plugin::makeReader() const {
    MFXCmdV1 command{};
    const std::uintptr_t object = m_mediaFile(nullptr, CAMediaFile::MFX_CREATE, &command);
    // The entry point hands an object out as a number.
    auto* const reader = reinterpret_cast<CAMediaFile*>(object); // NOLINT(performance-no-int-to-ptr)
    if (reader == nullptr) throw std::runtime_error(fmt::format("{}: makes no reader object", m_path));
    return {reader, ReaderDeleter{m_mediaFile}};
}

FormatDescriptor Plugin::format() const {
    FormatDescriptor descriptor{};
    if (m_checkVersionAndFile(nullptr, 0, &descriptor) != status::kOk)
        throw std::runtime_error(fmt::format("{}: describes no format", m_path));
    return descriptor;
}
