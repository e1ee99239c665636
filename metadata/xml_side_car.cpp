// The file is read once: TinyXML parses the same bytes that were checked, not a file that may have changed
// since.
#include "metadata/xml_side_car.h"

#include "metadata/side_car_file.h"
#include "metadata/xml_limits.h"

#include <tinyxml.h>

namespace {

/// Makes of a file's bytes the text that TiXmlDocument::LoadFile parses: up to the first NUL, with
/// every "\r", "\n" and "\r\n" as one "\n".
void normalise(std::string& text) {
    std::size_t out = 0;
    for (std::size_t in = 0; in < text.size() && text[in] != '\0'; ++in) {
        const bool isReturn = text[in] == '\r';
        if (isReturn && in + 1 < text.size() && text[in + 1] == '\n') ++in;
        text[out++] = isReturn ? '\n' : text[in];
    }
    text.resize(out);
}

} // namespace

bool loadXmlSideCar(const char* path, TiXmlDocument& document) {
    std::optional<SideCarBytes> file = readSideCar(path);
    if (!file) return false;
    if (!file->complete) {
        warnAboutSideCar(path, "larger than 16 MiB; not read");
        return false;
    }
    std::string& text = file->bytes;
    normalise(text);
    const XmlCheck check = checkXml(text);
    if (check.limit != nullptr) warnAboutSideCar(path, check.limit);
    if (check.parseable == 0) return false;
    text.resize(check.parseable);
    document.Parse(text.c_str(), nullptr, TIXML_DEFAULT_ENCODING);
    return !document.Error();
}
