// Files that are either whole or not there: everything that the tools write goes through this.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <span>
#include <string>

/// A file under way. It is written under a temporary name beside its destination and takes the destination's
/// name, replacing a file that is already there, in `finish`; destroyed before that, it leaves nothing
/// behind. Every failure throws std::runtime_error with a message of the form "DESTINATION: reason".
class OutputFile final {
  public:
    explicit OutputFile(std::string path);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    void write(std::span<const std::uint8_t> bytes);

    /// The open stream, for libraries that write through one; owned by this object.
    [[nodiscard]] std::FILE* stream() const { return m_stream.get(); }
    /// For libraries that open and write a file by name: the name to write to. What they wrote is what
    /// `finish` puts in place, provided that nothing was written through this object.
    [[nodiscard]] const std::string& temporaryPath() const { return m_temporaryPath; }
    [[nodiscard]] const std::string& path() const { return m_path; }

    void finish();

  private:
    struct Closer {
        void operator()(std::FILE* stream) const { std::fclose(stream); }
    };

    std::string m_path;
    std::string m_temporaryPath; // empty once there is nothing to remove
    std::unique_ptr<std::FILE, Closer> m_stream;
};
