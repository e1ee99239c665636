#include "bench/benchmarks.h"
#include "bench/plane_by_plane.h"
#include "host/files.h"
#include "krw/frame_table.h"
#include "krw/little_endian.h"
#include "krw/probe.h"
#include "krw/stored_table.h"
#include "plugin/cmfkrw.h"
#include "tools/synth/scene.h"

#include <benchmark/benchmark.h>
#include <cstdlib>
#include <fcntl.h>
#include <stdexcept>
#include <unistd.h>

namespace {

constexpr std::size_t kRecords = 100'000;
constexpr std::uint64_t kRecordDistance = std::uint64_t{1} << 20;

void require(bool condition, const std::string& what) {
    if (!condition) throw std::runtime_error(what);
}

std::uint32_t openForReading(CMFKrw& reader, const std::string& path) {
    return reader.Open(path.c_str(), kAccessRead, kShareRead, nullptr, kOpenExisting, 0, 0);
}

/// An open clip, and a picture buffer to read its frames into.
struct ReadingHost {
    explicit ReadingHost(const std::string& path, std::size_t samples) : picture(samples) {
        require(openForReading(reader, path) == 0, path + ": not opened");
        dframe.recordSize = sizeof dframe;
        dframe.picture.buffer = picture.data();
        dframe.picture.bufferSize = static_cast<std::uint32_t>(2 * samples);
    }

    CMFKrw reader{0};
    std::vector<std::uint16_t> picture;
    DFRAME dframe{};
};

bool readWithReader(ReadingHost& host) {
    return host.reader.Read(1, 1, 1, 1, &host.dframe, nullptr) == 0;
}

bool readByPlanes(ReadingHost& host) {
    return readPlaneByPlane(host.reader.m_hFile, host.reader.m_frameTable[1], host.reader.m_danrawOffset,
                            host.picture.data());
}

void addRead(const std::string& subject, const BenchImage& image, const std::string& path,
             bool (*read)(ReadingHost&)) {
    ReadingHost host(path, image.samples());
    require(read(host) && host.picture == image.mosaic.samples, subject + ": not the picture that went in");
    benchmark::RegisterBenchmark((subject + "/" + image.name).c_str(), [&image, path,
                                                                        read](benchmark::State& state) {
        ReadingHost reading(path, image.samples());
        for ([[maybe_unused]] auto _ : state)
            benchmark::DoNotOptimize(read(reading));
        state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(image.samples()));
        state.counters["bits_per_sample"] = image.bitsPerSample;
    })->Unit(benchmark::kMillisecond);
}

/// A sparse clip in which each record is no more than its headers, kRecordDistance apart, with a stored
/// table.
void writeLongClip(const std::string& path) {
    const ClipDescription description;
    std::vector<std::uint8_t> record = makeFrameRecord(description, encodePicture(drawScene(2, 2, 0, 0)), 0);
    storeLittleEndian(record, description.danrawOffset + krwfile::danraw::kRecordLength,
                      static_cast<std::uint32_t>(kRecordDistance));
    const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    require(file >= 0, path + ": not created");
    bool written = true;
    const auto write = [&](const std::vector<std::uint8_t>& bytes, std::uint64_t offset) {
        written = written && ::pwrite(file, bytes.data(), bytes.size(), static_cast<off_t>(offset)) ==
                                 static_cast<ssize_t>(bytes.size());
    };
    std::vector<std::uint64_t> starts(kRecords);
    for (std::size_t i = 0; i < kRecords; ++i) {
        starts[i] = i * kRecordDistance;
        write(record, starts[i]);
    }
    const std::uint64_t end = kRecords * kRecordDistance;
    write(makeStoredTable(starts, end), end);
    require(::close(file) == 0 && written, path + ": not written");
}

using GetTable = std::uint64_t* (*)(std::int64_t, std::int32_t*, std::int32_t);

void addFrameTable(const std::string& subject, const std::string& path, GetTable getTable) {
    const auto work = [path, getTable](benchmark::State& state) {
        const std::int64_t handle =
            pvOSCreateFile(path.c_str(), kAccessRead, kShareRead, nullptr, kOpenExisting, 0, 0);
        for ([[maybe_unused]] auto _ : state) {
            std::int32_t count = 0;
            std::free(getTable(handle, &count, static_cast<std::int32_t>(ClipDescription{}.danrawOffset)));
            if (count != kRecords) state.SkipWithError("records are missing");
        }
        pvOSCloseFile(handle);
    };
    benchmark::RegisterBenchmark(subject.c_str(), work)->Unit(benchmark::kMillisecond);
}

} // namespace

void registerFrameReads(const BenchImage& image, const std::filesystem::path& directory) {
    const std::string path = (directory / (image.name + ".krw")).string();
    ClipWriter writer(path, ClipDescription{});
    writer.append(image.coded);
    writer.append(image.coded);
    writer.finish();
    addRead("read", image, path, readWithReader);
    addRead("read_bytewise", image, path, readByPlanes);
}

void registerClips(const std::filesystem::path& directory) {
    const std::string path = (directory / "long.krw").string();
    writeLongClip(path);
    addFrameTable("table_load", path, krw2_get_frame_table);
    addFrameTable("table_rebuild", path, krw2_rebuild_frame_table);
    const auto open = [path](benchmark::State& state) {
        for ([[maybe_unused]] auto _ : state) {
            CMFKrw reader(0);
            if (openForReading(reader, path) != 0) state.SkipWithError("not opened");
            reader.Close();
        }
    };
    benchmark::RegisterBenchmark("open", open)->Unit(benchmark::kMillisecond);
    const auto probe = [path](benchmark::State& state) {
        for ([[maybe_unused]] auto _ : state)
            if (mfPlugInCheckFile(path.c_str(), 0) != 0) state.SkipWithError("not a clip");
    };
    benchmark::RegisterBenchmark("probe", probe)->Unit(benchmark::kMillisecond);
}
