// Many readers at once, and readers on small stacks.
#include "metadata/xml_limits.h"
#include "plugin/entry_points.h"
#include "plugin/status.h"
#include "tests/support/host_faults.h"
#include "tests/support/open_clip.h"

#include <algorithm>
#include <functional>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/mman.h>
#include <thread>

namespace {

constexpr std::uint32_t kFrames = 6;
constexpr std::uint32_t kWidth = 64;
constexpr std::uint32_t kHeight = 16;

/// A clip whose last frame has a plane that needs the plane decoder, with a side-car of the deepest nesting
/// that is allowed.
class Threads : public testing::Test {
  protected:
    Threads() {
        TestClip clip = makeClip({}, m_mosaics);
        clip.setCodeTable(kFrames - 1, 1, {});
        m_path = m_directory.write("clip.krw", clip.bytes);
        std::string xml = "<P2Main></P2Main>";
        for (std::size_t i = 0; i + 1 < kMaxXmlNesting; ++i)
            xml.insert(std::string_view("<P2Main>").size() + 3 * i, "<a></a>");
        std::ofstream(m_directory.path("clipM01.xml")) << xml;
    }

    /// Probes and opens the clip, reads all frames beginning with `first`, asks for the descriptions, and
    /// closes. True when every answer was right.
    bool readAll(std::uint32_t first) const {
        bool right = xCheckVersionAndFile(m_path.c_str(), 0, nullptr) == status::kOk;
        CMFKrw reader(0);
        right = openForReading(reader, m_path) == status::kOk && right;
        for (std::uint32_t i = 0; i < kFrames; ++i) {
            const std::uint32_t n = (first + i) % kFrames;
            FrameRequest request(std::size_t{kWidth} * kHeight);
            right = request.read(reader, n) == status::kOk && right;
            right = (n == kFrames - 1 || request.picture == m_mosaics[n].samples) && right;
        }
        right = reader.SetFileInfo(0x3, nullptr, nullptr, &reader.m_aud, nullptr) == status::kOk && right;
        return reader.Close() == 0 && reader.m_info[InfoText::deviceMetadata] == nullptr && right;
    }

    std::vector<Mosaic> m_mosaics = randomMosaics(kFrames, kWidth, kHeight);
    TempDir m_directory;
    std::string m_path;
    LogCapture m_log;
};

TEST_F(Threads, ReadersOfOneClipDoNotDisturbEachOther) {
    constexpr std::size_t kThreads = 8;
    std::array<bool, kThreads> right{};
    std::vector<std::thread> threads;
    for (std::uint32_t t = 0; t < kThreads; ++t)
        threads.emplace_back([&, t] {
            right[t] = true;
            for (std::uint32_t round = 0; round < 5; ++round)
                right[t] = readAll(t + round) && right[t];
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(std::ranges::count(right, true), kThreads);
}

TEST_F(Threads, StackOf256KiBSuffices) {
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "the sanitizer's own thread data take more";
#endif
    constexpr std::size_t kSize = std::size_t{256} * 1024;
    constexpr std::uint8_t kUnused = 0xC5;
    auto* const stack = static_cast<std::uint8_t*>(
        mmap(nullptr, kSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    ASSERT_NE(stack, MAP_FAILED);
    std::fill_n(stack, kSize, kUnused);

    bool right = false;
    std::function<void()> work = [&] { right = readAll(0); };
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstack(&attributes, stack, kSize);
    pthread_t thread{};
    const auto run = [](void* argument) -> void* {
        (*static_cast<std::function<void()>*>(argument))();
        return nullptr;
    };
    ASSERT_EQ(pthread_create(&thread, &attributes, run, &work), 0);
    pthread_join(thread, nullptr);
    EXPECT_TRUE(right);
    const auto untouched =
        std::find_if(stack, stack + kSize, [](auto byte) { return byte != kUnused; }) - stack;
    RecordProperty("stack_bytes", static_cast<int>(kSize - static_cast<std::size_t>(untouched)));
    EXPECT_GT(untouched, 16 * 1024) << "a sixteenth of the stack is to spare";
    pthread_attr_destroy(&attributes);
    munmap(stack, kSize);
}

} // namespace
