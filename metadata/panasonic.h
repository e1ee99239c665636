// Mapping of a Panasonic side-car (root element P2Main or ClipMain) onto information items and document
// lines.
#pragma once

#include "plugin/records.h"

#include <string>

class TiXmlElement;

/// Walks what lies below `element`, whose parent has the name `parentName`: appends a line for every leaf and
/// sets the item that the element holding it stands for. Returns -1, with nothing done, when an argument is
/// null, otherwise 0. Recursion goes as deep as the tree. May throw what the document's growth throws; items
/// set before stay set.
int parseFromRoot_Panasonic(const TiXmlElement* element, const char* parentName, QMXINFO* info,
                            std::string& doc);
