// Listening to the host's log: the plug-in explains a failure there, and nowhere else says that a plane broke
// off while decoding.
#pragma once

#include <string>
#include <vector>

/// Collects what is logged on this thread while it lives: the plug-in has no threads of its own, so that is
/// what the calls made meanwhile had to say. Captures on one thread nest; on several they do not mix.
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

/// Sends the host's log to the captures from here on; lines that no capture waits for are dropped.
void collectPluginMessages();
