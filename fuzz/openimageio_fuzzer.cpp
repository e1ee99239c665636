// The reader for OpenImageIO over whole clips: the input is a .krw file. What the caller wishes and which
// rows it reads comes from bytes 2 to 7 of the file, which no reader looks at.
#include "adapters/openimageio/krw_input.h"
#include "adapters/openimageio/loaded_plugin.h"
#include "fuzz/choices.h"
#include "fuzz/fuzz_support.h"
#include "fuzz/memory_files.h"

#include <algorithm>
#include <array>
#include <memory>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

namespace {

constexpr std::size_t kLargestPicture = 8192; // bytes; larger ones are described only
constexpr std::array<std::uint8_t, 2> kFillings{0x5A, 0xA5};

/// A clip under one path for both whom the adapter asks. The host has its bytes. The system says that it is a
/// file of their number; nobody reads that one.
class ClipUnderOnePath {
  public:
    ClipUnderOnePath()
        : m_descriptor(::memfd_create("clip", MFD_CLOEXEC)),
          m_file("/proc/self/fd/" + std::to_string(m_descriptor)) {
        require(m_descriptor >= 0, "a file in memory can be had");
    }

    void assign(std::span<const std::uint8_t> bytes) {
        m_file.assign(bytes);
        require(::ftruncate(m_descriptor, static_cast<off_t>(bytes.size())) == 0,
                "a file in memory can have any size");
    }
    [[nodiscard]] const std::string& path() const { return m_file.path(); }

  private:
    int m_descriptor; // stays open for the life of the process
    MemoryFile m_file;
};

OIIO::ImageSpec wishes(Choices& choices) {
    constexpr std::array kSizes{"half", "full", "big"};
    constexpr std::array kCurves{"gamma", "rec709", "linear", "log", "steep"};
    OIIO::ImageSpec wishes;
    // Values that a wish cannot have are rare.
    const auto word = [&choices](std::span<const char* const> words) {
        const auto known = static_cast<std::uint32_t>(words.size() - 1);
        return choices.below(32) == 0 ? words.back() : words[choices.below(known)];
    };
    if (choices.below(2) == 0) {
        wishes.attribute("krw:develop", 1);
        wishes.attribute("krw:size", word(kSizes));
        wishes.attribute("krw:curve", word(kCurves));
    }
    if (choices.below(2) == 0) wishes.attribute("krw:damaged", 1);
    if (choices.below(4) == 0) wishes.attribute("krw:frame", static_cast<int>(choices.below(4)) - 1);
    return wishes;
}

class Caller {
  public:
    Caller(KrwInput& input, Choices& choices) : m_input(input), m_choices(choices) {}

    void openAndRead(const std::string& path) {
        const bool isValid = m_input.valid_file(path);
        OIIO::ImageSpec first;
        if (!m_input.open(path, first, wishes(m_choices))) {
            requireReason();
            require(!m_input.seek_subimage(0, 0), "a clip that did not open has no pictures");
            readRows(0, 0, 1, kFillings[0]);
            return;
        }
        const int subimages = first.get_int_attribute("oiio:subimages");
        require(subimages > 0 && first.width > 0 && first.height > 0, "a clip that opens has pictures");
        if (subimages > 1) require(isValid, "a clip of several frames that opens is a valid file");
        m_rowBytes = first.scanline_bytes();
        m_height = first.height;
        constexpr int kMostLooked = 1000;
        const auto places = static_cast<std::uint32_t>(std::min(subimages, kMostLooked)) + 1;
        for (int reads = 0; reads < 2; ++reads) {
            const auto subimage = static_cast<int>(m_choices.below(places));
            look(m_choices.below(16) == 0 ? subimage - 1 : subimage, subimages);
        }
        require(m_input.close(), "a clip closes");
        m_rowBytes = 0; // a row can be longer than any block
        require(!readRows(0, 0, 1, kFillings[0]), "a clip that is closed has no rows");
    }

  private:
    void requireReason() { require(!m_input.geterror().empty(), "a failure has a reason"); }

    void look(int subimage, int subimages) {
        const bool isThere = subimage >= 0 && subimage < subimages;
        require(m_input.seek_subimage(subimage, 0) == isThere, "the subimages that were counted are there");
        const OIIO::ImageSpec described = m_input.spec(subimage, 0);
        require((described.width > 0) == isThere, "every subimage is described");
        require(m_input.spec_dimensions(subimage, 0).height == described.height,
                "dimensions are those of the description");
        if (m_rowBytes * static_cast<std::size_t>(m_height) > kLargestPicture) return;
        readWhole(subimage, isThere);
    }

    /// Rows into a block of exactly their size; nothing when they cannot be read.
    std::unique_ptr<ExactBlock> readRows(int subimage, int begin, int end, std::uint8_t filling) {
        auto rows = std::make_unique<ExactBlock>(m_rowBytes * static_cast<std::size_t>(end - begin), filling);
        if (m_input.read_native_scanlines(subimage, 0, begin, end, 0, rows->data())) return rows;
        requireReason();
        return nullptr;
    }

    void readWhole(int subimage, bool isThere) {
        const ExactBlock whole(m_rowBytes * static_cast<std::size_t>(m_height), kFillings[0]);
        // As it is. What converts samples is the library's, and takes 64 MiB whatever the picture.
        OIIO::ImageInput& input = m_input; // which knows the usual strides
        const bool isRead =
            input.read_image(subimage, 0, 0, -1, OIIO::TypeDesc::UINT16, isThere ? whole.data() : nullptr);
        require(isThere || !isRead, "what is not there is not read");
        if (!isRead) requireReason();
        const int begin = static_cast<int>(m_choices.below(static_cast<std::uint32_t>(m_height)));
        const auto part = readRows(subimage, begin, m_height, kFillings[1]);
        require(isRead == (part != nullptr), "a picture can be read whole or not at all");
        if (!isRead) return;
        const auto same = whole.bytes().last(part->bytes().size());
        require(std::ranges::equal(same, part->bytes()), "rows are those of the picture");
    }

    KrwInput& m_input;
    Choices& m_choices;
    std::size_t m_rowBytes = 2;
    int m_height = 1;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    beQuiet();
    static const bool done = OIIO::attribute("threads", 1);
    require(done, "the library works on one thread");
    // Without it every open would fail, for a reason of no interest. That ends the run.
    static const auto plugin = loadedPlugin();
    static ClipUnderOnePath clip;
    clip.assign({data, size});
    Choices choices({data, size});
    const std::unique_ptr<KrwInput> input(new KrwInput);
    Caller(*input, choices).openAndRead(clip.path());
    return 0;
}
