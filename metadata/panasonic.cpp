// Mapping of a Panasonic side-car onto information items and document lines: values are element content.
#include "metadata/panasonic.h"

#include "metadata/device_document.h"
#include "metadata/item_mapping.h"

#include <tinyxml.h>

namespace {

struct ContentRow {
    const char* parent;
    const char* element;
    MappedItem item;
};

constexpr ContentRow kContentItems[] = {
    {"Device", "Manufacturer", InfoText::manufacturer},
    {"Device", "ModelName", InfoText::modelName},
    {"Device", "SerialNo.", InfoText::serialNo},
    {"CameraUnitMetadata", "RGain", InfoNumber::rGain},
    {"CameraUnitMetadata", "GGain", InfoNumber::gGain},
    {"CameraUnitMetadata", "BGain", InfoNumber::bGain},
    {"Gamma", "MasterGamma", InfoNumber::masterGamma},
    {"Scenario", "SceneNo.", InfoText::scene},
    {"Scenario", "TakeNo.", InfoText::take},
    {"Scenario", "ProgramName", InfoText::project},
};

void setContentItem(QMXINFO& info, const char* parent, const char* element, const char* text) {
    for (const ContentRow& row : kContentItems)
        if (setMappedItem(info, row.item, row.parent, parent, row.element, element, text)) return;
}

} // namespace

int parseFromRoot_Panasonic(const TiXmlElement* element, const char* parentName, QMXINFO* info,
                            std::string& doc) {
    if (parentName == nullptr || info == nullptr || element == nullptr) return -1;
    const char* name = element->Value();
    for (const TiXmlNode* node = element->FirstChild(); node != nullptr; node = node->NextSibling()) {
        if (!node->NoChildren()) {
            parseFromRoot_Panasonic(node->ToElement(), name, info, doc);
            continue;
        }
        setContentItem(*info, parentName, name, node->Value());
        addBoundedXmlItem(doc, parentName, name, node->Value());
    }
    return 0;
}
