// The one message of the decoder.
#pragma once

#include <cstdint>

namespace kinedec {

/// Logs that a plane has no code for its next bits. `samplesLeft` counts the samples that were still to be
/// decoded at the start of the failing row.
void logCodecError(std::int32_t samplesLeft);

} // namespace kinedec
