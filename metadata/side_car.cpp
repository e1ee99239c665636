// Finds a side-car, recognises its kind, and builds the device metadata document.
#include "metadata/side_car.h"

#include "host/error_output.h"
#include "host/files.h"
#include "metadata/device_document.h"
#include "metadata/panasonic.h"
#include "metadata/side_car_file.h"
#include "metadata/slate.h"
#include "metadata/sony.h"
#include "metadata/xml_side_car.h"

#include <exception>
#include <stdexcept>
#include <string>
#include <string_view>
#include <tinyxml.h>

namespace {

/// Used as the name of the parent of a Panasonic root element.
constexpr char kRootParent[] = "Document";

struct PathParts {
    char drive[kDriveArea] = {};
    char directory[kDirectoryArea] = {};
    char name[kNameArea] = {};
    char extension[kExtensionArea] = {};

    /// All parts are empty when the path did not fit.
    [[nodiscard]] bool empty() const {
        return drive[0] == '\0' && directory[0] == '\0' && name[0] == '\0' && extension[0] == '\0';
    }
};

/// Path of a file beside the clip. Empty when the file does not exist or its path would not fit.
std::string existingFile(const PathParts& clip, const std::string& name, const char* extension) {
    if (clip.empty() || name.size() >= kNameArea) return {};
    char path[kPathArea] = {};
    pvOSMakePath(path, clip.drive, clip.directory, name.c_str(), extension);
    return path[0] != '\0' && pvOSFileExists(path) != 0 ? path : std::string();
}

std::string firstExisting(const PathParts& clip, const std::string& name, const char* extension,
                          const char* otherExtension) {
    std::string path = existingFile(clip, name, extension);
    return path.empty() ? existingFile(clip, name, otherExtension) : path;
}

bool contains(std::string_view text, std::string_view part) {
    return text.find(part) != std::string_view::npos;
}

/// Appends the kind line and the item lines of a root element that is recognised. Appends nothing for any
/// other.
void mapTree(const TiXmlElement& root, QMXINFO& info, std::string& doc) {
    const std::string_view name = root.Value();
    if (contains(name, "P2Main")) {
        addXmlItem(doc, kKindElement, "PANASONICP2");
        parseFromRoot_Panasonic(&root, kRootParent, &info, doc);
    } else if (contains(name, "ClipMain")) {
        addXmlItem(doc, kKindElement, "PANASONICGH5");
        parseFromRoot_Panasonic(&root, kRootParent, &info, doc);
    } else if (contains(name, "NonRealTimeMeta")) {
        addXmlItem(doc, kKindElement, "SONY");
        setInfoItem(&info[InfoText::manufacturer], "Sony");
        parseFromRoot_Sony(&root, &info, doc);
    }
}

void applyXml(const char* path, QMXINFO& info) {
    TiXmlDocument tree;
    if (!loadXmlSideCar(path, tree)) return;
    const TiXmlElement* root = tree.FirstChildElement();
    if (root == nullptr) return;
    std::string doc = kDocumentOpening;
    try {
        mapTree(*root, info, doc);
    } catch (const std::length_error&) {
        return warnAboutSideCar(path, "device metadata larger than 64 MiB; not stored");
    }
    doc += kDocumentClosing;
    setInfoItem(&info[InfoText::deviceMetadata], doc.c_str());
}

void applySlate(const char* path, QMXINFO& info) {
    const std::string doc = slateDocument(path);
    setInfoItem(&info[InfoText::deviceMetadata], doc.c_str());
    ErrOut("%s\n", doc.c_str());
}

void applySideCar(std::string_view clipPath, QMXINFO& info) {
    if (contains(clipPath, ".xml") || contains(clipPath, ".XML")) return applyXml(clipPath.data(), info);
    PathParts clip;
    pvOSSplitPath(clipPath.data(), clip.drive, clip.directory, clip.name, clip.extension);
    const std::string xml = firstExisting(clip, std::string(clip.name) + "M01", ".xml", ".XML");
    if (!xml.empty()) return applyXml(xml.c_str(), info);
    const std::string slate = firstExisting(clip, "slate", ".txt", ".TXT");
    if (!slate.empty()) applySlate(slate.c_str(), info);
}

} // namespace

int findMetaData(const char* clipPath, QMXINFO* info) {
    try {
        if (clipPath != nullptr && info != nullptr) applySideCar(clipPath, *info);
    } catch (const std::exception&) { // NOLINT(bugprone-empty-catch): items set before stay set
    }
    return 0;
}
