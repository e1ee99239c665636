// Clips read through OpenImageIO, which loads the adapter as it does in any program.
#include "tests/support/clip_builder.h"
#include "tests/support/temp_dir.h"

#include <OpenImageIO/imagebuf.h>
#include <OpenImageIO/imagecache.h>
#include <OpenImageIO/imageio.h>
#include <algorithm>
#include <gmock/gmock.h>
#include <span>
#include <thread>

namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

using Samples = std::vector<std::uint16_t>;
using Input = OIIO::ImageInput::unique_ptr;

struct Hint {
    const char* name;
    OIIO::ParamValue value;

    template <class Value>
    Hint(const char* hint, const Value& is) : name(hint), value(hint, is) {}
};

class KrwInputTest : public testing::Test {
  protected:
    static constexpr int kFrames = 5;
    static constexpr int kWidth = 64;
    static constexpr int kHeight = 32;

    static void SetUpTestSuite() {
        OIIO::attribute("plugin_searchpath", KRW_ADAPTER_DIRECTORY);
        // Other readers take some spoilt clips for TIFF files.
        OIIO::attribute("try_all_readers", 0);
    }

    /// The first frames of the clip, frame 1 damaged and frame 3 unreadable.
    [[nodiscard]] std::string spoiltClip() const {
        TestClip clip = makeClip({}, m_mosaics);
        clip.setCodeTable(1, 2, kinedec::CodeTable{});
        clip.setDanraw<std::uint32_t>(3, krwfile::danraw::kSignatureOffset, 0);
        return m_directory.write("spoilt.krw", clip.bytes);
    }

    static Input open(const std::string& path, const std::vector<Hint>& hints = {}) {
        OIIO::ImageSpec configuration;
        for (const Hint& hint : hints)
            configuration.extra_attribs.push_back(hint.value);
        return OIIO::ImageInput::open(path, &configuration);
    }
    /// A whole frame; empty when it cannot be read.
    static Samples frame(OIIO::ImageInput& input, int subimage) {
        const OIIO::ImageSpec image = input.spec_dimensions(subimage);
        Samples samples(image.image_pixels() * static_cast<std::size_t>(image.nchannels));
        if (!input.read_image(subimage, 0, 0, -1, OIIO::TypeDesc::UINT16, samples.data())) samples.clear();
        return samples;
    }
    /// True when each thread gets every frame as it went in.
    bool threadsReadRightFrames(const std::function<OIIO::ImageInput&(std::size_t)>& inputOf) const {
        constexpr std::size_t kThreads = 6;
        std::array<bool, kThreads> right{};
        std::vector<std::thread> threads;
        for (std::size_t t = 0; t < kThreads; ++t)
            threads.emplace_back([&, t] {
                right[t] = true;
                for (std::size_t i = 0; i < std::size_t{3} * kFrames; ++i) {
                    const std::size_t n = (t + 3 * i) % kFrames;
                    right[t] = frame(inputOf(t), static_cast<int>(n)) == m_mosaics[n].samples && right[t];
                }
            });
        for (std::thread& thread : threads)
            thread.join();
        return std::ranges::count(right, true) == kThreads;
    }

    std::vector<Mosaic> m_mosaics = randomMosaics(kFrames, kWidth, kHeight);
    TempDir m_directory;
    std::string m_path = m_directory.write("A001C003.krw", makeClip({}, m_mosaics).bytes);
};

TEST_F(KrwInputTest, DeliversMosaicsBitForBitInAnyOrderAndAnyPieces) {
    const Input input = open(m_path);
    ASSERT_TRUE(input) << OIIO::geterror();
    EXPECT_EQ(input->spec().format, OIIO::TypeDesc::UINT16);
    for (const int n : {4, 0, 2, 2, 3, 1})
        EXPECT_EQ(frame(*input, n), m_mosaics[static_cast<std::size_t>(n)].samples) << n;
    // Rows of two frames in turn, upwards and in pieces of several heights; the address is odd.
    std::vector<std::uint8_t> bytes(std::size_t{2} * kWidth * kHeight + 1);
    for (const int height : {1, 5, kHeight})
        for (int end = kHeight; end > 0; end -= height)
            for (const int n : {3, 1}) {
                const int begin = std::max(0, end - height);
                ASSERT_TRUE(input->read_native_scanlines(n, 0, begin, end, 0, bytes.data() + 1));
                const auto& mosaic = m_mosaics[static_cast<std::size_t>(n)].samples;
                EXPECT_EQ(std::memcmp(bytes.data() + 1, mosaic.data() + std::ptrdiff_t{begin} * kWidth,
                                      std::size_t{2} * static_cast<std::size_t>(kWidth * (end - begin))),
                          0);
            }
}

