// The exported entry points: queries, creation, command dispatch and destruction.
#include "host/media_file.h"
#include "plugin/entry_points.h"
#include "plugin/status.h"

#include <array>
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

constexpr auto kMinus33 = static_cast<std::uintptr_t>(std::intptr_t{-33});

CAMediaFile* createReader() {
    MFXCmdV1 record{7, 0};
    return reinterpret_cast<CAMediaFile*>(xMediaFile(nullptr, CAMediaFile::MFX_CREATE, &record));
}

TEST(CheckVersionAndFile, VersionQueryReportsOneFormat) {
    std::uint32_t formats = 99;
    EXPECT_EQ(xCheckVersionAndFile(nullptr, kVersionQuery, &formats), 23U);
    EXPECT_EQ(formats, 1U);
    EXPECT_EQ(xCheckVersionAndFile(nullptr, kVersionQuery, nullptr), 23U);
    EXPECT_EQ(xValidateFile(), 0U);
}

TEST(CheckVersionAndFile, DescriptorIsCopiedWholeForIndexZeroOnly) {
    std::array<std::uint8_t, 64> buffer{};
    buffer.fill(0xA5);
    EXPECT_EQ(xCheckVersionAndFile(nullptr, 1, buffer.data()), 0xE8023026U);
    for (const std::uint8_t byte : buffer)
        EXPECT_EQ(byte, 0xA5);

    EXPECT_EQ(xCheckVersionAndFile(nullptr, 0, buffer.data()), 0U);
    FormatDescriptor descriptor{};
    std::memcpy(&descriptor, buffer.data(), sizeof descriptor);
    EXPECT_EQ(descriptor.fileType, 141U);
    EXPECT_STREQ(descriptor.pattern, "*.krw");
    EXPECT_STREQ(descriptor.shortDescription, "KRW - Corvel KRW Stream Reader");
    EXPECT_EQ(descriptor.longDescription, descriptor.shortDescription);
    constexpr std::array<std::uint8_t, 8> kCapabilities{0x21, 0x00, 0x50, 0x00, 0x00, 0x00, 0x00, 0xDC};
    EXPECT_EQ(std::memcmp(&buffer[32], kCapabilities.data(), kCapabilities.size()), 0);
    for (std::size_t i = 40; i < 56; ++i)
        EXPECT_EQ(buffer[i], 0) << i;
    for (std::size_t i = 56; i < buffer.size(); ++i)
        EXPECT_EQ(buffer[i], 0xA5) << "written past the descriptor at " << i;
}

TEST(CheckVersionAndFile, WithoutPathAndOutputTheFileCheckAnswers) {
    EXPECT_EQ(xCheckVersionAndFile(nullptr, 0, nullptr), 0U);
    EXPECT_EQ(xCheckVersionAndFile("", 0, nullptr), 0U);
    EXPECT_EQ(xCheckVersionAndFile("/nonexistent/clip.krw", 0, nullptr), status::kNoFile);
}

TEST(MediaFile, MissingObjectsAndRecordsAreAnsweredWithoutEffect) {
    struct Row {
        const char* name;
        std::uint32_t code;
        bool withRecord;
        std::uintptr_t result;
    };
    constexpr Row kRows[] = {
        {"create without record", 0, false, 0},
        {"initialise without record", 1, false, 0},
        {"exit without object", 2, true, 0},
        {"destroy without object", 0x7FFFFFFD, true, 0},
        {"open flags without object", 0x7FFFFFFE, true, kMinus33},
        {"name without object", 0x7FFFFFFF, true, kMinus33},
        {"forwarded without object", 55, true, 0},
    };
    for (const Row& row : kRows) {
        std::array<std::uint8_t, 64> record{};
        record.fill(0xA5);
        EXPECT_EQ(xMediaFile(nullptr, row.code, row.withRecord ? record.data() : nullptr), row.result)
            << row.name;
        for (const std::uint8_t byte : record)
            EXPECT_EQ(byte, 0xA5) << row.name;
    }
}

TEST(MediaFile, QueriesOfAnObject) {
    CAMediaFile* reader = createReader();
    ASSERT_NE(reader, nullptr);
    reader->m_SetOpenFlags(0x12345678);
    std::strcpy(reader->m_fileName, "/clips/A001.krw");
    std::uint32_t flags = 0;
    std::array<char, 32> name{};
    name.fill('x');
    EXPECT_EQ(xMediaFile(reader, CAMediaFile::MFX_GETOPENFLAGS, &flags), 0U);
    EXPECT_EQ(flags, 0x12345678U);
    EXPECT_EQ(xMediaFile(reader, CAMediaFile::MFX_GETNAME, name.data()), 0U);
    EXPECT_STREQ(name.data(), "/clips/A001.krw");
    EXPECT_EQ(name[16], 'x');
    EXPECT_EQ(xMediaFile(reader, CAMediaFile::MFX_GETOPENFLAGS, nullptr), kMinus33);
    EXPECT_EQ(xMediaFile(reader, CAMediaFile::MFX_GETNAME, nullptr), kMinus33);
    // A code that the base class does not know; creation with an object is one of them.
    MFXCmdV1 record{};
    EXPECT_EQ(xMediaFile(reader, 4711, &record), std::uintptr_t{0xE8022001});
    EXPECT_EQ(xMediaFile(reader, CAMediaFile::MFX_CREATE, &record), std::uintptr_t{0xE8022001});
    EXPECT_EQ(xMediaFile(reader, CAMediaFile::MFX_EXIT, &record), 0U);
    EXPECT_EQ(xMediaFile(reader, CAMediaFile::MFX_DESTROY, nullptr), 0U);
}

