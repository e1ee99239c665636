#include "metadata/slate.h"

#include "metadata/device_document.h"
#include "metadata/side_car_file.h"

#include <algorithm>
#include <string_view>

namespace {

/// Characters of a key or a value that are kept.
constexpr std::size_t kMaxSlateText = 23;

bool isBlank(std::string_view line) {
    return line.empty() || line == "\r";
}

void addLine(std::string& doc, std::string line) {
    if (isBlank(line) || line.front() == '#') return;
    fixTagLine(line);
    const std::string key = line.substr(0, std::min(line.find('.'), kMaxSlateText));
    // The character after the colon is a separator. Without a colon, npos + 2 is the second character.
    const std::size_t start = std::min(line.find(':') + 2, line.size());
    addXmlItem(doc, key.c_str(), line.substr(start, kMaxSlateText).c_str());
}

} // namespace

std::string slateDocument(const char* path) {
    std::string doc = kDocumentOpening;
    addXmlItem(doc, kKindElement, "KINERAW");
    const SideCarBytes slate = readSideCar(path).value_or(SideCarBytes{{}, true});
    if (!slate.complete) warnAboutSideCar(path, "larger than 16 MiB; the rest is not read");
    const std::string& text = slate.bytes;
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t end = std::min(text.find('\n', start), text.size());
        addLine(doc, text.substr(start, end - start));
        start = end + 1;
    }
    return doc += kDocumentClosing;
}
