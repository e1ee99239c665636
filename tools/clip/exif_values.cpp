#include "tools/clip/exif_values.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <fmt/format.h>
#include <initializer_list>
#include <string_view>

namespace {

/// The value of the first line of the device metadata document whose tag is one of the names, or ends with
/// '-' and one of them. The names are tried in their order. Empty when no line has a value.
std::string_view documentValue(std::string_view document, std::initializer_list<std::string_view> names) {
    for (const std::string_view name : names)
        for (std::size_t at = document.find('<'); at != std::string_view::npos;
             at = document.find("\n\t<", at), at += at == std::string_view::npos ? 0 : 2) {
            const std::size_t tagEnd = document.find('>', at);
            if (tagEnd == std::string_view::npos) break;
            const std::string_view tag = document.substr(at + 1, tagEnd - at - 1);
            const bool isWanted = tag.ends_with(name) &&
                                  (tag.size() == name.size() || tag[tag.size() - name.size() - 1] == '-');
            const std::string_view value =
                document.substr(tagEnd + 1, document.find('<', tagEnd) - tagEnd - 1);
            if (isWanted && !value.empty()) return value;
        }
    return {};
}

/// The decimal number in a text like "f/2.8" or "35.00mm", in thousandths; nothing unless it is above 0.
std::optional<Rational> decimalNumber(std::string_view text) {
    const auto digit = std::ranges::find_if(text, [](unsigned char c) { return std::isdigit(c) != 0; });
    double value = 0;
    (void)std::from_chars(digit, text.data() + text.size(), value, std::chars_format::fixed);
    constexpr double kMost = 1e6;
    if (!(value > 0) || value > kMost) return std::nullopt;
    return makeRational(static_cast<std::uint64_t>(std::llround(value * 1000)), 1000);
}

std::optional<std::uint32_t> wholeNumber(std::string_view text) {
    std::uint32_t value = 0;
    (void)std::from_chars(text.data(), text.data() + text.size(), value);
    return value > 0 ? std::optional(value) : std::nullopt;
}

/// A number item, or the value in the document where the item is unset. A 0 counts as no value.
std::optional<std::uint32_t> numberOf(const ClipInformation& information, InfoNumber item,
                                      std::string_view documented) {
    if (information.isSet(item) && information.number(item) != 0) return information.number(item);
    return wholeNumber(documented);
}

/// Turns a date as cameras and slates write it ("2015-06-12T10:11:12...", "2017/05/06 10.20.30") into that of
/// EXIF. Empty for other text.
std::string exifDate(std::string_view date) {
    constexpr std::string_view kShape = "dddd-dd-dd-dd-dd-dd";
    if (date.size() < kShape.size()) return {};
    for (std::size_t index = 0; index < kShape.size(); ++index)
        if ((std::isdigit(static_cast<unsigned char>(date[index])) != 0) != (kShape[index] == 'd')) return {};
    return fmt::format("{}:{}:{} {}:{}:{}", date.substr(0, 4), date.substr(5, 2), date.substr(8, 2),
                       date.substr(11, 2), date.substr(14, 2), date.substr(17, 2));
}

std::string dateOf(const ClipInformation& information, std::string_view document) {
    std::string date = exifDate(information.text(InfoText::creationDate));
    if (date.empty()) date = exifDate(documentValue(document, {"CreationDate", "StartDate", "Date"}));
    return date;
}

/// The part of a frame's time in which the shutter is open. Cameras write the angle in degrees or in
/// hundredths of a degree. Above 360 it can only be hundredths.
std::optional<Rational> exposureTime(std::optional<std::uint32_t> angle, const Rational& rate) {
    constexpr std::uint32_t kCircle = 360;
    constexpr std::uint32_t kHundredths = 100;
    if (!angle || *angle > kCircle * kHundredths) return std::nullopt;
    const std::uint64_t unit = *angle > kCircle ? kHundredths : 1;
    return makeRational(std::uint64_t{*angle} * rate.denominator, unit * kCircle * rate.numerator);
}

/// Reads user bits from eight hexadecimal digits, the eighth binary group first. For other text, takes those
/// of the clip's start timecode.
std::array<std::uint8_t, 4> userBitsOf(std::string_view text, const Clip& clip) {
    std::uint32_t digits = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), digits, 16);
    if (text.size() != 8 || error != std::errc{} || end != text.data() + text.size())
        return clip.statedUserBits();
    std::array<std::uint8_t, 4> bits{};
    for (std::uint8_t& byte : bits) {
        byte = static_cast<std::uint8_t>(digits);
        digits >>= 8U;
    }
    return bits;
}

} // namespace

std::string asciiText(std::string text) {
    for (char& character : text)
        if (std::isprint(static_cast<unsigned char>(character)) == 0) character = '?';
    return text;
}

ExifValues exifValues(const Clip& clip) {
    const ClipInformation& information = clip.information();
    const std::string document = information.text(InfoText::deviceMetadata);
    ExifValues values;
    values.make = asciiText(information.text(InfoText::manufacturer));
    values.model = asciiText(information.text(InfoText::modelName));
    values.serialNumber = asciiText(information.text(InfoText::serialNo));
    values.cameraLabel = asciiText(information.text(InfoText::cameraIndex));
    values.reel = asciiText(information.text(InfoText::reel));
    if (values.reel.empty()) values.reel = asciiText(std::string(documentValue(document, {"Reel"})));
    values.dateTimeOriginal = dateOf(information, document);

    values.frameRate = rationalRate(clip.statedRate().value_or(0))
                           .value_or(Rational{clip.video().stream.dwRate, clip.video().stream.dwScale});
    values.iso =
        numberOf(information, InfoNumber::isoSensitivity, documentValue(document, {"ISOSensitivity", "ISO"}));
    values.exposureTime = exposureTime(
        numberOf(information, InfoNumber::shutterAngle, documentValue(document, {"ShutterAngle"})),
        values.frameRate);
    values.fNumber = decimalNumber(documentValue(document, {"IrisFNumber", "Aperture", "F-Stop", "Iris"}));
    values.focalLength =
        decimalNumber(documentValue(document, {"FocalLength", "LensZoomActualFocalLength", "Lens--mm-"}));
    values.colourTemperature = numberOf(information, InfoNumber::whiteBalance,
                                        documentValue(document, {"WhiteBalanceColorTemperature"}));
    values.userBits = userBitsOf(documentValue(document, {"TypicalUbit-value"}), clip);
    return values;
}
