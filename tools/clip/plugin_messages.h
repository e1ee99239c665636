// The messages that the plug-in logs. They explain a failure, and only they say that a plane broke off while
// decoding.
#pragma once

#include <string>
#include <vector>

/// Collects the messages that the plug-in logs on this thread while this object lives. The plug-in has no
/// threads of its own, so they are the messages of this thread's calls. Captures on one thread nest.
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

/// Sends the host's log to the captures from here on. A line without a capture on its thread is dropped.
void collectPluginMessages();
