// Decodes a plane at full and at half height, and takes a sample through a log curve and back.
#include "host/error_output.h"
#include "kinedec/kinedec.h"
#include "kinedec/log_curve.h"
#include "plugin/entry_points.h"

#include <array>
#include <cmath>
#include <cstdio>
#include <memory>

int main() {
    constexpr std::array<std::uint16_t, kKineCategories> codeLengths = {2, 2, 2, 3};
    constexpr std::array<std::uint16_t, kKineCategories> codes = {0b00, 0b01, 0b10, 0b110};
    constexpr std::array<std::uint8_t, 2> stream = {0xB4, 0x48};
    const auto decoder = std::make_unique<KineDec>();
    std::array<std::uint16_t, 4> whole{};
    std::array<std::uint16_t, 4> half{};
    const int decoded = decoder->decode(codeLengths.data(), codes.data(), stream.data(), stream.size(),
                                        whole.data(), 4, 4, 2) +
                        decoder->decode2(codeLengths.data(), codes.data(), stream.data(), stream.size(),
                                         half.data(), 4, 4, 2);
    const float encoded = lin2log(&table[20 - 11], 0.18F);
    const float linear = log2lin(&table[20 - 11], encoded);
    std::printf("%u %u %u %u, %u %u, %.4f %.4f, interface %u\n", whole[0], whole[1], whole[2], whole[3],
                half[0], half[1], double{encoded}, double{linear},
                xCheckVersionAndFile(nullptr, kVersionQuery, nullptr));
    const bool right = decoded == 2 && whole == std::array<std::uint16_t, 4>{48, 32, 48, 16} &&
                       half == std::array<std::uint16_t, 4>{48, 32, 0, 0} &&
                       std::abs(encoded - 0.6651F) < 0.0001F && std::abs(linear - 0.18F) < 0.0001F;
    if (!right) ErrOut("the installed decoder gives other values\n");
    return right ? 0 : 1;
}
