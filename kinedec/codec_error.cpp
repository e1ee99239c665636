#include "kinedec/codec_error.h"

#include "host/error_output.h"

namespace kinedec {

void logCodecError(std::int32_t samplesLeft) {
    ErrOut("codec error: %X!\n", static_cast<std::uint32_t>(samplesLeft));
}

} // namespace kinedec
