// Files that are either whole or not there: everything that the tools write goes through this.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>

/// What becomes of a file that already has the name.
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

/// True for a pipe with a name and for a descriptor of this process (/dev/fd/N). What is written there goes
/// out at once, and no file is put in place.
[[nodiscard]] bool isStream(const std::string& path);

/// A file under way. It has no name until `finish` (O_TMPFILE); where the file system has no such files it
/// has a temporary name beside its destination. Destroyed before `finish`, it leaves nothing behind; when the
/// process is killed, a temporary name can stay, for removeLeftovers. Every failure throws std::runtime_error
/// with a message of the form "DESTINATION: reason". Writing to a stream (isStream) throws Interrupted when a
/// signal asks to stop.
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

/// Removes temporary names that a killed process left in a folder. `isOurs` is asked with the name that the
/// file would have had. A file that a live process writes stays.
void removeLeftovers(const std::string& directory,
                     const std::function<bool(const std::string& name)>& isOurs);
