#include "bench/benchmarks.h"
#include "tools/export/yuv4mpeg.h"
#include "tools/picture/develop.h"

#include <benchmark/benchmark.h>

namespace {

using Work = void (*)(const Developer& developer, const MosaicView& mosaic);

void add(const std::string& subject, const BenchImage& image, Work work) {
    const auto run = [&image, work](benchmark::State& state) {
        const Developer developer(Levels{256, 4095}, Gains{1.8, 1, 1.4}, DisplayCurve::rec709);
        for ([[maybe_unused]] auto _ : state)
            work(developer, image.mosaic);
        state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(image.samples()));
    };
    benchmark::RegisterBenchmark((subject + "/" + image.name).c_str(), run)->Unit(benchmark::kMillisecond);
}

template <PictureSize kSize>
void developRows(const Developer& developer, const MosaicView& mosaic) {
    developer.developRows(mosaic, {kSize},
                          [](const DevelopedRow& row) { benchmark::DoNotOptimize(row.red.data()); });
}

template <PictureSize kSize>
void makeYuvFrame(const Developer& developer, const MosaicView& mosaic) {
    static std::vector<std::uint8_t> frame;
    encodeYuv4MpegFrame(developer, mosaic, {kSize}, YuvFormat::yuv420, frame);
}

} // namespace

void registerDeveloping(const BenchImage& image) {
    add("develop_half", image, developRows<PictureSize::half>);
    add("develop_full", image, developRows<PictureSize::full>);
    add("yuv_half", image, makeYuvFrame<PictureSize::half>);
    add("yuv_full", image, makeYuvFrame<PictureSize::full>);
}