TEST_F(KrwInputTest, DescribesEachFrameWithoutMovingThere) {
    ClipDescription description;
    description.framesPerSecond = 59.94F;
    const Input input = open(m_directory.write("fast.krw", makeClip(description, m_mosaics).bytes));
    ASSERT_TRUE(input) << OIIO::geterror();
    for (const int n : {0, 3}) {
        const OIIO::ImageSpec image = input->spec(n);
        const OIIO::ParamValue* const rate = image.find_attribute("FramesPerSecond", OIIO::TypeRational);
        ASSERT_NE(rate, nullptr);
        EXPECT_THAT(std::span(static_cast<const int*>(rate->data()), 2), ElementsAre(60000, 1001));
        // Frame 3 is the second of the pair 1.
        const OIIO::ParamValue* const timecode = image.find_attribute("smpte:TimeCode", OIIO::TypeTimeCode);
        ASSERT_NE(timecode, nullptr);
        EXPECT_EQ(static_cast<const std::uint32_t*>(timecode->data())[0], n == 0 ? 0x01000000U : 0x01008001U);
        EXPECT_EQ(image.get_string_attribute("oiio:subimagename"), n == 0 ? "01:00:00:00" : "01:00:00:03");
        EXPECT_EQ(image.get_int_attribute("oiio:subimages"), kFrames);
        EXPECT_EQ(image.get_int_attribute("oiio:Movie"), 1);
        EXPECT_EQ(image.get_string_attribute("raw:FilterPattern"), "GRBG");
        EXPECT_EQ(input->current_subimage(), 0);
    }
    EXPECT_TRUE(input->seek_subimage(4, 0));
    EXPECT_EQ(input->spec().get_string_attribute("oiio:subimagename"), "01:00:00:04");
    EXPECT_FALSE(input->seek_subimage(kFrames, 0) || input->seek_subimage(-1, 0) ||
                 input->seek_subimage(0, 1));
    EXPECT_EQ(input->current_subimage(), 4);
    EXPECT_EQ(input->spec(kFrames).width, 0);
}

TEST_F(KrwInputTest, KnowsClipsByTheirContent) {
    const auto reader = OIIO::ImageInput::create("krw");
    ASSERT_TRUE(reader) << OIIO::geterror();
    EXPECT_TRUE(reader->valid_file(m_directory.write("clip.bin", makeClip(2).bytes)));
    const std::string text = "no clip";
    EXPECT_FALSE(reader->valid_file(
        m_directory.write("text.krw", {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()})));
    EXPECT_FALSE(reader->valid_file(m_directory.path("missing.krw")));
    EXPECT_FALSE(reader->valid_file(m_directory.root().string()));
}

TEST_F(KrwInputTest, NamesFrameAndReasonOfWhatCannotBeRead) {
    const std::string path = spoiltClip();
    const Input input = open(path);
    ASSERT_TRUE(input) << OIIO::geterror();
    for (const int frameNumber : {1, 3}) {
        // The whole frame, then its first row twice: the second read uses the kept result.
        EXPECT_TRUE(frame(*input, frameNumber).empty());
        Samples row(kWidth);
        for (int i = 0; i < 2; ++i) {
            EXPECT_THAT(input->geterror(),
                        AllOf(HasSubstr(path), HasSubstr("frame " + std::to_string(frameNumber)),
                              HasSubstr(frameNumber == 1 ? "damaged: plane 2 breaks off" : "unreadable: ")));
            EXPECT_FALSE(input->read_native_scanline(frameNumber, 0, 0, 0, row.data()));
        }
        EXPECT_TRUE(input->has_error());
        (void)input->geterror();
    }
    EXPECT_EQ(frame(*input, 2), m_mosaics[2].samples) << "frames after a damaged one are read";

    const Input tolerant = open(path, {{"krw:damaged", 1}});
    ASSERT_TRUE(tolerant);
    EXPECT_FALSE(frame(*tolerant, 1).empty()) << tolerant->geterror();
    EXPECT_TRUE(frame(*tolerant, 3).empty());

    Samples row(kWidth);
    EXPECT_FALSE(input->read_native_scanline(0, 0, kHeight, 0, row.data()));
    EXPECT_FALSE(input->read_native_scanline(kFrames, 0, 0, 0, row.data()));
    EXPECT_THAT(input->geterror(), AllOf(HasSubstr("rows 32 to 32"), HasSubstr("subimage 5")));
    EXPECT_TRUE(input->close());
    EXPECT_FALSE(input->read_native_scanline(0, 0, 0, 0, row.data())) << "closed";
    (void)input->geterror();
}

