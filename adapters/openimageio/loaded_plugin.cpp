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
    // The address of a static object tells from which file this library was loaded.
    static const int kInside = 0;
    if (dladdr(&kInside, &adapter) == 0 || adapter.dli_fname == nullptr)
        throw std::runtime_error("the adapter's own directory cannot be found; set KRW_PLUGIN");
    // OpenImageIO's folder of plug-ins may have a symbolic link to the installation.
    return std::filesystem::canonical(adapter.dli_fname).parent_path();
}

std::shared_ptr<const Plugin> load() {
    const char* const named = std::getenv("KRW_PLUGIN");
    const bool isNamed = named != nullptr && *named != '\0';
    auto plugin = std::make_shared<const Plugin>(isNamed ? named : findPlugin(adapterDirectory()));
    // OpenImageIO gets messages as error strings, so its readers print nothing.
    collectPluginMessages();
    return plugin;
}

} // namespace

std::shared_ptr<const Plugin> loadedPlugin() {
    // One thread initialises it while others wait. An exception makes the next call try again.
    static const std::shared_ptr<const Plugin> plugin = load();
    return plugin;
}
