#include "fuzz/fuzz_support.h"

#include "host/error_output.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

// Room from the start: a line may be logged while a target lets the heap fail.
constexpr std::size_t kLogRoom = 1 << 16;
std::string collectedLog;

void collect(void* /*context*/, std::uint32_t /*status*/, const char* line) {
    const std::size_t length = std::strlen(line);
    if (collectedLog.size() + length <= kLogRoom) collectedLog.append(line, length);
}

} // namespace

void require(bool holds, const char* property) {
    if (holds) return;
    std::fprintf(stderr, "property violated: %s\n", property);
    std::abort();
}

void beQuiet() {
    static const bool done = [] {
        collectedLog.reserve(kLogRoom);
        pvSetLogSink(collect, nullptr);
        // Thousands of inputs print before the buffer is full.
        static std::array<char, std::size_t{1} << 20> output;
        return std::freopen("/dev/null", "w", stdout) != nullptr &&
               std::setvbuf(stdout, output.data(), _IOFBF, output.size()) == 0;
    }();
    require(done, "standard output can be silenced");
}

std::string takeLog() {
    std::string lines = collectedLog;
    collectedLog.clear();
    return lines;
}

ExactBlock::ExactBlock(std::span<const std::uint8_t> bytes)
    : m_size(bytes.size()), m_bytes(new std::uint8_t[bytes.size()]) {
    std::ranges::copy(bytes, m_bytes.get());
}

ExactBlock::ExactBlock(std::size_t size, std::uint8_t fill) : m_size(size), m_bytes(new std::uint8_t[size]) {
    std::ranges::fill(bytes(), fill);
}

bool ExactBlock::isAll(std::uint8_t fill) const {
    return std::ranges::all_of(bytes(), [fill](std::uint8_t byte) { return byte == fill; });
}

std::span<const std::uint8_t> FuzzInput::take(std::size_t size) {
    const auto taken = m_rest.first(std::min(size, m_rest.size()));
    m_rest = m_rest.subspan(taken.size());
    return taken;
}

std::uint32_t FuzzInput::number(std::size_t size) {
    std::uint32_t result = 0;
    unsigned shift = 0;
    for (const std::uint8_t byte : take(size)) {
        result |= std::uint32_t{byte} << shift;
        shift += 8;
    }
    return result;
}
