// krw_bench [Google Benchmark's options] [MOSAIC.pgm...]: times what playing a clip costs, on drawn scenes
// and on the mosaics given (16-bit binary PGM, "grbg").
#include "bench/benchmarks.h"
#include "host/error_output.h"
#include "tests/support/temp_dir.h"
#include "tools/export/pgm.h"
#include "tools/synth/scene.h"

#include <benchmark/benchmark.h>
#include <cstdio>
#include <exception>
#include <span>

namespace {

constexpr std::uint32_t kWidth = 4096;
constexpr std::uint32_t kHeight = 2160;
constexpr std::uint32_t kOtherSizes[][2] = {
    {512, 288}, {1024, 576}, {2048, 1152}, {4096, 2160}, {8192, 4320}};

void run(std::span<char* const> mosaics) {
    const TempDir directory;
    BenchImages images;
    images.push_back(std::make_unique<BenchImage>("clean", drawScene(kWidth, kHeight, 0, kCleanNoise)));
    images.push_back(std::make_unique<BenchImage>("noisy", drawScene(kWidth, kHeight, 0, kNoisyNoise)));
    for (const char* const path : mosaics)
        images.push_back(
            std::make_unique<BenchImage>(std::filesystem::path(path).stem().string(), readPgm(path)));
    for (const auto& image : images) {
        registerDecoders(*image);
        registerExports(*image, directory.root());
        registerDeveloping(*image);
        registerFrameReads(*image, directory.root());
        registerOpenImageIo(*image, directory.root());
    }

    BenchImages sizes;
    for (const auto& [width, height] : kOtherSizes) {
        sizes.push_back(std::make_unique<BenchImage>(std::to_string(width) + "x" + std::to_string(height),
                                                     drawScene(width, height, 0, kCleanNoise)));
        registerSize(*sizes.back());
    }
    registerScan(*images.front(), directory.root());
    registerClips(directory.root());
    benchmark::RunSpecifiedBenchmarks();
}

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    // Each Open writes a line to the log, and the benchmarks open clips thousands of times.
    pvSetLogSink([](void*, std::uint32_t, const char*) {}, nullptr);
    try {
        run(std::span(argv, static_cast<std::size_t>(argc)).subspan(1));
    } catch (const std::exception& error) {
        std::fprintf(stderr, "krw_bench: %s\n", error.what());
        return 1;
    }
    return 0;
}
