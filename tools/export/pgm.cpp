#include "tools/export/pgm.h"

#include "tools/picture/sample_bytes.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <filesystem>
#include <fmt/format.h>
#include <fstream>
#include <limits>
#include <stdexcept>
#include <system_error>

namespace {

constexpr std::uint32_t kMaxval = 65535;
constexpr std::uint32_t kLargestByteMaxval = 255;

/// Opens a regular file. Does not wait for a pipe or a device.
std::ifstream openInput(const std::string& path) {
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(path, error);
    if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status))
        throw std::runtime_error("not a regular file");
    errno = 0;
    std::ifstream input(path, std::ios::binary);
    if (!input) throw std::runtime_error(std::generic_category().message(errno != 0 ? errno : EIO));
    return input;
}

/// The header's next character. A comment reads as the line end that closes it.
int readCharacter(std::istream& input) {
    const int next = input.get();
    if (next != '#') return next;
    input.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
    return '\n';
}

/// The next number of the header and the one white-space character behind it.
std::uint32_t readNumber(std::istream& input) {
    int next = readCharacter(input);
    while (std::isspace(next) != 0)
        next = readCharacter(input);
    std::uint64_t number = 0;
    if (std::isdigit(next) == 0) throw std::runtime_error("the PGM header is damaged");
    for (; std::isdigit(next) != 0; next = readCharacter(input)) {
        number = number * 10 + static_cast<std::uint64_t>(next - '0');
        if (number > std::numeric_limits<std::int32_t>::max())
            throw std::runtime_error("a number in the PGM header is too large");
    }
    if (std::isspace(next) == 0) throw std::runtime_error("the PGM header is damaged");
    return static_cast<std::uint32_t>(number);
}

std::string headerText(std::uint32_t width, std::uint32_t height) {
    return fmt::format("P5\n{} {}\n{}\n", width, height, kMaxval);
}

Mosaic readMosaic(const std::string& path) {
    std::ifstream input = openInput(path);
    if (input.get() != 'P' || input.get() != '5') throw std::runtime_error("not a binary PGM file (P5)");
    Mosaic mosaic;
    mosaic.width = readNumber(input);
    mosaic.height = readNumber(input);
    const std::uint32_t maxval = readNumber(input);
    if (maxval == 0 || maxval > kMaxval)
        throw std::runtime_error(fmt::format("maxval {} is outside 1 to {}", maxval, kMaxval));

    const std::size_t sampleSize = maxval > kLargestByteMaxval ? 2 : 1;
    const std::uint64_t count = std::uint64_t{mosaic.width} * mosaic.height;
    const auto held = std::filesystem::file_size(path) - static_cast<std::uint64_t>(input.tellg());
    if (count > held / sampleSize)
        throw std::runtime_error(fmt::format("{} x {} samples need {} bytes, the file holds {}", mosaic.width,
                                             mosaic.height, count * sampleSize, held));

    std::vector<std::uint8_t> bytes(count * sampleSize);
    input.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    if (!input) throw std::runtime_error("the samples cannot be read");
    mosaic.samples.resize(count);
    for (std::size_t i = 0; i < count; ++i)
        mosaic.samples[i] =
            sampleSize == 1 ? bytes[i] : static_cast<std::uint16_t>(bytes[2 * i] << 8 | bytes[2 * i + 1]);
    return mosaic;
}

} // namespace

Mosaic readPgm(const std::string& path) {
    try {
        return readMosaic(path);
    } catch (const std::exception& error) {
        throw std::runtime_error(fmt::format("{}: {}", path, error.what()));
    }
}

std::vector<std::uint8_t> encodePgm(const MosaicView& mosaic) {
    const std::string header = headerText(mosaic.width, mosaic.height);
    std::vector<std::uint8_t> bytes(header.size() + mosaic.samples.size_bytes());
    storeBigEndian(mosaic.samples, std::copy(header.begin(), header.end(), bytes.data()));
    return bytes;
}

void writePgm(const std::string& path, const MosaicView& mosaic, OutputOptions options) {
    OutputFile file(path, options);
    file.write(encodePgm(mosaic));
    file.finish();
}
