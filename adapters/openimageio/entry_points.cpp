// The symbols that OpenImageIO looks up in a library NAME.imageio.so.
#include "adapters/openimageio/krw_input.h"

OIIO_PLUGIN_EXPORTS_BEGIN

OIIO_EXPORT extern const int krw_imageio_version;
OIIO_EXPORT extern const char* const krw_input_extensions[];
const int krw_imageio_version = OIIO_PLUGIN_VERSION;
const char* const krw_input_extensions[] = {"krw", nullptr};

OIIO_EXPORT const char* krw_imageio_library_version() {
    return "pvx_krw " KRW_VERSION;
}

/// A new reader, which the caller owns.
OIIO_EXPORT OIIO::ImageInput* krw_input_imageio_create() {
    return new KrwInput;
}

OIIO_PLUGIN_EXPORTS_END
