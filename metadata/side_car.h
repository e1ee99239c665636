// Finds the metadata side-car beside a clip and turns it into information items and the device metadata
// document.
#pragma once

#include "plugin/records.h"

/// Looks beside the clip for a Sony or Panasonic XML side-car (clip name + "M01", ".xml" or ".XML") or a text
/// slate ("slate.txt", "slate.TXT"). Sets the items that it names and stores the device metadata document as
/// `deviceMetadata`. A side-car that is missing or broken is no error: the result is always 0, and nothing is
/// thrown.
int findMetaData(const char* clipPath, QMXINFO* info);
