#include "bench/benchmarks.h"

#include <OpenImageIO/imageio.h>
#include <benchmark/benchmark.h>
#include <stdexcept>

namespace {

/// A clip opened through OpenImageIO, and room for one of its pictures.
struct OpenedClip {
    OpenedClip(const std::string& path, const OIIO::ImageSpec& hints)
        : input(OIIO::ImageInput::open(path, &hints)) {
        if (!input) throw std::runtime_error(path + ": " + OIIO::geterror());
        const OIIO::ImageSpec image = input->spec();
        picture.resize(image.image_pixels() * static_cast<std::size_t>(image.nchannels));
    }
    /// Reads the frames in turn, so that the reader never has the next one already.
    bool readNext() {
        m_next = 1 - m_next;
        return input->read_image(m_next, 0, 0, -1, OIIO::TypeDesc::UINT16, picture.data());
    }

    OIIO::ImageInput::unique_ptr input;
    std::vector<std::uint16_t> picture;

  private:
    int m_next = 0;
};

void addReads(const std::string& subject, const BenchImage& image, const std::string& path,
              const OIIO::ImageSpec& hints) {
    const auto work = [&image, path, hints](benchmark::State& state) {
        OpenedClip clip(path, hints);
        for ([[maybe_unused]] auto _ : state)
            if (!clip.readNext()) state.SkipWithError("not read");
        state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(image.samples()));
    };
    benchmark::RegisterBenchmark((subject + "/" + image.name).c_str(), work)->Unit(benchmark::kMillisecond);
}

} // namespace

void registerOpenImageIo(const BenchImage& image, const std::filesystem::path& directory) {
    OIIO::attribute("plugin_searchpath", std::filesystem::canonical("/proc/self/exe").parent_path().string());
    const std::string path = (directory / (image.name + ".krw")).string();
    OpenedClip clip(path, {});
    if (!clip.readNext() || clip.picture != image.mosaic.samples)
        throw std::runtime_error(path + ": OpenImageIO does not give the picture that went in");
    addReads("openimageio", image, path, {});
    OIIO::ImageSpec develop;
    develop.attribute("krw:develop", 1);
    addReads("openimageio_develop", image, path, develop);
}
