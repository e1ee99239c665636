#include "tools/picture/display_curve.h"

#include <cmath>
#include <vector>

namespace {

template <DisplayCurve kCurve>
std::span<const std::uint16_t> tableOf() {
    static const std::vector<std::uint16_t> table = [] {
        std::vector<std::uint16_t> values(std::size_t{kWhite16} + 1);
        for (std::size_t light = 0; light < values.size(); ++light)
            values[light] = static_cast<std::uint16_t>(
                std::lround(kWhite16 * onDisplay(static_cast<double>(light) / kWhite16, kCurve)));
        return values;
    }();
    return table;
}

} // namespace

const ChoiceWords<DisplayCurve>& displayCurves() {
    static const ChoiceWords<DisplayCurve> curves{{"gamma", DisplayCurve::gamma},
                                                  {"rec709", DisplayCurve::rec709},
                                                  {"log", DisplayCurve::log},
                                                  {"linear", DisplayCurve::linear}};
    return curves;
}

double onDisplay(double light, DisplayCurve curve) {
    switch (curve) {
    case DisplayCurve::linear:
        return light;
    case DisplayCurve::log: {
        constexpr double kStretch = 255;
        return std::log2(1 + kStretch * light) / std::log2(1 + kStretch);
    }
    case DisplayCurve::rec709:
        return light < 0.018 ? 4.5 * light : 1.099 * std::pow(light, 0.45) - 0.099;
    case DisplayCurve::gamma:
        break;
    }
    return light <= 0.0031308 ? 12.92 * light : 1.055 * std::pow(light, 1 / 2.4) - 0.055;
}

std::span<const std::uint16_t> curveTable(DisplayCurve curve) {
    switch (curve) {
    case DisplayCurve::linear:
        return tableOf<DisplayCurve::linear>();
    case DisplayCurve::log:
        return tableOf<DisplayCurve::log>();
    case DisplayCurve::rec709:
        return tableOf<DisplayCurve::rec709>();
    case DisplayCurve::gamma:
        break;
    }
    return tableOf<DisplayCurve::gamma>();
}
