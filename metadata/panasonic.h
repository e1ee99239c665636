// Mapping of a Panasonic side-car (root element P2Main or ClipMain) onto information items and document
// lines.
#pragma once

#include "plugin/records.h"

#include <string>

class TiXmlElement;

/// Visits everything below `element`, whose parent has the name `parentName`. Appends a line for every leaf,
/// and sets the item that the leaf's element stands for. Returns 0, or -1 with nothing done when an argument
/// is null. Recurses once per level of the tree. May throw what the document's growth throws; items set
/// before stay set.
int parseFromRoot_Panasonic(const TiXmlElement* element, const char* parentName, QMXINFO* info,
                            std::string& doc);
