#include "adapters/openimageio/krw_input.h"

#include "adapters/openimageio/image_description.h"
#include "adapters/openimageio/loaded_plugin.h"

#include <algorithm>
#include <exception>
#include <stdexcept>

template <class Work>
bool KrwInput::guarded(const Work& work) {
    const lock_guard lock(*this);
    try {
        return work();
    } catch (const std::bad_alloc&) {
        errorfmt("out of memory");
    } catch (const std::exception& failure) {
        errorfmt("{}", failure.what());
    }
    return false;
}

int KrwInput::supports(OIIO::string_view feature) const {
    return feature == "exif" ? 1 : 0;
}

bool KrwInput::valid_file(const std::string& filename) const {
    try {
        return loadedPlugin()->check(filename) == 0;
    } catch (const std::exception&) {
        return false;
    }
}

bool KrwInput::open(const std::string& name, OIIO::ImageSpec& newspec) {
    return open(name, newspec, OIIO::ImageSpec());
}

bool KrwInput::open(const std::string& name, OIIO::ImageSpec& newspec, const OIIO::ImageSpec& config) {
    return guarded([&] {
        close();
        const Hints hints = readHints(config);
        auto pictures = std::make_unique<ClipPictures>(loadedPlugin(), name, hints.pictures);
        const std::uint32_t frames = pictures->clip().frames();
        if (hints.onlyFrame.value_or(0) >= frames)
            throw std::runtime_error(name + ": krw:frame is " + std::to_string(hints.onlyFrame.value_or(0)) +
                                     ", the clip has " + std::to_string(frames) + " frames");
        m_spec = describeClip(*pictures);
        m_hints = hints;
        m_subimages = hints.onlyFrame ? 1 : static_cast<int>(frames);
        m_spec.attribute("oiio:subimages", m_subimages);
        m_pictures = std::move(pictures);
        m_subimage = -1;
        const bool opened = seek_subimage(0, 0);
        newspec = m_spec;
        return opened;
    });
}

bool KrwInput::close() {
    const lock_guard lock(*this);
    m_pictures.reset();
    m_subimages = 0;
    m_subimage = 0;
    return true;
}

int KrwInput::current_subimage() const {
    const lock_guard lock(*this);
    return m_subimage;
}

bool KrwInput::isThere(int subimage, int miplevel) const {
    return subimage >= 0 && subimage < m_subimages && miplevel == 0;
}

std::uint32_t KrwInput::frameOf(int subimage) const {
    return m_hints.onlyFrame.value_or(static_cast<std::uint32_t>(subimage));
}

bool KrwInput::seek_subimage(int subimage, int miplevel) {
    return guarded([&] {
        if (!isThere(subimage, miplevel)) return false;
        if (subimage != m_subimage) describeFrame(m_spec, *m_pictures, frameOf(subimage));
        m_subimage = subimage;
        return true;
    });
}

OIIO::ImageSpec KrwInput::spec(int subimage, int miplevel) {
    OIIO::ImageSpec described;
    (void)guarded([&] {
        if (!isThere(subimage, miplevel)) return false;
        described = m_spec;
        describeFrame(described, *m_pictures, frameOf(subimage));
        return true;
    });
    return described;
}

OIIO::ImageSpec KrwInput::spec_dimensions(int subimage, int miplevel) {
    OIIO::ImageSpec described;
    (void)guarded([&] {
        if (!isThere(subimage, miplevel)) return false;
        described.copy_dimensions(m_spec);
        return true;
    });
    return described;
}

bool KrwInput::read_native_scanline(int subimage, int miplevel, int y, int z, void* data) {
    return read_native_scanlines(subimage, miplevel, y, y + 1, z, data);
}

bool KrwInput::read_native_scanlines(int subimage, int miplevel, int ybegin, int yend, int /*z*/,
                                     void* data) {
    return guarded([&] {
        if (!isThere(subimage, miplevel))
            throw std::runtime_error("subimage " + std::to_string(subimage) + ", level " +
                                     std::to_string(miplevel) + " is not there");
        const int last = std::min(yend, m_spec.height);
        if (ybegin < 0 || ybegin >= last)
            throw std::runtime_error("rows " + std::to_string(ybegin) + " to " + std::to_string(yend - 1) +
                                     " are not there");
        m_pictures->copyRows(frameOf(subimage), static_cast<std::uint32_t>(ybegin),
                             static_cast<std::uint32_t>(last), data);
        return true;
    });
}

bool KrwInput::read_image(int subimage, int miplevel, int chbegin, int chend, OIIO::TypeDesc format,
                          void* data, OIIO::stride_t xstride, OIIO::stride_t ystride, OIIO::stride_t zstride,
                          OIIO::ProgressCallback progress, void* progressData) {
    const OIIO::ImageSpec wanted = spec_dimensions(subimage, miplevel);
    const auto isUsual = [](OIIO::stride_t stride, std::size_t usual) {
        return stride == OIIO::AutoStride || stride == static_cast<OIIO::stride_t>(usual);
    };
    // What is not there has no size, and reading its rows says why.
    const bool asItIs = wanted.undefined() ||
                        ((format == wanted.format || format == OIIO::TypeDesc::UNKNOWN) && chbegin == 0 &&
                         (chend < 0 || chend >= wanted.nchannels) && isUsual(xstride, wanted.pixel_bytes()) &&
                         isUsual(ystride, wanted.scanline_bytes()));
    if (!asItIs)
        return ImageInput::read_image(subimage, miplevel, chbegin, chend, format, data, xstride, ystride,
                                      zstride, progress, progressData);
    if (!read_native_scanlines(subimage, miplevel, 0, wanted.height, 0, data)) return false;
    if (progress != nullptr) progress(progressData, 1.0F);
    return true;
}
