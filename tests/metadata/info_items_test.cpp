// The setters of information items and the lines of the device metadata document.
#include "host/memory.h"
#include "metadata/info_items.h"
#include "tests/support/host_faults.h"

#include <gtest/gtest.h>

namespace {

TEST(InfoString, TakesAFixedWidthFieldWhole) {
    const HostFaults faults;
    char* item = nullptr;
    const std::string full(32, 'x'); // a field without a NUL
    const std::string early = "abc" + std::string(29, '\0');
    for (const std::string& field : {early, full, std::string()}) {
        ASSERT_EQ(mfKrwSetInfoString(&item, field.data(), static_cast<unsigned>(field.size())), 1);
        EXPECT_STREQ(item, field.c_str());
    }
    PVFree(item);
    EXPECT_EQ(faults.liveBlocks(), 0) << "replaced texts are released";
}

TEST(InfoString, WithoutMemory) {
    HostFaults faults;
    char* item = nullptr;
    ASSERT_EQ(mfKrwSetInfoString(&item, "old", 3), 1);
    faults.fail(HostCall::allocation, 1);
    EXPECT_EQ(mfKrwSetInfoString(&item, "new", 3), 0);
    EXPECT_STREQ(item, "old");
    faults.fail(HostCall::allocation, 1);
    EXPECT_EQ(setInfoItem(&item, "new"), nullptr);
    EXPECT_EQ(item, nullptr) << "the old text is already gone";
    EXPECT_STREQ(setInfoItem(&item, "again"), "again");
    PVFree(item);
    EXPECT_EQ(faults.liveBlocks(), 0);
    EXPECT_EQ(faults.nullReleases(), 0);
}

TEST(StandardItem, MatchesWholeNamesOnly) {
    const struct {
        const char* name;
        const char* key;
        bool matches;
    } rows[] = {{"Take", "Take", true},  {"Take", "Take2", false}, {"Take", "Tak", false},
                {"Take", "take", false}, {"", "", true},           {"Take", "", false},
                {"", "Take", false}};
    for (const auto& row : rows) {
        SCOPED_TRACE(std::string(row.name) + " and " + row.key);
        char* text = nullptr;
        unsigned number = 5;
        EXPECT_EQ(setStandardItem(&text, row.name, row.key, "7"), row.matches);
        EXPECT_EQ(setStandardItem(&number, row.name, row.key, "7"), row.matches);
        EXPECT_EQ(text != nullptr, row.matches);
        EXPECT_EQ(number, row.matches ? 7U : 5U);
        // In either place of a two-pair form.
        EXPECT_EQ(setStandardItem(&text, row.name, row.key, "A", "A", "8"), row.matches);
        EXPECT_EQ(setStandardItem(&number, "A", "A", row.name, row.key, "8"), row.matches);
        EXPECT_EQ(number, row.matches ? 8U : 5U);
        PVFree(text);
    }
}

TEST(StandardItem, ReadsNumbersInBaseTen) {
    const struct {
        const char* text;
        unsigned number;
    } rows[] = {{"800", 800}, {"0x10", 0},         {"", 0},           {"3200K", 3200}, {" \t+12", 12},
                {"K", 0},     {"-1", 0xFFFFFFFFU}, {"4294967297", 1}, {"010", 10}};
    for (const auto& row : rows) {
        unsigned number = 5;
        EXPECT_TRUE(setStandardItem(&number, "a", "a", row.text));
        EXPECT_EQ(number, row.number) << row.text;
    }
}

TEST(DocumentLine, EscapesNothingButSlateLinesAreFixed) {
    std::string doc = "x";
    addXmlItem(doc, "Device", "serialNo", "0042");
    addXmlItem(doc, "a", "");
    addXmlItem(doc, "Item", "", "<&>");
    EXPECT_EQ(doc, "x\t<Device-serialNo>0042</Device-serialNo>\n\t<a></a>\n\t<Item-><&></Item->\n");
    std::string line = "Lens (mm)/Focus";
    fixTagLine(line);
    EXPECT_EQ(line, "Lens--mm-.Focus");
}

} // namespace
