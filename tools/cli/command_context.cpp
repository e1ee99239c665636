#include "tools/cli/commands.h"

const Plugin& CommandContext::plugin() {
    if (!m_plugin) m_plugin.emplace(pluginPath);
    return *m_plugin;
}
