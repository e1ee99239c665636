// Mapping of a DANRAW_HEADER's texts and numbers onto information items.
#pragma once

#include "krw/byte_view.h"
#include "plugin/records.h"

/// Sets the items for which the 1494 header bytes have values. Returns false when memory ran out; the items
/// set before stay set.
[[nodiscard]] bool setHeaderItems(QMXINFO& info, ByteView header);
