// Looking for frame records, beside a plain read of the same file.
#include "bench/benchmarks.h"
#include "tools/recover/record_scan.h"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <span>
#include <string>
#include <vector>

namespace {

constexpr int kFrames = 40;
constexpr std::size_t kStep = std::size_t{1} << 20; // what the scan reads at a time

void readFile(benchmark::State& state, const std::string& path) {
    const Source source({path});
    std::vector<std::uint8_t> buffer(kStep);
    for ([[maybe_unused]] auto _ : state)
        for (std::uint64_t place = 0; place < source.size(); place += kStep) {
            const std::uint64_t size = std::min<std::uint64_t>(kStep, source.size() - place);
            source.read(static_cast<std::int64_t>(place), std::span(buffer).first(size));
            benchmark::DoNotOptimize(buffer.data());
        }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(source.size()));
}

void scanFile(benchmark::State& state, const std::string& path) {
    const Source source({path});
    int found = 0;
    ScanEvents events;
    events.header = [&found](const ScannedHeader&) { ++found; };
    events.trailer = [](const ScannedTrailer&) {};
    for ([[maybe_unused]] auto _ : state) {
        found = 0;
        scanRecords(source, {0, source.size()}, events);
        if (found != kFrames) state.SkipWithError("records are missing");
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(source.size()));
}

} // namespace

void registerScan(const BenchImage& image, const std::filesystem::path& directory) {
    const std::string path = (directory / "scan.krw").string();
    ClipWriter writer(path, ClipDescription{});
    for (int frame = 0; frame < kFrames; ++frame)
        writer.append(image.coded);
    writer.finish();
    const auto add = [&path](const char* name, void (*work)(benchmark::State&, const std::string&)) {
        benchmark::RegisterBenchmark(name, [path, work](benchmark::State& state) {
            work(state, path);
        })->Unit(benchmark::kMillisecond);
    };
    add("file_read", readFile);
    add("file_scan", scanFile);
}
