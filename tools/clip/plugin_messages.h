// The messages that the plug-in logs. They explain a failure. Only they tell that a plane broke off while it
// was decoded.
#pragma once

#include <string>
#include <vector>

/// Collects the messages that the plug-in logs on this thread while this object lives. The plug-in has no
/// threads of its own, so they come from calls of this thread. A second object on the same thread collects
/// until it is destroyed.
class PluginMessages final {
  public:
    PluginMessages();
    ~PluginMessages();
    PluginMessages(const PluginMessages&) = delete;
    PluginMessages& operator=(const PluginMessages&) = delete;

    /// The lines in order, each without its line end.
    [[nodiscard]] const std::vector<std::string>& lines() const { return m_lines; }

  private:
    friend struct MessageRouter;
    std::vector<std::string> m_lines;
    PluginMessages* m_outer;
};

/// Sends the log of the host to the PluginMessages of the logging thread, from here on. Lines of a thread
/// without one are dropped.
void collectPluginMessages();
