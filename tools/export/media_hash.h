// Hashes of files and mosaics, in the text forms of ASC Media Hash Lists.
#pragma once

#include "tools/picture/choice_words.h"

#include <cstdint>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <vector>

/// In the order in which lists name them.
enum class HashKind {
    c4, // SHA-512 in base 58 (SMPTE ST 2114)
    md5,
    sha1,
    xxh128,
    xxh3, // 64 bits
    xxh64,
};

/// The names that lists, command line and manifests use.
[[nodiscard]] const ChoiceWords<HashKind>& hashKinds();
[[nodiscard]] const std::string& hashName(HashKind kind);

/// A hash of bytes that come in pieces.
class MediaHash final {
  public:
    explicit MediaHash(HashKind kind);
    ~MediaHash();
    MediaHash(const MediaHash&) = delete;
    MediaHash& operator=(const MediaHash&) = delete;
    MediaHash(MediaHash&&) noexcept;

    void update(std::span<const std::uint8_t> bytes);
    /// The hash of all bytes so far: hexadecimal digits, or C4's text.
    [[nodiscard]] std::string text();

    /// One kind of hash under way.
    class State;

  private:
    std::unique_ptr<State> m_state;
};

/// The bytes of a hash in text form, most significant byte first. Throws std::runtime_error for any other
/// text.
[[nodiscard]] std::vector<std::uint8_t> hashBytes(HashKind kind, const std::string& text);

/// Hashes the file at `path` in one reading. Throws std::runtime_error, "PATH: reason".
[[nodiscard]] std::map<HashKind, std::string> fileHashes(const std::string& path,
                                                         const std::vector<HashKind>& kinds);
