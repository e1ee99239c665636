// Mapping of a Sony side-car (root element NonRealTimeMeta) onto information items and document lines.
#pragma once

#include "plugin/records.h"

#include <string>

class TiXmlElement;

/// Walks what lies below `element`: appends a line for every attribute and sets the items it stands for.
/// Returns 0. Recursion goes as deep as the tree. May throw what the document's growth throws; items set
/// before stay set.
int parseFromRoot_Sony(const TiXmlElement* element, QMXINFO* info, std::string& doc);
