// Loading an XML side-car into a TinyXML document, whatever its bytes are.
#pragma once

class TiXmlDocument;

/// Loads the file at `path` within the limits of xml_limits.h. False when it cannot be read, exceeds them or
/// is not XML that TinyXML loads; `document` then holds nothing to rely on. May throw std::bad_alloc.
[[nodiscard]] bool loadXmlSideCar(const char* path, TiXmlDocument& document);
