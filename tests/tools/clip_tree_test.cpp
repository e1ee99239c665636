// The tree that a mount shows, without a mount: names, sizes, bytes, and clips that change.
#include "tests/support/clip_builder.h"
#include "tests/support/temp_dir.h"
#include "tools/clip/plugin_messages.h"
#include "tools/mount/clip_tree.h"

#include <atomic>
#include <cerrno>
#include <filesystem>
#include <gmock/gmock.h>
#include <mutex>
#include <random>
#include <system_error>
#include <thread>

namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;

class Tree : public testing::Test {
  protected:
    Tree() { collectPluginMessages(); }

    void write(const std::string& name, const TestClip& clip) const { (void)m_dir.write(name, clip.bytes); }

    /// The node of a path below the root.
    [[nodiscard]] NodeAttributes at(const fs::path& path) {
        NodeAttributes found = m_tree.attributes(kRootNode);
        for (const fs::path& name : path)
            found = m_tree.find(found.node, name.string());
        return found;
    }
    [[nodiscard]] std::vector<std::string> names(const fs::path& path) {
        std::vector<std::string> names;
        for (const NodeEntry& entry : m_tree.list(path.empty() ? kRootNode : at(path).node))
            names.push_back(entry.name);
        return names;
    }
    /// A file's bytes, read in pieces of `piece` bytes.
    [[nodiscard]] std::string read(Node node, std::uint64_t piece = 1000) {
        const auto file = m_tree.open(node);
        std::string bytes;
        while (true) {
            const FilePart part = file->read(bytes.size(), piece);
            const std::size_t before = bytes.size();
            for (const auto& span : part.pieces)
                bytes.append(span.begin(), span.end());
            if (bytes.size() == before) return bytes;
        }
    }
    [[nodiscard]] std::string read(const fs::path& path) { return read(at(path).node); }
    /// The error that asking for something ends with; 0 for none.
    template <typename Ask>
    [[nodiscard]] static int errorOf(Ask ask) {
        try {
            ask();
            return 0;
        } catch (const std::system_error& error) {
            return error.code().value();
        }
    }
    [[nodiscard]] int errorAt(const fs::path& path) {
        return errorOf([&] { (void)at(path); });
    }

    TempDir m_dir;
    Plugin m_plugin{KRW_PLUGIN};
    FrameCache m_cache{std::uint64_t{1} << 20U, 2};
    std::mutex m_logMutex;
    std::string m_log;
    ClipTree m_tree{m_plugin, m_dir.root(), m_cache, [this](const std::string& line) {
                        const std::scoped_lock lock(m_logMutex);
                        m_log += line + "\n";
                    }};
};

/// A clip that the camera is still writing.
ClipDescription withoutTable() {
    ClipDescription description;
    description.storedTable = false;
    return description;
}

std::string mosaicBytes(const Mosaic& mosaic) {
    return {reinterpret_cast<const char*>(mosaic.samples.data()), 2 * mosaic.samples.size()};
}

TEST_F(Tree, ShowsFoldersAndClipsByName) {
    fs::create_directories(m_dir.path("day1/empty"));
    fs::create_directory(m_dir.path("B"));
    fs::create_directory_symlink(m_dir.root(), m_dir.path("circle"));
    for (const char* name : {"A.krw", "B.KRW", "day1/C.krw", "._A.krw", "notes.txt"})
        write(name, makeClip(2));
    EXPECT_THAT(names(""), ElementsAre("A", "B", "B.KRW", "day1"));
    EXPECT_THAT(names("day1"), ElementsAre("C", "empty"));
    EXPECT_THAT(names("B.KRW"), ElementsAre("B_000000.dng", "B_000001.dng", "B.json", "B.png"));
    for (const char* name :
         {"C", "A.krw", ".", "A/A_000002.dng", "A/A_00000.dng", "A/A_0000000.dng", "A/B_000000.dng",
          "A/A_000000.dn", "A/A_.dng", "A/A_99999999999999999999.dng", "A/A.unreadable.txt", "circle"})
        EXPECT_EQ(errorAt(name), ENOENT) << name;
    EXPECT_EQ(errorAt("A/A_000000.dng/x"), ENOTDIR);
    EXPECT_EQ(errorOf([&] { (void)m_tree.open(at("A").node); }), EISDIR);
    EXPECT_EQ(errorOf([&] { (void)m_tree.attributes(Node{99} << 40U); }), ESTALE);
}

TEST_F(Tree, KnowsSizesWithoutDecoding) {
    TestClip clip = makeClip(3, 64, 32);
    clip.setDanraw<std::uint32_t>(2, krwfile::danraw::kSignatureOffset, 0);
    write("A.krw", clip);
    const NodeAttributes frame = at("A/A_000002.dng");
    EXPECT_EQ(frame.size, at("A/A_000000.dng").size);
    EXPECT_EQ(frame.size, read("A/A_000000.dng").size());
    EXPECT_THAT(m_log, HasSubstr("A.krw: the white balance is estimated from 2 of 3 frames; frame 2: "));
    EXPECT_EQ(std::ranges::count(m_log, '\n'), 1) << m_log; // frame 2 has not been asked for
    EXPECT_EQ(frame.modified.tv_sec, identify(m_dir.path("A.krw"))->modified.tv_sec);
    EXPECT_EQ(at("A/A.json").size, read("A/A.json").size());
    EXPECT_EQ(at("A/A.png").size, read("A/A.png").size());
}

