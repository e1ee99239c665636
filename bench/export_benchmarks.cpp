#include "bench/benchmarks.h"
#include "bench/peers.h"
#include "tests/support/temp_dir.h"
#include "tools/export/export_parts.h"
#include "tools/export/frame_exporter.h"
#include "tools/export/lossless_jpeg.h"

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <filesystem>
#include <stdexcept>
#include <unistd.h>

namespace {

void addEncoder(const BenchImage& image) {
    const TileGrid whole{image.mosaic.width, image.mosaic.height, 1, 1};
    if (!encodeLosslessJpeg(image.mosaic, whole))
        throw std::runtime_error("the encoder declined " + image.name);
    benchmark::RegisterBenchmark(("encode/" + image.name).c_str(), [&image, whole](benchmark::State& state) {
        for ([[maybe_unused]] auto _ : state)
            benchmark::DoNotOptimize(encodeLosslessJpeg(image.mosaic, whole));
        state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(image.samples()));
        state.counters["bits_per_sample"] = image.bitsPerSample;
    })->Unit(benchmark::kMillisecond);
}

/// FFmpeg codes 8-bit samples only: it gets each sample's upper 8 of 12 bits, in rows as wide as the image's.
void addFfmpegEncoder(const BenchImage& image) {
    const auto encoder = std::make_shared<FfmpegEncoder>(image.mosaic);
    encoder->encode();
    benchmark::RegisterBenchmark(("encode_ffmpeg/" + image.name).c_str(), [encoder](benchmark::State& state) {
        for ([[maybe_unused]] auto _ : state)
            encoder->encode();
        state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(encoder->samples()));
    })->Unit(benchmark::kMillisecond);
}

/// A clip of this image, open, and a folder of its own in memory.
struct ExportingHost {
    ExportingHost(const BenchImage& image, const std::filesystem::path& directory)
        : clip(plugin, writeClip(image, directory)), picture(clip.makePicture()) {}

    static std::string writeClip(const BenchImage& image, const std::filesystem::path& directory) {
        std::string path = (directory / (image.name + ".krw")).string();
        ClipWriter writer(path, ClipDescription{}, {.existing = Existing::replace});
        writer.append(image.coded);
        writer.finish();
        return path;
    }

    Plugin plugin{""};
    Clip clip;
    Picture picture;
    const TempDir out{"/dev/shm"};
};

/// Registers `work` on a clip of the image. Files go into memory; removing them is not timed. `makeWork`
/// makes the work for each run; the work gets the path of the file to make.
template <typename MakeWork>
void addExport(const std::string& subject, const BenchImage& image, const std::filesystem::path& directory,
               MakeWork makeWork) {
    const auto run = [&image, directory, makeWork](benchmark::State& state) {
        ExportingHost host(image, directory);
        const std::string path = host.out.path(image.name + "_000000.dng");
        const auto work = makeWork(host);
        for ([[maybe_unused]] auto _ : state) {
            work(path);
            state.PauseTiming();
            std::filesystem::remove(path);
            state.ResumeTiming();
        }
        state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(image.samples()));
        state.counters["bits_per_sample"] = image.bitsPerSample;
    };
    benchmark::RegisterBenchmark((subject + "/" + image.name).c_str(), run)->Unit(benchmark::kMillisecond);
}

/// The least work of an export: reading the frame, and handing as many bytes to the file system.
void addReadAndWrite(const BenchImage& image, const std::filesystem::path& directory, std::uint64_t size) {
    addExport("read_and_write", image, directory, [size](ExportingHost& host) {
        return [&host, size](const std::string& path) {
            (void)host.clip.read(0, host.picture);
            const std::span samples = host.picture.samples();
            const std::vector<std::uint8_t> head(size - samples.size_bytes());
            const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
            const bool written = ::write(file, head.data(), head.size()) >= 0 &&
                                 ::write(file, samples.data(), samples.size_bytes()) >= 0;
            if (::close(file) != 0 || !written) throw std::runtime_error(path + ": not written");
        };
    });
}

ExportFormatOptions shapeOf(Compression compression) {
    ExportFormatOptions shape;
    shape.compression = compression;
    return shape;
}

/// An export of one frame.
struct FrameExport {
    FrameExport(ExportingHost& host, Compression compression)
        : files(host.clip, host.out.root().string(), shapeOf(compression)),
          journal(
              exportFileNames(host.out.root().string(), "bench", 0, 0), {{}, files.options()},
              ExportStart::fresh, [](std::uint32_t) { return true; }, false) {}

    ExportFiles files;
    ExportJournal journal;
    FrameExporter exporter{files, journal, {}};
};

void addFrameExport(const std::string& subject, const BenchImage& image,
                    const std::filesystem::path& directory, Compression compression) {
    addExport(subject, image, directory, [compression](ExportingHost& host) {
        const auto frameExport = std::make_shared<FrameExport>(host, compression);
        return [&host, frameExport](const std::string& path) {
            const FrameOutcome outcome = frameExport->exporter.exportFrame(host.clip, host.picture, 0);
            if (outcome.reading.state != FrameReading::State::ok)
                throw std::runtime_error(path + ": not written");
        };
    });
}

std::uint64_t uncompressedSize(const BenchImage& image) {
    return encodeCinemaDng({}, image.mosaic, {}, Compression::none).size();
}

} // namespace

void registerExports(const BenchImage& image, const std::filesystem::path& directory) {
    addEncoder(image);
    addFfmpegEncoder(image);
    addReadAndWrite(image, directory, uncompressedSize(image));
    addFrameExport("export_none", image, directory, Compression::none);
    addFrameExport("export_lossless", image, directory, Compression::lossless);
}
