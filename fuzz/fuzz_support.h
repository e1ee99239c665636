// What the fuzz targets share: checks that end the run, numbers drawn from an input, and quiet.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

/// What libFuzzer and the replay programs call with each input.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

/// Ends the process with the message unless the property holds.
void require(bool holds, const char* property);

/// Sends the reader's lines nowhere (each is read to its end) and standard output to /dev/null. Once a
/// process.
void beQuiet();

/// Lines that the reader has logged since the last call.
[[nodiscard]] std::string takeLog();

/// A block of exactly the bytes given, so that a sanitizer sees the first byte read beyond them.
class ExactBlock {
  public:
    explicit ExactBlock(std::span<const std::uint8_t> bytes);
    ExactBlock(std::size_t size, std::uint8_t fill);

    [[nodiscard]] std::uint8_t* data() const { return m_bytes.get(); }
    [[nodiscard]] std::span<std::uint8_t> bytes() const { return {m_bytes.get(), m_size}; }
    /// True when every byte is still `fill`.
    [[nodiscard]] bool isAll(std::uint8_t fill) const;

  private:
    std::size_t m_size;
    std::unique_ptr<std::uint8_t[]> m_bytes;
};

/// Takes an input apart from the front; past its end everything is 0.
class FuzzInput {
  public:
    explicit FuzzInput(std::span<const std::uint8_t> bytes) : m_rest(bytes) {}

    [[nodiscard]] std::uint8_t u8() { return static_cast<std::uint8_t>(number(1)); }
    [[nodiscard]] std::uint16_t u16() { return static_cast<std::uint16_t>(number(2)); }
    [[nodiscard]] std::uint32_t u32() { return number(4); }
    /// At most `size` bytes.
    [[nodiscard]] std::span<const std::uint8_t> take(std::size_t size);

  private:
    [[nodiscard]] std::uint32_t number(std::size_t size);

    std::span<const std::uint8_t> m_rest;
};
