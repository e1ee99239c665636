// A directory of a test's own, removed with all it holds.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <span>
#include <stdexcept>
#include <string>

class TempDir final {
  public:
    explicit TempDir(const std::filesystem::path& parent = std::filesystem::temp_directory_path()) {
        std::string name = (parent / "krw-test-XXXXXX").string();
        if (::mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary directory");
        m_path = name;
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    ~TempDir() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }

    [[nodiscard]] const std::filesystem::path& root() const { return m_path; }
    [[nodiscard]] std::string path(const std::string& name) const { return (m_path / name).string(); }

    /// Writes a file of these bytes and returns its path.
    [[nodiscard]] std::string write(const std::string& name, std::span<const std::uint8_t> bytes) const {
        std::ofstream out(path(name), std::ios::binary);
        out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
        if (!out.flush()) throw std::runtime_error("cannot write " + path(name));
        return path(name);
    }

  private:
    std::filesystem::path m_path;
};
