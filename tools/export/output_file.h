// Files that are whole or absent. The tools write all their files through this.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>

/// What happens to a file that already has the name.
enum class Existing {
    keep,    // the new file is not put in place: an error
    replace, // the new file takes its name
};

/// How a file is written.
struct OutputOptions {
    Existing existing = Existing::keep;
    bool sync = false;  // bring file and folder to the disk before `finish` returns
    bool named = false; // use a temporary name also where the file system has files without one
};

/// True for a named pipe and for a descriptor of this process (/dev/fd/N). Bytes that are written there go
/// out at once.
[[nodiscard]] bool isStream(const std::string& path);

/// A file under way. It has no name until `finish` (O_TMPFILE); where the file system has no such files, it
/// has a temporary name beside its destination. When it is destroyed before `finish`, nothing is left. When
/// the process is killed, a temporary name can stay; removeLeftovers removes it. Every failure throws
/// std::runtime_error, "DESTINATION: reason". Writing to a stream (isStream) throws Interrupted when a signal
/// asks to stop.
class OutputFile final {
  public:
    explicit OutputFile(std::string path, OutputOptions options = {});
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    void write(std::span<const std::uint8_t> bytes) { write({&bytes, 1}); }
    /// Writes the parts one after the other.
    void write(std::span<const std::span<const std::uint8_t>> parts);

    [[nodiscard]] const std::string& path() const { return m_path; }

    /// Puts the file in place.
    void finish();

  private:
    void openStream();
    void createBeside();
    void giveTemporaryName();
    void publish();
    void close();

    std::string m_path;
    OutputOptions m_options;
    bool m_isStream;
    std::string m_temporaryPath; // empty for a file without a name
    int m_descriptor = -1;
};

/// Removes files with temporary names that a killed process left in a folder. `isOurs` gets the final name of
/// each, and returns true when the file may go. A file that a live process writes stays.
void removeLeftovers(const std::string& directory,
                     const std::function<bool(const std::string& name)>& isOurs);
