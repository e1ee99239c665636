// Mapping of a Sony side-car (root element NonRealTimeMeta) onto information items and document lines.
#pragma once

#include "plugin/records.h"

#include <string>

class TiXmlElement;

/// Visits everything below `element`. Appends a line for every attribute and sets the items that attributes
/// stand for. Returns 0. Recurses once per level of the tree. May throw what the document's growth throws;
/// items set before stay set.
int parseFromRoot_Sony(const TiXmlElement* element, QMXINFO* info, std::string& doc);