TEST(MediaFile, InitialisationCreatesAnObject) {
    MFXCmdV1 record{};
    auto* reader = reinterpret_cast<CAMediaFile*>(xMediaFile(nullptr, CAMediaFile::MFX_INIT, &record));
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(xMediaFile(reader, CAMediaFile::MFX_INIT, &record), reinterpret_cast<std::uintptr_t>(reader));
    xMediaFile(reader, CAMediaFile::MFX_DESTROY, nullptr);
}

/// An object that a host made itself: a table of slots, and room for the state of the base class. It records
/// its calls.
class FakeObject {
  public:
    static constexpr std::size_t kSlots = 85;
    static constexpr std::size_t kDeletingDestructor = 1;
    static constexpr std::size_t kMfxCmd = 42;
    static constexpr std::size_t kGetOpenFlags = 77;

    FakeObject() {
        m_table.fill(reinterpret_cast<void*>(&unexpected));
        m_table[kDeletingDestructor] = reinterpret_cast<void*>(&destroy);
        m_table[kMfxCmd] = reinterpret_cast<void*>(&command);
        m_table[kGetOpenFlags] = reinterpret_cast<void*>(&openFlags);
        void* const* table = m_table.data();
        std::memcpy(m_state.data(), &table, sizeof table);
        s_calls.clear();
    }
    CAMediaFile* object() { return reinterpret_cast<CAMediaFile*>(m_state.data()); }

    struct Call {
        const char* name;
        std::uint32_t code;
        std::uint64_t record; // the eight bytes given, 0 without
    };
    static inline std::vector<Call> s_calls;
    static inline std::uint32_t s_result = 0;

  private:
    static void unexpected() { FAIL() << "a slot that xMediaFile has no business with"; }
    static void destroy(void* /*object*/) { s_calls.push_back({"destroy", 0, 0}); }
    static std::uint32_t command(void* /*object*/, std::uint32_t code, const void* record) {
        std::uint64_t bytes = 0;
        if (record != nullptr) std::memcpy(&bytes, record, sizeof bytes);
        s_calls.push_back({"command", code, bytes});
        return s_result;
    }
    static std::uint32_t openFlags(void* /*object*/) { return 0xCAFE; }

    std::array<void*, kSlots> m_table{};
    alignas(CAMediaFile) std::array<std::uint8_t, sizeof(CAMediaFile)> m_state{};
};

TEST(MediaFile, DispatchesThroughTheObjectsOwnTable) {
    constexpr std::uint64_t kRecord = 0x1122334455667788;
    struct Row {
        const char* name;
        std::uint32_t code;
        std::uint32_t commandResult;
        bool returnsObject;
        std::uintptr_t result;
        std::vector<std::pair<std::string, std::uint32_t>> calls;
    };
    const Row rows[] = {
        {"initialisation accepted", 1, 0, true, 0, {{"command", 1}}},
        {"initialisation refused", 1, 5, false, 0, {{"command", 1}, {"command", 2}, {"destroy", 0}}},
        {"exit ignores the result", 2, 5, false, 0, {{"command", 2}}},
        {"creation with an object is forwarded", 0, 9, false, 9, {{"command", 0}}},
        {"results are zero-extended", 77, 0xFFFFFFFF, false, 0xFFFFFFFF, {{"command", 77}}},
        {"destruction", 0x7FFFFFFD, 0, false, 0, {{"destroy", 0}}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        FakeObject fake;
        FakeObject::s_result = row.commandResult;
        std::uint64_t record = kRecord;
        const std::uintptr_t expected =
            row.returnsObject ? reinterpret_cast<std::uintptr_t>(fake.object()) : row.result;
        EXPECT_EQ(xMediaFile(fake.object(), row.code, &record), expected);
        ASSERT_EQ(FakeObject::s_calls.size(), row.calls.size());
        for (std::size_t i = 0; i < row.calls.size(); ++i) {
            EXPECT_EQ(FakeObject::s_calls[i].name, row.calls[i].first);
            EXPECT_EQ(FakeObject::s_calls[i].code, row.calls[i].second);
        }
        EXPECT_EQ(FakeObject::s_calls[0].record, row.calls[0].first == "command" ? kRecord : 0);
        if (row.calls.size() == 3) {
            EXPECT_EQ(FakeObject::s_calls[1].record, 0U) << "a zero-filled value";
        }
    }
    FakeObject fake;
    std::uint32_t flags = 0;
    EXPECT_EQ(xMediaFile(fake.object(), CAMediaFile::MFX_GETOPENFLAGS, &flags), 0U);
    EXPECT_EQ(flags, 0xCAFEU);
}

} // namespace
