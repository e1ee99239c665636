// Mapping of a Sony side-car onto information items and document lines: values are attributes.
#include "metadata/sony.h"

#include "metadata/device_document.h"
#include "metadata/item_mapping.h"

#include <cstring>
#include <optional>
#include <tinyxml.h>

namespace {

/// Meta and Item elements, found by the name that their first attribute holds.
struct NamedRow {
    const char* name;
    MappedItem item;
};

constexpr NamedRow kNamedItems[] = {
    {"Reel", InfoText::reel},
    {"Project", InfoText::project},
    {"DirectorName", InfoText::directorName},
    {"DirectorOfPhotographyName", InfoText::directorOfPhotography},
    {"Production", InfoText::production},
    {"CameraIndex", InfoText::cameraIndex},
    {"Cut", InfoText::cut},
    {"Scene", InfoText::scene},
    {"Take", InfoText::take},
    {"Shot", InfoText::shot},
    {"Circle", InfoText::circle},
    {"CameraAttributes", InfoText::cameraAttributes},
    {"WhiteBalance", InfoNumber::whiteBalance},
    {"RawBlackCodeValue", InfoNumber::rawBlackCodeValue},
    {"RawWhiteCodeValue", InfoNumber::rawWhiteCodeValue},
    {"ISOSensitivity", InfoNumber::isoSensitivity},
    {"NeutralDensityFilterWheelSetting", InfoNumber::ndFilter},
    {"ShutterSpeedAngle", InfoNumber::shutterAngle},
};

/// Other leaf elements, found by element and attribute.
struct AttributeRow {
    const char* element;
    const char* attribute;
    MappedItem item;
    std::optional<InfoNumber> copy = std::nullopt; // is set to the same number
};

constexpr AttributeRow kAttributeItems[] = {
    {"Device", "modelName", InfoText::modelName},
    {"Device", "manufacturer", InfoText::manufacturer},
    {"Device", "serialNo", InfoText::serialNo},
    {"TargetMaterial", "umidRef", InfoText::materialUmid},
    {"CreationDate", "value", InfoText::creationDate},
    {"TypicalUbit", "value", InfoNumber::userBits, InfoNumber::userBitsCopy},
    {"VideoFrame", "videoCodec", InfoText::videoCodec},
    {"Element", "software", InfoText::software},
    {"Camera", "modelName", InfoText::modelName},
    {"Camera", "manufacturer", InfoText::manufacturer},
    {"Camera", "serialNo", InfoText::serialNo},
};

/// Characters of a Meta or Item attribute's value that are kept.
constexpr std::size_t kMaxNamedText = 63;

void setNamedItem(QMXINFO& info, const char* name, const char* value) {
    for (const NamedRow& row : kNamedItems)
        if (setMappedItem(info, row.item, row.name, name, value)) return;
}

void setAttributeItem(QMXINFO& info, const char* element, const char* attribute, const char* value) {
    for (const AttributeRow& row : kAttributeItems) {
        if (!setMappedItem(info, row.item, row.element, element, row.attribute, attribute, value)) continue;
        if (row.copy) setMappedItem(info, *row.copy, row.attribute, attribute, value);
        return;
    }
}

/// The first attribute value that is not empty names the item. The last of the values after it is the item's
/// value.
void addNamedItem(const TiXmlElement& element, QMXINFO& info, std::string& doc) {
    std::string name;
    std::string value;
    for (const TiXmlAttribute* at = element.FirstAttribute(); at != nullptr; at = at->Next()) {
        std::string& area = name.empty() ? name : value;
        area.assign(at->Value(), strnlen(at->Value(), kMaxNamedText));
    }
    setNamedItem(info, name.c_str(), value.c_str());
    addBoundedXmlItem(doc, element.Value(), name.c_str(), value.c_str());
}

void addAttributeItems(const TiXmlElement& element, QMXINFO& info, std::string& doc) {
    for (const TiXmlAttribute* at = element.FirstAttribute(); at != nullptr; at = at->Next()) {
        setAttributeItem(info, element.Value(), at->Name(), at->Value());
        addBoundedXmlItem(doc, element.Value(), at->Name(), at->Value());
    }
}

void addLeaf(const TiXmlElement& element, QMXINFO& info, std::string& doc) {
    const std::string_view name = element.Value();
    if (name == "Meta" || name == "Item")
        addNamedItem(element, info, doc);
    else
        addAttributeItems(element, info, doc);
}

} // namespace

int parseFromRoot_Sony(const TiXmlElement* element, QMXINFO* info, std::string& doc) {
    if (element == nullptr) return 0;
    for (const TiXmlNode* node = element->FirstChild(); node != nullptr; node = node->NextSibling()) {
        const TiXmlElement* child = node->ToElement();
        if (child == nullptr) continue;
        if (child->NoChildren()) {
            addLeaf(*child, *info, doc);
            continue;
        }
        for (const TiXmlAttribute* at = child->FirstAttribute(); at != nullptr; at = at->Next())
            addBoundedXmlItem(doc, element->Value(), at->Name(), at->Value());
        parseFromRoot_Sony(child, info, doc);
    }
    return 0;
}
