#include "adapters/openimageio/image_description.h"

#include "tools/clip/binary_timecode.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <optional>
#include <string>

namespace {

void addText(OIIO::ImageSpec& image, const char* name, const std::string& text) {
    if (!text.empty()) image.attribute(name, text);
}

void addNumber(OIIO::ImageSpec& image, const char* name, const std::optional<std::uint32_t>& number) {
    if (number) image.attribute(name, static_cast<int>(*number));
}

void addNumber(OIIO::ImageSpec& image, const char* name, const std::optional<Rational>& number) {
    if (number)
        image.attribute(name,
                        static_cast<float>(static_cast<double>(number->numerator) / number->denominator));
}

/// Camera settings.
void addExifItems(OIIO::ImageSpec& image, const ExifValues& values) {
    addText(image, "Make", values.make);
    addText(image, "Model", values.model);
    addText(image, "Exif:BodySerialNumber", values.serialNumber);
    addText(image, "DateTime", values.dateTimeOriginal);
    addText(image, "Exif:DateTimeOriginal", values.dateTimeOriginal);
    addNumber(image, "ExposureTime", values.exposureTime);
    addNumber(image, "FNumber", values.fNumber);
    // OpenImageIO's raw reader uses the old name. Its EXIF writers know the new one.
    addNumber(image, "Exif:ISOSpeedRatings", values.iso);
    addNumber(image, "Exif:PhotographicSensitivity", values.iso);
    addNumber(image, "Exif:FocalLength", values.focalLength);
    addNumber(image, "krw:ColorTemperature", values.colourTemperature);
    addText(image, "krw:Camera", values.cameraLabel);
    addText(image, "krw:Reel", values.reel);
    const std::array<int, 2> rate{static_cast<int>(values.frameRate.numerator),
                                  static_cast<int>(values.frameRate.denominator)};
    image.attribute("FramesPerSecond", OIIO::TypeRational, rate.data());
}

/// Production texts.
void addSlate(OIIO::ImageSpec& image, const ClipInformation& information) {
    addText(image, "krw:Project", asciiText(information.text(InfoText::project)));
    addText(image, "krw:Scene", asciiText(information.text(InfoText::scene)));
    addText(image, "krw:Shot", asciiText(information.text(InfoText::shot)));
    addText(image, "krw:Take", asciiText(information.text(InfoText::take)));
}

/// Items of mosaics: the colours of the samples, and what the samples mean.
void addMosaicItems(OIIO::ImageSpec& image, const Clip& clip) {
    std::string pattern = clip.mosaicPattern();
    std::ranges::transform(pattern, pattern.begin(),
                           [](unsigned char letter) { return static_cast<char>(std::toupper(letter)); });
    image.attribute("raw:FilterPattern", pattern);
    const ClipInformation& information = clip.information();
    if (information.isSet(InfoNumber::rawBlackCodeValue))
        image.attribute("krw:BlackLevel",
                        static_cast<int>(information.number(InfoNumber::rawBlackCodeValue)));
    if (information.isSet(InfoNumber::rawWhiteCodeValue))
        image.attribute("krw:WhiteLevel",
                        static_cast<int>(information.number(InfoNumber::rawWhiteCodeValue)));
    const Gains gains = clipGains(information);
    if (gains != Gains{1, 1, 1}) {
        const std::array<float, 4> multipliers{static_cast<float>(gains[0]), static_cast<float>(gains[1]),
                                               static_cast<float>(gains[2]), static_cast<float>(gains[1])};
        image.attribute("raw:cam_mul", OIIO::TypeDesc(OIIO::TypeDesc::FLOAT, 4), multipliers.data());
    }
    // "oiio:BitsPerSample" is not set: a writer that copies the value 12 keeps the highest 12 of 16 bits, but
    // the samples are in the lowest.
}

/// OpenImageIO's name for the curve; none for the logarithmic one.
const char* colourSpace(DisplayCurve curve) {
    switch (curve) {
    case DisplayCurve::gamma:
        return "sRGB";
    case DisplayCurve::rec709:
        return "Rec709";
    case DisplayCurve::linear:
        return "Linear";
    case DisplayCurve::log:
        break;
    }
    return nullptr;
}

} // namespace

OIIO::ImageSpec describeClip(const ClipPictures& pictures) {
    const Clip& clip = pictures.clip();
    OIIO::ImageSpec image(static_cast<int>(pictures.width()), static_cast<int>(pictures.height()),
                          static_cast<int>(pictures.channels()), OIIO::TypeDesc::UINT16);
    image.attribute("oiio:Movie", 1);
    image.attribute("oiio:subimages", static_cast<int>(clip.frames()));
    addExifItems(image, pictures.exif());
    addSlate(image, clip.information());
    if (!pictures.options().develop)
        addMosaicItems(image, clip);
    else if (const char* const space = colourSpace(pictures.options().curve))
        image.attribute("oiio:ColorSpace", space);
    return image;
}

void describeFrame(OIIO::ImageSpec& image, const ClipPictures& pictures, std::uint32_t frame) {
    const Clip& clip = pictures.clip();
    image.attribute("oiio:subimagename", clip.timecode(frame));
    const auto timecode =
        binaryTimecode(clip.timecodeNumber(frame), clip.counting(), pictures.exif().userBits);
    // The binary digits and the user bits as SMPTE ST 12-1 numbers them, the lowest bit first.
    const std::array<std::uint32_t, 2> words{ByteView(timecode).u32(0), ByteView(timecode).u32(4)};
    image.attribute("smpte:TimeCode", OIIO::TypeTimeCode, words.data());
}
