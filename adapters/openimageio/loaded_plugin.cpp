#include "adapters/openimageio/loaded_plugin.h"

#include "tools/clip/plugin_messages.h"

#include <cstdlib>
#include <dlfcn.h>
#include <filesystem>
#include <stdexcept>
#include <string>

namespace {

std::filesystem::path adapterDirectory() {
    Dl_info adapter{};
    // Any address inside this library tells which file it was loaded from.
    static const int kInside = 0;
    if (dladdr(&kInside, &adapter) == 0 || adapter.dli_fname == nullptr)
        throw std::runtime_error("the adapter's own directory cannot be found; set KRW_PLUGIN");
    // Behind a symbolic link from a folder of OpenImageIO plug-ins lies the installation.
    return std::filesystem::canonical(adapter.dli_fname).parent_path();
}

std::shared_ptr<const Plugin> load() {
    const char* const named = std::getenv("KRW_PLUGIN");
    const bool isNamed = named != nullptr && *named != '\0';
    auto plugin = std::make_shared<const Plugin>(isNamed ? named : findPlugin(adapterDirectory()));
    // OpenImageIO gets messages as error strings. A reader of its own prints nothing.
    collectPluginMessages();
    return plugin;
}

} // namespace

std::shared_ptr<const Plugin> loadedPlugin() {
    // Initialised by one thread while others wait, and tried again after an exception.
    static const std::shared_ptr<const Plugin> plugin = load();
    return plugin;
}
