// The setters of information items and the lines of the device metadata document.
#include "host/memory.h"
#include "metadata/info_items.h"
#include "tests/support/host_faults.h"

#include <gtest/gtest.h>
#include <iterator>
#include <string_view>

namespace {

/// A text item that releases its text.
struct Item {
    char* text = nullptr;
    Item() = default;
    Item(const Item&) = delete;
    Item& operator=(const Item&) = delete;
    ~Item() { PVFree(text); }
};

TEST(InfoString, TakesAFixedWidthFieldWhole) {
    const HostFaults faults;
    {
        Item item;
        const char field[32] = "abc";
        ASSERT_EQ(mfKrwSetInfoString(&item.text, field, sizeof field), 1);
        EXPECT_STREQ(item.text, "abc");
        const std::string full(32, 'x'); // a field without a NUL
        ASSERT_EQ(mfKrwSetInfoString(&item.text, full.data(), 32), 1);
        EXPECT_STREQ(item.text, full.c_str());
        ASSERT_EQ(mfKrwSetInfoString(&item.text, "", 0), 1);
        EXPECT_STREQ(item.text, "");
        EXPECT_EQ(faults.liveBlocks(), 1) << "one text per item, the replaced ones released";
    }
    EXPECT_EQ(faults.liveBlocks(), 0);
}

TEST(InfoString, KeepsTheOldTextWithoutMemory) {
    HostFaults faults;
    Item item;
    ASSERT_EQ(mfKrwSetInfoString(&item.text, "old", 3), 1);
    faults.fail(HostCall::allocation, 1);
    EXPECT_EQ(mfKrwSetInfoString(&item.text, "new", 3), 0);
    EXPECT_STREQ(item.text, "old");
}

TEST(InfoItem, IsNullWithoutMemory) {
    HostFaults faults;
    Item item;
    EXPECT_STREQ(setInfoItem(&item.text, "old"), "old");
    faults.fail(HostCall::allocation, 1);
    EXPECT_EQ(setInfoItem(&item.text, "new"), nullptr);
    EXPECT_EQ(item.text, nullptr);
    EXPECT_EQ(faults.liveBlocks(), 0);
    EXPECT_STREQ(setInfoItem(&item.text, "again"), "again");
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
        Item text;
        unsigned number = 5;
        EXPECT_EQ(setStandardItem(&text.text, row.name, row.key, "7"), row.matches);
        EXPECT_EQ(setStandardItem(&number, row.name, row.key, "7"), row.matches);
        EXPECT_EQ(text.text != nullptr, row.matches);
        EXPECT_EQ(number, row.matches ? 7U : 5U);
        // In either place of a two-pair form.
        EXPECT_EQ(setStandardItem(&text.text, row.name, row.key, "A", "A", "8"), row.matches);
        EXPECT_EQ(setStandardItem(&number, "A", "A", row.name, row.key, "8"), row.matches);
        EXPECT_EQ(number, row.matches ? 8U : 5U);
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

TEST(DocumentLine, EscapesNothing) {
    std::string doc = "x";
    addXmlItem(doc, "Device", "serialNo", "0042");
    addXmlItem(doc, "a", "");
    addXmlItem(doc, "Item", "", "<&>");
    EXPECT_EQ(doc, "x\t<Device-serialNo>0042</Device-serialNo>\n\t<a></a>\n\t<Item-><&></Item->\n");
}

TEST(TagLine, LosesWhatElementNamesCannotHold) {
    std::string line = "Lens (mm)/Focus";
    fixTagLine(line);
    EXPECT_EQ(line, "Lens--mm-.Focus");
    replace(line, "-", "__");
    EXPECT_EQ(line, "Lens____mm__.Focus");
}

} // namespace