TEST_F(KrwInputTest, TakesHints) {
    const Input single = open(m_path, {{"krw:frame", 3}});
    ASSERT_TRUE(single) << OIIO::geterror();
    EXPECT_EQ(single->spec().get_int_attribute("oiio:subimages"), 1);
    EXPECT_EQ(single->spec().get_string_attribute("oiio:subimagename"), "01:00:00:03");
    EXPECT_FALSE(single->seek_subimage(1, 0));
    EXPECT_EQ(frame(*single, 0), m_mosaics[3].samples);

    struct Form {
        std::vector<Hint> hints;
        int width;
        const char* space;
    };
    for (const Form& form :
         {Form{{{"krw:develop", 1}}, kWidth / 2, "sRGB"},
          Form{{{"krw:develop", 1}, {"krw:curve", "rec709"}}, kWidth / 2, "Rec709"},
          Form{{{"krw:develop", 1}, {"krw:curve", "log"}}, kWidth / 2, ""},
          Form{{{"krw:develop", 1}, {"krw:size", "full"}, {"krw:curve", "linear"}}, kWidth, "Linear"}}) {
        const Input developed = open(m_path, form.hints);
        ASSERT_TRUE(developed) << OIIO::geterror();
        EXPECT_EQ(developed->spec().nchannels, 3);
        EXPECT_EQ(developed->spec().width, form.width);
        EXPECT_EQ(developed->spec().get_string_attribute("oiio:ColorSpace"), form.space);
        EXPECT_EQ(developed->spec().find_attribute("raw:FilterPattern"), nullptr);
        EXPECT_FALSE(frame(*developed, 1).empty()) << developed->geterror();
    }

    for (const Hint& wrong : {Hint("krw:size", "big"), Hint("krw:curve", "steep"), Hint("krw:frame", kFrames),
                              Hint("krw:frame", -1), Hint("krw:frame", "last")}) {
        EXPECT_FALSE(open(m_path, {wrong}));
        EXPECT_THAT(OIIO::geterror(), AllOf(HasSubstr(wrong.name), Not(HasSubstr("TIFF"))));
    }
}

TEST_F(KrwInputTest, ServesImageCacheAndImageBuf) {
    const auto destroy = [](OIIO::ImageCache* cache) { OIIO::ImageCache::destroy(cache); };
    const std::unique_ptr<OIIO::ImageCache, decltype(destroy)> cache(OIIO::ImageCache::create(false),
                                                                     destroy);
    cache->attribute("autotile", 16);
    for (const int n : {2, 0, 4}) {
        Samples pixels(std::size_t{kWidth} * kHeight);
        ASSERT_TRUE(cache->get_pixels(OIIO::ustring(m_path), n, 0, 0, kWidth, 0, kHeight, 0, 1,
                                      OIIO::TypeDesc::UINT16, pixels.data()))
            << cache->geterror();
        EXPECT_EQ(pixels, m_mosaics[static_cast<std::size_t>(n)].samples) << n;
    }
    const OIIO::ImageBuf buffer(m_path, 3, 0, cache.get());
    EXPECT_EQ(buffer.nsubimages(), kFrames);
    EXPECT_EQ(buffer.getchannel(10, 7, 0, 0),
              static_cast<float>(m_mosaics[3].samples[7 * kWidth + 10]) / 65535.0F);
}

TEST_F(KrwInputTest, InputsWorkSideBySideAndOneServesManyThreads) {
    std::vector<Input> inputs;
    for (int i = 0; i < 6; ++i)
        inputs.push_back(open(m_path));
    EXPECT_TRUE(threadsReadRightFrames([&](std::size_t t) -> OIIO::ImageInput& { return *inputs[t]; }));
    EXPECT_TRUE(threadsReadRightFrames([&](std::size_t) -> OIIO::ImageInput& { return *inputs[0]; }));
}

TEST_F(KrwInputTest, EverySeedOfTheClipFuzzerEndsInPicturesOrReasons) {
    int opened = 0;
    for (const auto& seed : std::filesystem::directory_iterator(KRW_CLIP_SEEDS))
        for (const int develop : {0, 1})
            for (const int damaged : {0, 1}) {
                SCOPED_TRACE(seed.path());
                const Input input =
                    open(seed.path().string(), {{"krw:develop", develop}, {"krw:damaged", damaged}});
                if (!input) {
                    EXPECT_THAT(OIIO::geterror(), HasSubstr(seed.path().string() + ": "));
                    continue;
                }
                ++opened;
                const OIIO::ImageSpec& image = input->spec();
                const int last = image.get_int_attribute("oiio:subimages") - 1;
                constexpr std::size_t kLargest = 1 << 20; // pixels; larger ones are only opened
                if (image.image_pixels() > kLargest) continue;
                for (const int n : {0, 1, last})
                    EXPECT_TRUE(!frame(*input, n).empty() ||
                                input->geterror().find("frame ") != std::string::npos);
            }
    EXPECT_GT(opened, 40);
    const std::string huge = std::string(KRW_CLIP_SEEDS) + "/huge-picture.krw";
    EXPECT_FALSE(open(huge));
    EXPECT_THAT(OIIO::geterror(), HasSubstr(" bytes cannot hold a picture of 65534 x 32766 samples"));
}

} // namespace
