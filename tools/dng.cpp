#include "tools/dng.h"

#include "tools/memory_tiff.h"

#include <array>
#include <cctype>
#include <chrono>
#include <ctime>
#include <filesystem>
#include <fmt/chrono.h>
#include <fmt/format.h>
#include <sys/stat.h>

namespace {

constexpr std::size_t kRoomForTags = 8192;
constexpr double kUnityGain = 1000;

// "grbg": green and red on even rows, blue and green on odd ones (0 red, 1 green, 2 blue).
constexpr std::array<std::uint8_t, 4> kCfaPattern{1, 0, 2, 1};
constexpr std::array<std::uint8_t, 3> kCfaPlaneColours{0, 1, 2};
constexpr std::uint16_t kRectangularLayout = 1;
constexpr std::array<std::uint8_t, 4> kDngVersion{1, 4, 0, 0};
constexpr std::array<std::uint8_t, 4> kDngBackwardVersion{1, 1, 0, 0};
constexpr std::uint16_t kIlluminantD65 = 21;

// From CIE XYZ to the linear RGB of IEC 61966-2-1. A clip says nothing of its camera's colours, so the
// samples are taken for that RGB: neutral, and no camera's calibration.
constexpr std::array<float, 9> kNeutralMatrix{3.2406F, -1.5372F, -0.4986F, -0.9689F, 1.8758F,
                                              0.0415F, 0.0557F,  -0.2040F, 1.0570F};

std::string ascii(std::string text) {
    for (char& character : text)
        if (std::isprint(static_cast<unsigned char>(character)) == 0) character = '?';
    return text;
}

/// A date as cameras write it ("2015-06-12T10:11:12..."), the way TIFF wants it; empty for anything else.
std::string tiffDate(const std::string& date) {
    constexpr std::string_view kShape = "dddd-dd-ddTdd:dd:dd";
    if (date.size() < kShape.size()) return {};
    for (std::size_t index = 0; index < kShape.size(); ++index) {
        const bool digit = std::isdigit(static_cast<unsigned char>(date[index])) != 0;
        if (kShape[index] == 'd' ? !digit : date[index] != kShape[index]) return {};
    }
    return fmt::format("{}:{}:{} {}", date.substr(0, 4), date.substr(5, 2), date.substr(8, 2),
                       date.substr(11, 8));
}

std::string fileDate(const std::string& path) {
    struct stat file {};
    if (stat(path.c_str(), &file) != 0) return {};
    return fmt::format("{:%Y:%m:%d %H:%M:%S}", fmt::gmtime(file.st_mtime));
}

std::string sceneText(const Clip& clip) {
    struct Part {
        const char* label;
        InfoText item;
    };
    constexpr std::array kParts{Part{"project", InfoText::project}, Part{"scene", InfoText::scene},
                                Part{"take", InfoText::take}, Part{"reel", InfoText::reel}};
    std::string text;
    for (const Part& part : kParts) {
        const std::string value = clip.information().text(part.item);
        if (!value.empty()) text += fmt::format("{} {}, ", part.label, value);
    }
    return text + fmt::format("clip {}", std::filesystem::path(clip.path()).filename().string());
}

float gainOr1(const ClipInformation& information, InfoNumber item) {
    const bool usable = information.isSet(item) && information.number(item) > 0;
    return usable ? static_cast<float>(information.number(item) / kUnityGain) : 1.0F;
}

void setPicture(MemoryTiff& tiff, const MosaicView& mosaic, std::uint16_t photometric) {
    tiff.set(TIFFTAG_SUBFILETYPE, 0);
    tiff.set(TIFFTAG_IMAGEWIDTH, mosaic.width);
    tiff.set(TIFFTAG_IMAGELENGTH, mosaic.height);
    tiff.set(TIFFTAG_BITSPERSAMPLE, 16);
    tiff.set(TIFFTAG_SAMPLESPERPIXEL, 1);
    tiff.set(TIFFTAG_COMPRESSION, COMPRESSION_NONE);
    tiff.set(TIFFTAG_PHOTOMETRIC, photometric);
    tiff.set(TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    tiff.set(TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT);
    tiff.set(TIFFTAG_ROWSPERSTRIP, mosaic.height);
}

void setText(MemoryTiff& tiff, std::uint32_t tag, const std::string& text) {
    if (!text.empty()) tiff.set(tag, text.c_str());
}

void setOrigin(MemoryTiff& tiff, const DngDescription& description) {
    setText(tiff, TIFFTAG_MAKE, description.make);
    setText(tiff, TIFFTAG_MODEL, description.model);
    setText(tiff, TIFFTAG_DATETIME, description.dateTime);
    setText(tiff, TIFFTAG_IMAGEDESCRIPTION, description.description);
    tiff.set(TIFFTAG_SOFTWARE, "krw " KRW_VERSION);
}

void setMosaic(MemoryTiff& tiff, const DngDescription& description, const MosaicView& mosaic) {
    const std::array<std::uint16_t, 2> cell{2, 2};
    const std::array<std::uint16_t, 2> one{1, 1};
    const std::array<std::uint32_t, 4> active{0, 0, mosaic.height, mosaic.width};
    tiff.set(TIFFTAG_CFAREPEATPATTERNDIM, cell.data());
    tiff.set(TIFFTAG_CFAPATTERN, static_cast<int>(kCfaPattern.size()), kCfaPattern.data());
    tiff.set(TIFFTAG_CFAPLANECOLOR, static_cast<int>(kCfaPlaneColours.size()), kCfaPlaneColours.data());
    tiff.set(TIFFTAG_CFALAYOUT, kRectangularLayout);
    tiff.set(TIFFTAG_BLACKLEVELREPEATDIM, one.data());
    tiff.set(TIFFTAG_BLACKLEVEL, 1, &description.black);
    tiff.set(TIFFTAG_WHITELEVEL, 1, &description.white);
    tiff.set(TIFFTAG_ACTIVEAREA, active.data());
}

void setCamera(MemoryTiff& tiff, const DngDescription& description) {
    tiff.set(TIFFTAG_DNGVERSION, kDngVersion.data());
    tiff.set(TIFFTAG_DNGBACKWARDVERSION, kDngBackwardVersion.data());
    setText(tiff, TIFFTAG_UNIQUECAMERAMODEL, description.uniqueCameraModel);
    setText(tiff, TIFFTAG_CAMERASERIALNUMBER, description.serialNumber);
    tiff.set(TIFFTAG_COLORMATRIX1, static_cast<int>(kNeutralMatrix.size()), kNeutralMatrix.data());
    tiff.set(TIFFTAG_CALIBRATIONILLUMINANT1, kIlluminantD65);
    tiff.set(TIFFTAG_ASSHOTNEUTRAL, 3, &description.neutral[0]);
}

} // namespace

DngDescription describeForDng(const Clip& clip) {
    const ClipInformation& information = clip.information();
    DngDescription description;
    description.make = ascii(information.text(InfoText::manufacturer));
    description.model = ascii(information.text(InfoText::modelName));
    description.serialNumber = ascii(information.text(InfoText::serialNo));
    description.uniqueCameraModel = description.make + " " + description.model;
    description.dateTime = tiffDate(information.text(InfoText::creationDate));
    if (description.dateTime.empty()) description.dateTime = fileDate(clip.path());
    description.description = ascii(sceneText(clip) + "; neutral colour matrix, no camera calibration");
    description.reel = ascii(information.text(InfoText::reel));
    description.black = static_cast<float>(information.number(InfoNumber::rawBlackCodeValue));
    description.white = information.number(InfoNumber::rawWhiteCodeValue);
    description.neutral[0] = 1 / gainOr1(information, InfoNumber::rGain);
    description.neutral[2] = 1 / gainOr1(information, InfoNumber::bGain);
    description.rate = clip.video().stream.dwRate;
    description.scale = clip.video().stream.dwScale;
    return description;
}

std::vector<std::uint8_t> encodeDng(const DngDescription& description, const MosaicView& mosaic,
                                    const std::array<std::uint8_t, 8>& timecode) {
    MemoryTiff tiff(mosaic.samples.size_bytes() + kRoomForTags);
    setPicture(tiff, mosaic, PHOTOMETRIC_CFA);
    setOrigin(tiff, description);
    setMosaic(tiff, description, mosaic);
    setCamera(tiff, description);
    tiff.set(kTagTimeCodes, static_cast<int>(timecode.size()), timecode.data());
    tiff.setRational(kTagFrameRate, static_cast<std::int32_t>(description.rate),
                     static_cast<std::int32_t>(description.scale));
    setText(tiff, kTagReelName, description.reel);
    return tiff.finish(mosaic.samples);
}

std::vector<std::uint8_t> encodeTiff(const DngDescription& description, const MosaicView& mosaic) {
    MemoryTiff tiff(mosaic.samples.size_bytes() + kRoomForTags);
    setPicture(tiff, mosaic, PHOTOMETRIC_MINISBLACK);
    setOrigin(tiff, description);
    return tiff.finish(mosaic.samples);
}
