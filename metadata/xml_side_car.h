// Loads an XML side-car into a TinyXML document, whatever its bytes are.
#pragma once

class TiXmlDocument;

/// Loads the file at `path` as TiXmlDocument::LoadFile does, within the limits of side_car_file.h and
/// xml_limits.h. Returns false when the file cannot be read, is not XML that TinyXML loads, or exceeds a
/// limit, which is logged as a warning; `document` then holds nothing to rely on. May throw std::bad_alloc.
[[nodiscard]] bool loadXmlSideCar(const char* path, TiXmlDocument& document);
