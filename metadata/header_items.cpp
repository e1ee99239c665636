#include "metadata/header_items.h"

#include "host/memory.h"
#include "krw/format.h"
#include "metadata/info_items.h"

#include <algorithm>
#include <cstring>

namespace {

namespace danraw = krwfile::danraw;

// How an information item is made from a header field.
enum class ItemKind { text, decimal, number, note };

struct HeaderItem {
    ItemKind kind;
    std::size_t offset;
    std::size_t size; // text: bytes of the field; decimal: bytes of the text made from it
    InfoText text = InfoText::text16;
    InfoNumber number = InfoNumber::item210;
};

consteval HeaderItem textItem(InfoText item, danraw::TextField field) {
    return {ItemKind::text, field.offset, field.size, item};
}
consteval HeaderItem decimalItem(InfoText item, std::size_t offset, std::size_t textSize) {
    return {ItemKind::decimal, offset, textSize, item};
}

/// Bytes of a scene or take number's text. A host may write a longer text in its place.
constexpr std::size_t kEditableTextSize = 64;

// In the order in which they are set. When memory runs out, the items before stay set.
constexpr HeaderItem kHeaderItems[] = {
    textItem(InfoText::manufacturer, danraw::kManufacturer),
    {ItemKind::number, danraw::kValue24, 0, {}, InfoNumber::item210},
    textItem(InfoText::text63, danraw::kText304),
    textItem(InfoText::serialNo, danraw::kSerialNo),
    textItem(InfoText::modelName, danraw::kModelName),
    textItem(InfoText::text22, danraw::kText368),
    textItem(InfoText::project, danraw::kProject),
    textItem(InfoText::text23, danraw::kText772),
    decimalItem(InfoText::cameraIndex, danraw::kCameraIndex, kDecimalTextSize),
    decimalItem(InfoText::scene, danraw::kScene, kEditableTextSize),
    decimalItem(InfoText::take, danraw::kTake, kEditableTextSize),
    textItem(InfoText::directorName, danraw::kDirectorName),
    textItem(InfoText::text16, danraw::kText856),
    textItem(InfoText::text17, danraw::kText884),
    {ItemKind::note, 0, 0, InfoText::text68},
    textItem(InfoText::text50, danraw::kText1380),
    textItem(InfoText::text51, danraw::kText1416),
};

// The note is stored in three pieces, to be joined in this order without separators.
constexpr danraw::TextField kNoteParts[] = {danraw::kNote1, danraw::kNote2, danraw::kNote3};
constexpr std::size_t kNoteSize = danraw::kNote1.size + danraw::kNote2.size + danraw::kNote3.size + 1;
static_assert(kNoteSize == 141);

const char* characters(std::span<const std::uint8_t> bytes) {
    return reinterpret_cast<const char*>(bytes.data());
}

/// Releases an item's text and gives it an empty one with room for `size` bytes.
bool renewText(char*& item, std::size_t size) {
    if (item != nullptr) PVFree(item);
    item = static_cast<char*>(PVAlloc(size));
    if (item == nullptr) return false;
    *item = '\0';
    return true;
}

bool setDecimal(char*& item, std::int32_t value, std::size_t size) {
    if (!renewText(item, size)) return false;
    itoa(value, item, 10);
    return true;
}

bool setNote(char*& item, ByteView header) {
    if (!renewText(item, kNoteSize)) return false;
    for (const danraw::TextField part : kNoteParts)
        std::strncat(item, characters(header.bytes(part.offset, part.size)), part.size);
    return true;
}

bool setHeaderItem(QMXINFO& info, const HeaderItem& row, ByteView header) {
    switch (row.kind) {
    case ItemKind::text:
        return mfKrwSetInfoString(&info[row.text], characters(header.bytes(row.offset, row.size)),
                                  static_cast<unsigned>(row.size)) != 0;
    case ItemKind::decimal:
        return setDecimal(info[row.text], header.i32(row.offset), row.size);
    case ItemKind::number:
        info[row.number] = header.u32(row.offset);
        return true;
    case ItemKind::note:
        return setNote(info[row.text], header);
    }
    return true;
}

} // namespace

bool setHeaderItems(QMXINFO& info, ByteView header) {
    return std::ranges::all_of(kHeaderItems,
                               [&](const HeaderItem& row) { return setHeaderItem(info, row, header); });
}
