#include "tools/clip/named_items.h"

#include <array>
#include <fmt/format.h>
#include <string_view>

namespace {

struct NamedText {
    InfoText item;
    const char* name;
};

constexpr std::array kTexts{
    NamedText{InfoText::manufacturer, "manufacturer"},
    NamedText{InfoText::modelName, "modelName"},
    NamedText{InfoText::serialNo, "serialNo"},
    NamedText{InfoText::software, "software"},
    NamedText{InfoText::cameraIndex, "cameraIndex"},
    NamedText{InfoText::cameraAttributes, "cameraAttributes"},
    NamedText{InfoText::project, "project"},
    NamedText{InfoText::production, "production"},
    NamedText{InfoText::directorName, "directorName"},
    NamedText{InfoText::directorOfPhotography, "directorOfPhotography"},
    NamedText{InfoText::reel, "reel"},
    NamedText{InfoText::scene, "scene"},
    NamedText{InfoText::shot, "shot"},
    NamedText{InfoText::take, "take"},
    NamedText{InfoText::cut, "cut"},
    NamedText{InfoText::circle, "circle"},
    NamedText{InfoText::creationDate, "creationDate"},
    NamedText{InfoText::videoCodec, "videoCodec"},
    NamedText{InfoText::materialUmid, "materialUmid"},
    NamedText{InfoText::text16, "text16"},
    NamedText{InfoText::text17, "text17"},
    NamedText{InfoText::text22, "text22"},
    NamedText{InfoText::text23, "text23"},
    NamedText{InfoText::text50, "text50"},
    NamedText{InfoText::text51, "text51"},
    NamedText{InfoText::text63, "text63"},
    NamedText{InfoText::text68, "text68"},
};

enum class Shown { plain, hex, thousandths, ratio };

struct NamedNumber {
    InfoNumber item;
    const char* name;
    ItemSource ownSource; // source of a value that no side-car gave
    Shown shown;
};

constexpr std::array kNumbers{
    NamedNumber{InfoNumber::tcStartFrame, "tcStartFrame", ItemSource::header, Shown::plain},
    NamedNumber{InfoNumber::tcStartFrameCopy, "tcStartFrameCopy", ItemSource::header, Shown::plain},
    NamedNumber{InfoNumber::userBits, "userBits", ItemSource::header, Shown::hex},
    NamedNumber{InfoNumber::userBitsCopy, "userBitsCopy", ItemSource::header, Shown::hex},
    NamedNumber{InfoNumber::tcFlags, "tcFlags", ItemSource::header, Shown::hex},
    NamedNumber{InfoNumber::tcFlags2, "tcFlags2", ItemSource::header, Shown::hex},
    NamedNumber{InfoNumber::tcFlags3, "tcFlags3", ItemSource::header, Shown::hex},
    NamedNumber{InfoNumber::aspectRatio, "aspectRatio", ItemSource::header, Shown::ratio},
    NamedNumber{InfoNumber::rawBlackCodeValue, "rawBlackCodeValue", ItemSource::header, Shown::plain},
    NamedNumber{InfoNumber::rawWhiteCodeValue, "rawWhiteCodeValue", ItemSource::header, Shown::plain},
    NamedNumber{InfoNumber::masterGamma, "masterGamma", ItemSource::reader, Shown::thousandths},
    NamedNumber{InfoNumber::rGain, "rGain", ItemSource::reader, Shown::thousandths},
    NamedNumber{InfoNumber::gGain, "gGain", ItemSource::reader, Shown::plain},
    NamedNumber{InfoNumber::bGain, "bGain", ItemSource::reader, Shown::thousandths},
    NamedNumber{InfoNumber::whiteBalance, "whiteBalance", ItemSource::header, Shown::plain},
    NamedNumber{InfoNumber::isoSensitivity, "isoSensitivity", ItemSource::header, Shown::plain},
    NamedNumber{InfoNumber::shutterAngle, "shutterAngle", ItemSource::header, Shown::plain},
    NamedNumber{InfoNumber::ndFilter, "ndFilter", ItemSource::header, Shown::plain},
    NamedNumber{InfoNumber::item210, "item210", ItemSource::header, Shown::plain},
};

ItemSource textSource(const ClipInformation& information, const ClipInformation* bare, InfoText item) {
    if (bare == nullptr) return ItemSource::unknown;
    const bool same = bare->isSet(item) && bare->text(item) == information.text(item);
    return same ? ItemSource::header : ItemSource::sideCar;
}

ItemSource numberSource(const ClipInformation& information, const ClipInformation* bare,
                        const NamedNumber& named) {
    if (bare == nullptr) return ItemSource::unknown;
    const bool same = bare->number(named.item) == information.number(named.item);
    return same ? named.ownSource : ItemSource::sideCar;
}

} // namespace

const char* sourceName(ItemSource source) {
    switch (source) {
    case ItemSource::header:
        return "header";
    case ItemSource::sideCar:
        return "side-car";
    case ItemSource::reader:
        return "reader";
    case ItemSource::unknown:
        break;
    }
    return "unknown";
}

std::vector<NamedItem> listNamedItems(const ClipInformation& information, const ClipInformation* bare) {
    std::vector<NamedItem> items;
    for (const NamedText& named : kTexts)
        if (information.isSet(named.item))
            items.push_back({named.name, true, information.text(named.item), 0,
                             textSource(information, bare, named.item)});
    for (const NamedNumber& named : kNumbers)
        if (information.isSet(named.item))
            items.push_back({named.name,
                             false,
                             {},
                             information.number(named.item),
                             numberSource(information, bare, named)});
    return items;
}

std::string numberText(const NamedItem& item) {
    for (const NamedNumber& named : kNumbers) {
        if (std::string_view(named.name) != item.name) continue;
        switch (named.shown) {
        case Shown::plain:
            break;
        case Shown::hex:
            return fmt::format("0x{:02X}", item.number);
        case Shown::thousandths:
            return fmt::format("{} ({}/1000)", item.number / 1000.0, item.number);
        case Shown::ratio:
            return fmt::format("{}:{}", item.number >> 16, item.number & 0xFFFFU);
        }
    }
    return fmt::format("{}", item.number);
}
