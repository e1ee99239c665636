#include "bench/benchmarks.h"
#include "bench/dng.h"
#include "bench/lossless_jpeg.h"
#include "bench/peers.h"
#include "bench/plane_by_plane.h"
#include "kinedec/code_table.h"
#include "kinedec/kinedec.h"

#include <benchmark/benchmark.h>
#include <cstring>
#include <functional>
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
    return decodePicture(image.streams(), image.mosaic.width, image.mosaic.height, picture.data());
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

void addFfmpeg(const BenchImage& image) {
    Samples stacked = stackPlanes(image.mosaic);
    const auto decoder = std::make_shared<FfmpegDecoder>(
        encodeLosslessJpeg({stacked, image.mosaic.width / 2, std::size_t{image.mosaic.height} * 2, 1}));
    decoder->decode();
    for (std::uint16_t& sample : stacked)
        sample = static_cast<std::uint16_t>(sample << (16 - kJpegPrecision));
    requireEqual(decoder->samples(), stacked, "FFmpeg");
    add("ffmpeg", image, [decoder](benchmark::State& state) {
        for ([[maybe_unused]] auto _ : state)
            decoder->decode();
    });
}

void addLibRaw(const BenchImage& image) {
    const auto decoder = std::make_shared<LibRawDecoder>(
        encodeDng(image.mosaic.samples, image.mosaic.width, image.mosaic.height));
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

/// Four tables, as one frame needs them: of KineDec, and of the picture decoder, which then has one column to
/// decode.
void addTables(const BenchImage& image) {
    benchmark::RegisterBenchmark(("tables_kinedec/" + image.name).c_str(), [&image](benchmark::State& state) {
        const auto decoder = std::make_unique<KineDec>();
        for ([[maybe_unused]] auto _ : state)
            for (const PlaneStream& plane : image.streams()) {
                kinedec::buildCodeTable(plane.codeLengths, plane.codes, decoder->m_table);
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
