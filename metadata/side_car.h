// Finding the metadata side-car beside a clip and turning it into information items and the device metadata
// document.
#pragma once

#include "plugin/records.h"

/// Looks beside the clip for a Sony or Panasonic XML side-car (clip name + "M01", ".xml" or ".XML") or a text
/// slate ("slate.txt", "slate.TXT"), sets the items it names and stores the device metadata document as
/// `deviceMetadata`. Nothing that it finds or fails to find is an error: the result is always 0, and nothing
/// is thrown.
int findMetaData(const char* clipPath, QMXINFO* info);
