#include "fuzz/memory_recovery.h"

#include "host/files.h"
#include "tools/export/output_file.h"
#include "tools/recover/plane_checks.h"
#include "tools/recover/source.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace {

std::vector<std::uint8_t>& output() {
    static std::vector<std::uint8_t> bytes;
    return bytes;
}

} // namespace

std::span<const std::uint8_t> writtenByRecovery() {
    return output();
}

// One file, which the host's functions hold in memory.
Source::Source(const std::vector<std::string>& paths) {
    const std::int64_t handle =
        pvOSCreateFile(paths.at(0).c_str(), kAccessRead, kShareRead, nullptr, kOpenExisting, 0, 0);
    if (handle == kInvalidHandle) throw std::runtime_error(paths[0] + ": cannot be opened");
    m_descriptors.push_back(static_cast<int>(handle));
    m_parts.push_back({paths[0], {0, pvOSGetFileSize(handle, nullptr)}});
}

Source::~Source() {
    pvOSCloseFile(m_descriptors[0]);
}

std::size_t Source::partAt(std::uint64_t /*offset*/) const {
    return 0;
}

std::uint64_t Source::dataFrom(std::uint64_t offset) const {
    return std::min(offset, size());
}

void Source::read(std::int64_t offset, std::span<std::uint8_t> bytes) const {
    std::ranges::fill(bytes, std::uint8_t{0});
    if (offset < 0) {
        bytes = bytes.subspan(std::min(static_cast<std::uint64_t>(-offset), std::uint64_t{bytes.size()}));
        offset = 0;
    }
    std::uint32_t count = 0;
    pvOSSeek(m_descriptors[0], static_cast<std::uint64_t>(offset));
    pvOSReadFile(m_descriptors[0], bytes.data(), static_cast<std::uint32_t>(bytes.size()), &count, nullptr);
}

PlaneChecks::PlaneChecks(const Source& source, unsigned /*jobs*/) : m_source(source) {}

PlaneChecks::~PlaneChecks() = default;

std::future<kinedec::PlaneResult> PlaneChecks::check(const PlanePlace& place) {
    static kinedec::LookupTable lookup;
    const auto bytes = std::make_unique_for_overwrite<std::uint8_t[]>(place.bytes);
    const std::span<std::uint8_t> data(bytes.get(), place.bytes);
    m_source.read(static_cast<std::int64_t>(place.offset), data);
    std::promise<kinedec::PlaneResult> result;
    result.set_value(kinedec::checkPlane(lookup, kinedec::BoundedBitReader(data), place.parameters));
    return result.get_future();
}

OutputFile::OutputFile(std::string path, OutputOptions options)
    : m_path(std::move(path)), m_options(options), m_isStream(false) {
    output().clear();
}

OutputFile::~OutputFile() = default;

void OutputFile::write(std::span<const std::span<const std::uint8_t>> parts) {
    for (const auto& part : parts)
        output().insert(output().end(), part.begin(), part.end());
}

void OutputFile::finish() {}
