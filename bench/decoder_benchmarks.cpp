#include "bench/benchmarks.h"
#include "bench/peers.h"
#include "bench/plane_by_plane.h"
#include "kinedec/kinedec.h"
#include "kinedec/lookup_table.h"
#include "tools/export/tiff_files.h"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <cstring>
#include <functional>
#include <map>
#include <stdexcept>
#include <utility>

namespace {

using Samples = std::vector<std::uint16_t>;

void requireEqual(const Samples& actual, const Samples& expected, const std::string& what) {
    if (actual != expected) throw std::runtime_error(what + " does not give the picture back");
}

/// The four planes one above the other: a picture in which each sample has the same left neighbour as in its
/// plane.
Samples stackPlanes(const Mosaic& mosaic) {
    Samples stacked;
    for (std::size_t k = 0; k < 4; ++k) {
        const Samples plane = extractPlane(mosaic, k);
        stacked.insert(stacked.end(), plane.begin(), plane.end());
    }
    return stacked;
}

/// Registers `work` on an image; figures are samples and bits a sample.
void add(const std::string& subject, const BenchImage& image, std::function<void(benchmark::State&)> work) {
    benchmark::RegisterBenchmark((subject + "/" + image.name).c_str(), [&image, work = std::move(work)](
                                                                           benchmark::State& state) {
        work(state);
        state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(image.samples()));
        state.counters["bits_per_sample"] = image.bitsPerSample;
    })->Unit(benchmark::kMillisecond);
}

bool decodeTo(const BenchImage& image, Samples& picture) {
    return decodePicture(image.streams(), image.mosaic.width, image.mosaic.height, picture.data())
        .has_value();
}

void addPictureDecoder(const std::string& subject, const BenchImage& image) {
    Samples decoded(image.samples());
    if (!decodeTo(image, decoded)) throw std::runtime_error("the picture decoder declined " + image.name);
    requireEqual(decoded, image.mosaic.samples, "the picture decoder");
    add(subject, image, [&image](benchmark::State& state) {
        Samples picture(image.samples());
        for ([[maybe_unused]] auto _ : state)
            benchmark::DoNotOptimize(decodeTo(image, picture));
    });
}

void addPlaneByPlane(const std::string& subject, const BenchImage& image, StreamLength length) {
    const auto decode = [&image, length](Samples& samples) {
        return decodePlaneByPlane(image.streams(), image.mosaic.width, image.mosaic.height, length,
                                  samples.data());
    };
    Samples decoded(image.samples());
    if (!decode(decoded)) throw std::runtime_error("KineDec declined " + image.name);
    requireEqual(decoded, stackPlanes(image.mosaic), "KineDec");
    add(subject, image, [&image, decode](benchmark::State& state) {
        Samples samples(image.samples());
        for ([[maybe_unused]] auto _ : state)
            benchmark::DoNotOptimize(decode(samples));
    });
}

/// The DNG file that `krw export` writes of the picture.
std::vector<std::uint8_t> losslessDng(const BenchImage& image) {
    DngMetadata metadata;
    metadata.exif.make = metadata.exif.model = metadata.uniqueCameraModel = "Benchmark";
    metadata.white = 4095;
    metadata.exif.frameRate = {24, 1};
    const EncodedFile file = encodeCinemaDng(metadata, image.mosaic, {}, Compression::lossless);
    std::vector<std::uint8_t> bytes;
    for (const auto part : file.parts())
        bytes.insert(bytes.end(), part.begin(), part.end());
    return bytes;
}

/// FFmpeg scales samples from the white level to 16 bits: equal ones stay equal, larger ones larger.
void requireScaled(const Samples& actual, const Samples& source, const std::string& what) {
    std::map<std::uint16_t, std::uint16_t> scaled;
    for (std::size_t i = 0; i < source.size() && i < actual.size(); ++i)
        scaled.emplace(source[i], actual[i]);
    Samples expected;
    for (const std::uint16_t sample : source)
        expected.push_back(scaled[sample]);
    requireEqual(actual, expected, what);
    const auto rising = [](const auto& lower, const auto& higher) { return lower.second >= higher.second; };
    if (std::ranges::adjacent_find(scaled, rising) != scaled.end()) requireEqual({}, source, what);
}

void addFfmpeg(const BenchImage& image) {
    const auto decoder = std::make_shared<FfmpegDecoder>(losslessDng(image));
    decoder->decode();
    requireScaled(decoder->samples(), image.mosaic.samples, "FFmpeg");
    add("ffmpeg", image, [decoder](benchmark::State& state) {
        for ([[maybe_unused]] auto _ : state)
            decoder->decode();
    });
}

void addLibRaw(const BenchImage& image) {
    const auto decoder = std::make_shared<LibRawDecoder>(losslessDng(image));
    decoder->open();
    decoder->decode();
    requireEqual(decoder->samples(), image.mosaic.samples, "LibRaw");
    add("libraw", image, [decoder](benchmark::State& state) {
        for ([[maybe_unused]] auto _ : state) {
            state.PauseTiming();
            decoder->open();
            state.ResumeTiming();
            decoder->decode();
        }
    });
}

void addMemory(const BenchImage& image) {
    add("interleave", image, [&image](benchmark::State& state) {
        const Samples planes = stackPlanes(image.mosaic);
        Samples picture(image.samples());
        for ([[maybe_unused]] auto _ : state) {
            interleave(planes.data(), image.mosaic.width, image.mosaic.height, picture.data());
            benchmark::ClobberMemory();
        }
    });
    add("memcpy", image, [&image](benchmark::State& state) {
        Samples picture(image.samples());
        for ([[maybe_unused]] auto _ : state) {
            std::memcpy(picture.data(), image.mosaic.samples.data(), 2 * picture.size());
            benchmark::ClobberMemory();
        }
    });
}

/// Builds the four tables of a frame: those of KineDec, and those of the picture decoder, which then also
/// decodes one column.
void addTables(const BenchImage& image) {
    benchmark::RegisterBenchmark(("tables_kinedec/" + image.name).c_str(), [&image](benchmark::State& state) {
        const auto decoder = std::make_unique<KineDec>();
        for ([[maybe_unused]] auto _ : state)
            for (const kinedec::PlaneStream& plane : image.streams()) {
                kinedec::buildLookupTable(plane.table, decoder->m_table);
                benchmark::ClobberMemory();
            }
    });
    benchmark::RegisterBenchmark(("tables_picture/" + image.name).c_str(), [&image](benchmark::State& state) {
        Samples cell(4);
        for ([[maybe_unused]] auto _ : state)
            benchmark::DoNotOptimize(decodePicture(image.streams(), 2, 2, cell.data()));
    });
}

} // namespace

void registerDecoders(const BenchImage& image) {
    addPictureDecoder("picture", image);
    addPlaneByPlane("planes_bytewise", image, StreamLength::unknown);
    addPlaneByPlane("planes_known", image, StreamLength::known);
    addFfmpeg(image);
    addLibRaw(image);
    addMemory(image);
    addTables(image);
}

void registerSize(const BenchImage& image) {
    addPictureDecoder("size", image);
}
