#include "tools/commands.h"

const Plugin& Session::plugin() {
    if (!m_plugin) m_plugin.emplace(pluginPath);
    return *m_plugin;
}
