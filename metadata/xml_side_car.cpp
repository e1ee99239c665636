// Loading an XML side-car. The file is read once: TinyXML is given the very bytes that were checked, not a
// file that may have changed since.
#include "metadata/xml_side_car.h"

#include "metadata/side_car_file.h"
#include "metadata/xml_limits.h"

#include <tinyxml.h>

namespace {

/// As TiXmlDocument::LoadFile reads a file: up to the first NUL, "\r\n" and "\r" as "\n".
void normalise(std::string& text) {
    std::size_t out = 0;
    for (std::size_t in = 0; in < text.size() && text[in] != '\0'; ++in) {
        if (text[in] == '\n' && in > 0 && text[in - 1] == '\r') continue;
        text[out++] = text[in] == '\r' ? '\n' : text[in];
    }
    text.resize(out);
}

} // namespace

bool loadXmlSideCar(const char* path, TiXmlDocument& document) {
    std::optional<std::string> text = readSideCar(path, kMaxXmlSize);
    if (!text || text->size() > kMaxXmlSize) return false;
    normalise(*text);
    const std::optional<std::size_t> length = parseableLength(*text);
    if (!length) return false;
    text->resize(*length);
    document.Parse(text->c_str(), nullptr, TIXML_DEFAULT_ENCODING);
    return !document.Error();
}
