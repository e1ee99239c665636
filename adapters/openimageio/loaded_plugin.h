// The reader plug-in, loaded once for all clips of a process.
#pragma once

#include "tools/clip/plugin.h"

#include <memory>

/// The plug-in that the environment variable KRW_PLUGIN names; without it the one beside this adapter, or in
/// the installation's folder of plug-ins. It is loaded at the first call and stays loaded while somebody
/// holds it. Thread-safe. Throws std::runtime_error when there is none; a later call tries again.
[[nodiscard]] std::shared_ptr<const Plugin> loadedPlugin();
