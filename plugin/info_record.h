// The information record that the host and a reader exchange as a whole: texts and numbers by item, and the
// raw-development block that belongs to it. Offsets are fixed, as in plugin/records.h.
#pragma once

#include <cstddef>
#include <cstdint>

/// Pointer items of QMXINFO by item number. `rawParams` is a block whose first 32-bit word is its size. All
/// others are NUL-terminated texts.
enum class InfoText : std::uint32_t {
    text16 = 16,
    text17 = 17,
    videoCodec = 18,
    project = 19,
    circle = 20,
    text22 = 22,
    text23 = 23,
    creationDate = 28,
    directorName = 30,
    modelName = 38,
    production = 43,
    cut = 46,
    directorOfPhotography = 49,
    text50 = 50,
    text51 = 51,
    software = 58,
    manufacturer = 59,
    text63 = 63,
    serialNo = 64,
    reel = 65,
    shot = 66,
    take = 67,
    text68 = 68,
    cameraAttributes = 69,
    scene = 71,
    cameraIndex = 73,
    rawParams = 81,
    materialUmid = 82,
    deviceMetadata = 84,
};

/// Number items of QMXINFO by item number (the 32-bit word's index from the record's start).
enum class InfoNumber : std::uint32_t {
    item198 = 198,
    tcStartFrame = 199,
    userBits = 200,
    tcStartFrameCopy = 201,
    userBitsCopy = 202,
    item204 = 204, // low and high word of a 64-bit item
    item205 = 205,
    aspectRatio = 206,
    item210 = 210,
    shutterAngle = 217,
    ndFilter = 218,
    rawWhiteCodeValue = 219,
    rawBlackCodeValue = 220,
    masterGamma = 223, // thousandths
    tcFlags = 226,     // the format in use; 227 and 228 are its fall-backs
    tcFlags2 = 227,
    tcFlags3 = 228,
    rGain = 237, // thousandths
    bGain = 238, // thousandths
    whiteBalance = 239,
    isoSensitivity = 241,
    gGain = 242,
    item248 = 248, // low and high word of a 64-bit item
    item249 = 249,
};

/// Clip information: 99 pointer items, then 32-bit number items. Texts are allocated with PVAlloc and owned
/// by the record; an unset text is null. An unset number is 0xFFFFFFFF.
struct QMXINFO {
    static constexpr std::uint32_t kTexts = 99;
    static constexpr std::uint32_t kFirstNumber = 198;
    static constexpr std::uint32_t kNumbers = 52;
    static constexpr std::uint32_t kUnset = 0xFFFFFFFFU;

    char* texts[kTexts];
    std::uint32_t numbers[kNumbers];

    constexpr char*& operator[](InfoText item) { return texts[static_cast<std::uint32_t>(item)]; }
    constexpr char* operator[](InfoText item) const { return texts[static_cast<std::uint32_t>(item)]; }
    constexpr std::uint32_t& operator[](InfoNumber item) {
        return numbers[static_cast<std::uint32_t>(item) - kFirstNumber];
    }
    constexpr std::uint32_t operator[](InfoNumber item) const {
        return numbers[static_cast<std::uint32_t>(item) - kFirstNumber];
    }
};
static_assert(sizeof(QMXINFO) == 1000);
static_assert(offsetof(QMXINFO, texts) == 0);
static_assert(offsetof(QMXINFO, numbers) == std::size_t{4} * QMXINFO::kFirstNumber);

/// The record of a reader without a clip.
constexpr QMXINFO makeDefaultInfo() {
    QMXINFO info{};
    for (std::uint32_t& number : info.numbers)
        number = QMXINFO::kUnset;
    info[InfoNumber::item198] = 0;
    info[InfoNumber::tcStartFrame] = 0;
    info[InfoNumber::tcStartFrameCopy] = 0;
    info[InfoNumber::item204] = 0;
    info[InfoNumber::item205] = 0;
    info[InfoNumber::item248] = 0x7FFFFFFF;
    info[InfoNumber::item249] = 0;
    return info;
}

/// Raw-development settings, the item `rawParams` of QMXINFO. Bytes without a name here are 0.
struct RawParams {
    std::uint32_t size; // 840
    std::uint8_t host4[36];
    float gamma;
    float gains[4];
    std::uint8_t host60[16];
    std::uint32_t blackLevel;
    std::uint32_t whiteLevel; // 0xFFFFFFFF: see rawWhiteCodeValue
    std::uint8_t host84[52];
    float matrix1[16]; // 4 x 4, row by row
    std::uint8_t host200[4];
    float matrix2[16];
    std::uint8_t host268[568];
    std::uint32_t host836;
};
static_assert(sizeof(RawParams) == 840);
static_assert(offsetof(RawParams, gamma) == 40);
static_assert(offsetof(RawParams, gains) == 44);
static_assert(offsetof(RawParams, blackLevel) == 76);
static_assert(offsetof(RawParams, whiteLevel) == 80);
static_assert(offsetof(RawParams, matrix1) == 136);
static_assert(offsetof(RawParams, matrix2) == 204);
static_assert(offsetof(RawParams, host836) == 836);