TEST_F(Tree, NamesWhatItCannotRead) {
    TestClip clip = makeClip(5, 64, 32);
    clip.setCodeTable(1, 2, kinedec::CodeTable{});
    clip.setDanraw<std::uint32_t>(3, krwfile::danraw::kSignatureOffset, 0);
    write("A.krw", clip);
    EXPECT_EQ(errorAt("A/A.unreadable.txt"), ENOENT);
    for (const char* frame : {"A/A_000000.dng", "A/A_000001.dng", "A/A_000002.dng"})
        EXPECT_EQ(read(frame).size(), at(frame).size) << frame;
    EXPECT_EQ(errorOf([&] { (void)read("A/A_000003.dng"); }), EIO);
    EXPECT_EQ(errorOf([&] { (void)read("A/A_000003.dng"); }), EIO);
    const std::string list = read("A/A.unreadable.txt");
    EXPECT_THAT(list, HasSubstr("frame 1, 01:00:00:01: damaged: plane 2 breaks off"));
    EXPECT_THAT(list, HasSubstr("frame 3, 01:00:00:03: unreadable: its record carries no frame header"));
    EXPECT_EQ(std::ranges::count(list, '\n'), 2);
    EXPECT_EQ(std::ranges::count(m_log, '\n'), 3) << m_log; // each once, and the balance
    EXPECT_THAT(names("A").back(), "A.unreadable.txt");

    (void)m_dir.write("bad.krw", std::vector<std::uint8_t>(5000));
    EXPECT_THAT(names("bad"), ElementsAre("bad.unreadable.txt"));
    EXPECT_THAT(read("bad/bad.unreadable.txt"), HasSubstr("bad.krw: "));
    EXPECT_EQ(errorAt("bad/bad.json"), ENOENT);
}

TEST_F(Tree, NoticesClipsThatAppearGrowAndVanish) {
    EXPECT_EQ(errorAt("A"), ENOENT);
    write("A.krw", makeClip(withoutTable(), randomMosaics(2, 64, 32)));
    const Node folder = at("A").node;
    const auto open = m_tree.open(at("A/A_000001.dng").node);
    EXPECT_EQ(errorAt("A/A_000002.dng"), ENOENT);

    const std::vector<Mosaic> three = randomMosaics(3, 64, 32);
    write("A.krw", makeClip(withoutTable(), three)); // the camera goes on writing
    EXPECT_EQ(errorOf([&] { (void)m_tree.list(folder); }), ESTALE);
    EXPECT_EQ(errorOf([&] { (void)m_tree.find(folder, "A_000000.dng"); }), ESTALE);
    EXPECT_NE(at("A").node, folder);
    EXPECT_TRUE(read("A/A_000002.dng").ends_with(mosaicBytes(three[2])));

    const Node frame = at("A/A_000000.dng").node;
    const auto held = m_tree.open(frame);
    fs::remove(m_dir.path("A.krw"));
    EXPECT_EQ(errorOf([&] { (void)m_tree.open(frame); }), ESTALE);
    EXPECT_EQ(errorAt("A"), ENOENT);
    EXPECT_TRUE(names("").empty());
    // The file was never read, and its clip is gone.
    EXPECT_EQ(errorOf([&] { (void)held->read(0, 10000); }), EIO);
}

TEST_F(Tree, ShowsOneClipAlone) {
    write("A.krw", makeClip(2));
    write("B.krw", makeClip(2));
    ClipTree tree(m_plugin, m_dir.path("A.krw"), m_cache, [](const std::string&) {});
    const std::vector<NodeEntry> root = tree.list(kRootNode);
    ASSERT_EQ(root.size(), 1U);
    EXPECT_EQ(root[0].name, "A");
    EXPECT_EQ(tree.list(root[0].node).size(), 4U);
    fs::remove(m_dir.path("A.krw"));
    EXPECT_EQ(errorOf([&] { (void)tree.find(kRootNode, "A"); }), ENOENT);
}

class ThreadsTree : public Tree {};

/// Readers of random parts of two clips, while a third clip comes and goes.
TEST_F(ThreadsTree, ReadersDoNotDisturbEachOther) {
    const std::vector<Mosaic> mosaics = randomMosaics(12, 64, 32);
    write("A.krw", makeClip({}, mosaics));
    write("B.krw", makeClip(withoutTable(), mosaics));
    const std::uint64_t size = at("A/A_000000.dng").size;
    const std::uint64_t head = size - mosaicBytes(mosaics[0]).size();
    std::atomic<int> wrong = 0;
    std::vector<std::thread> readers;
    for (unsigned number = 0; number < 6; ++number)
        readers.emplace_back([&, number] {
            std::mt19937 random(number);
            for (int turn = 0; turn < 40; ++turn) {
                const std::string clip = number % 2 == 0 ? "A" : "B";
                const std::uint32_t frame = number < 3 ? static_cast<std::uint32_t>(turn) % 12
                                                       : static_cast<std::uint32_t>(random() % 12);
                const auto name = clip + "/" + numberedName(clip, frame, ExportFormat::dng);
                const auto file = m_tree.open(at(name).node);
                const std::uint64_t offset = head + random() % 4000;
                const FilePart part = file->read(offset, 50);
                std::string bytes;
                for (const auto& span : part.pieces)
                    bytes.append(span.begin(), span.end());
                if (bytes != mosaicBytes(mosaics[frame]).substr(offset - head, 50)) ++wrong;
            }
        });
    for (int turn = 0; turn < 20; ++turn) {
        write("C.krw", makeClip(2));
        (void)errorAt("C/C_000000.dng");
        (void)errorOf([&] { (void)names(""); });
        fs::remove(m_dir.path("C.krw"));
    }
    for (std::thread& reader : readers)
        reader.join();
    EXPECT_EQ(wrong, 0);
}

} // namespace
