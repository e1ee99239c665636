#include "tools/clip/frame_check.h"

#include "tools/clip/coded_size.h"
#include "tools/clip/plane_tail.h"

#include <algorithm>
#include <fmt/format.h>
#include <iterator>
#include <optional>

namespace {

namespace plane = krwfile::plane;

// Frames that a clip's padding is learned from.
constexpr std::size_t kFramesToLearnFrom = 16;

kinedec::PlaneParameters parameters(const kinedec::CodeTable& table, std::int32_t shift, FrameSize size) {
    return {table, static_cast<std::int32_t>(size.pixels() / plane::kCount), shift, size.width / 2};
}

/// A plane's padding. Nothing is returned when the plane does not decode, or does not end inside its data.
std::optional<PlanePadding> findPadding(const PlaneDescriptor& descriptor,
                                        const kinedec::PlaneResult& result) {
    return result.decoded ? planePadding(descriptor.dataSize, result.bitsUsed) : std::nullopt;
}

/// The most bytes that a plane of a delivered picture leaves behind its codes. Nothing is returned when the
/// samples do not tell, or a plane does not end inside its data.
std::optional<std::uint32_t> mostBytesLeft(const RecordHeader& header, const MosaicView& picture) {
    FrameCoding coding;
    for (std::size_t k = 0; k < plane::kCount; ++k) {
        const PlaneDescriptor descriptor = header.plane(k);
        coding.tables[k] = descriptor.table;
        coding.shifts[k] = descriptor.shift;
    }
    const auto bits = countCodedBits(picture, coding);
    if (!bits) return std::nullopt;
    std::uint32_t most = 0;
    for (std::size_t k = 0; k < plane::kCount; ++k) {
        const auto padding = planePadding(header.plane(k).dataSize, (*bits)[k]);
        if (!padding) return std::nullopt;
        most = std::max(most, padding->left);
    }
    return most;
}

/// Whether each plane of a frame can hold its samples.
bool canHoldItsSamples(const RecordHeader& header) {
    const std::uint64_t samples = header.size().pixels() / plane::kCount;
    for (std::size_t k = 0; k < plane::kCount; ++k)
        if (!canHoldSamples(header.plane(k).dataSize, samples)) return false;
    return true;
}

/// True when a plane that decodes leaves bytes behind its codes.
bool leavesBytes(const RecordHeader& header, const PlaneResults& results) {
    for (std::size_t k = 0; k < results.size(); ++k)
        if (findPadding(header.plane(k), results[k]).value_or(PlanePadding{}).left > 0) return true;
    return false;
}

std::string describePlane(const RecordHeader& header, std::size_t k, const kinedec::PlaneResult& result,
                          const ClipPadding& padding) {
    const PlaneDescriptor descriptor = header.plane(k);
    const FrameSize size = header.size();
    const std::uint64_t used = (result.bitsUsed + 7) / 8;
    const std::int32_t rows = size.height / 2;
    const std::int32_t rowsDecoded = rows - result.samplesLeft / (size.width / 2);
    const auto offset = [&](std::uint64_t byte) { return header.recordStart + descriptor.dataOffset + byte; };
    const auto pictureRow = [k](std::int32_t row) { return 2 * row + static_cast<std::int32_t>(k / 2); };
    if (used > descriptor.dataSize || result.rowsInData < rowsDecoded)
        return fmt::format("plane {} is cut short: its {} bytes, up to file offset {}, end in row {}", k,
                           descriptor.dataSize, offset(descriptor.dataSize), pictureRow(result.rowsInData));
    if (!result.decoded)
        return fmt::format("plane {} breaks off in row {}: no code at byte {} of {}, file offset {}", k,
                           pictureRow(rowsDecoded), result.bitsUsed / 8, descriptor.dataSize,
                           offset(result.bitsUsed / 8));
    const auto left = static_cast<std::uint32_t>(descriptor.dataSize - used);
    if (padding.isUsual(left)) return {};
    return fmt::format(
        "plane {} ends too early: its last row, {}, ends at byte {} of {}, file offset {}, and "
        "the clip pads with {} bytes at most",
        k, pictureRow(rows - 1), used, descriptor.dataSize, offset(used), padding.mostUsual());
}

} // namespace

PlaneResults checkPlanes(std::span<const kinedec::PlaneStream, plane::kCount> planes, FrameSize size) {
    const auto lookup = std::make_unique<kinedec::LookupTable>();
    PlaneResults results{};
    for (std::size_t k = 0; k < planes.size(); ++k)
        results[k] = checkPlane(*lookup, kinedec::BoundedBitReader(planes[k].bytes),
                                parameters(planes[k].table, planes[k].shift, size));
    return results;
}

std::vector<PlanePadding> planePaddings(const RecordHeader& header, const PlaneResults& results) {
    std::vector<PlanePadding> paddings;
    for (std::size_t k = 0; k < results.size(); ++k)
        if (const auto found = findPadding(header.plane(k), results[k])) paddings.push_back(*found);
    return paddings;
}

std::vector<std::uint32_t> framesToLearnFrom(std::size_t frames) {
    const std::size_t looked = std::min(frames, kFramesToLearnFrom);
    std::vector<std::uint32_t> indices;
    for (std::size_t i = 0; i < looked; ++i)
        indices.push_back(static_cast<std::uint32_t>(i * frames / looked));
    return indices;
}

std::string describePlanes(const RecordHeader& header, const PlaneResults& results,
                           const ClipPadding& padding) {
    std::string words;
    for (std::size_t k = 0; k < results.size(); ++k) {
        const std::string plane = describePlane(header, k, results[k], padding);
        if (!words.empty() && !plane.empty()) words += "; ";
        words += plane;
    }
    return words;
}

std::string FrameCheck::findDamage(std::uint32_t frame, const MosaicView& picture, bool brokeOff) {
    const std::optional<RecordHeader> header = m_file.header(frame);
    if (!header) return {};
    if (!brokeOff) {
        if (allEndInTheirCodes(*header, picture)) return {};
        const auto left = mostBytesLeft(*header, picture);
        if (left && (*left == 0 || padding().isUsual(*left))) return {};
    }
    const std::optional<CodedFrame> coded = m_file.planes(*header);
    if (!coded) return {};
    const PlaneResults results = checkPlanes(coded->planes().first<plane::kCount>(), header->size());
    return describePlanes(*header, results, leavesBytes(*header, results) ? padding() : ClipPadding());
}

bool FrameCheck::allEndInTheirCodes(const RecordHeader& header, const MosaicView& picture) {
    const std::uint32_t mostLeft = m_padding->mostUsual;
    for (std::size_t k = 0; k < plane::kCount; ++k)
        if (!endsInItsCodes(header.plane(k), k, picture, mostLeft,
                            m_file.planeTail(header, k, mostLeft + kTailBytes)))
            return false;
    return true;
}

const ClipPadding& FrameCheck::padding() {
    std::call_once(m_padding->learned, [this] {
        std::vector<PlanePadding> paddings;
        for (const std::uint32_t frame : framesToLearnFrom(m_file.table().size())) {
            const auto header = m_file.header(frame);
            if (!header || !canHoldItsSamples(*header)) continue;
            const auto coded = m_file.planes(*header);
            if (!coded) continue;
            const PlaneResults results = checkPlanes(coded->planes().first<plane::kCount>(), header->size());
            std::ranges::copy(planePaddings(*header, results), std::back_inserter(paddings));
        }
        m_padding->clip = ClipPadding(paddings);
        m_padding->mostUsual = m_padding->clip.mostUsual();
    });
    return m_padding->clip;
}
