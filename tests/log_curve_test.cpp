// The log curves: worked values, the records, the range of results, the thresholds and the way back.
#include "kinedec/log_curve.h"

#include <bit>
#include <cmath>
#include <cstdlib>
#include <gmock/gmock.h>
#include <limits>
#include <sstream>
#include <string>

namespace {

using Curve = float (*)(const _kine_curve_param*, float);

const _kine_curve_param* curveWithId(int id) {
    return &table[id - 11];
}

struct WorkedValue {
    double result;
    Curve curve;
    float input;
    int id;
};

TEST(LogCurve, WorkedValues) {
    const WorkedValue values[] = {
        {0.6651, lin2log, 0.18F, 20},  {0.8118, lin2log, 0.5F, 20}, {0.0, lin2log, 0.0F, 20},
        {0.5, log2lin, 0.811847F, 20}, {0.0626, log2lin, 0.0F, 20}, {0.0598, log2lin, 0.0F, 11},
        {1.0, lin2log, 1.0F, 26},      {0.9521, log2lin, 1.0F, 26},
    };
    for (const WorkedValue& value : values)
        EXPECT_NEAR(value.curve(curveWithId(value.id), value.input), value.result, 0.00005)
            << value.id << " of " << value.input;
}

TEST(LogCurve, RecordsHoldTheirDecimalsExactly) {
    std::istringstream rows(R"(11 0 12.5 0.048509 0.284181 0.379541 40 0 0
        12 0 16 0.031534 0.281152 0.380031 40 0 0
        13 0 20 0.012543 0.278123 0.380521 40 0 0
        14 0 25 -0.010418 0.275094 0.381011 40 0 0
        15 0 32 -0.041258 0.272065 0.381501 40 0 0
        16 0.00468 40 -0.076072 0.269036 0.381991 42.062664 -0.071569 0.125266
        17 0.004597 50 -0.11874 0.266007 0.382478 51.986385 -0.110339 0.128643
        18 0.004518 62.5 -0.17126 0.262978 0.382966 64.24305 -0.158224 0.132021
        19 0.004436 80 -0.243808 0.259627 0.383508 81.183334 -0.224409 0.135761
        20 0.004369 100 -0.32582 0.256598 0.383999 100.29528 -0.299079 0.139142
        21 0.004309 125 -0.427461 0.253569 0.384493 123.88924 -0.391261 0.142526
        22 0.004249 160 -0.568709 0.250219 0.38504 156.48268 -0.518605 0.146271
        23 0.004201 200 -0.729169 0.24719 0.385537 193.23558 -0.662201 0.149658
        24 0.00416 250 -0.928805 0.244161 0.386036 238.58475 -0.839385 0.153047
        25 0.00412 320 -1.207168 0.24081 0.38659 301.1974 -1.08402 0.156799
        26 0.004088 400 -1.524256 0.237781 0.387093 371.76117 -1.359723 0.160192)");
    for (const _kine_curve_param& record : table) {
        int id = 0;
        rows >> id;
        EXPECT_EQ(record.id, id);
        for (const float found :
             {record.cut, record.a, record.b, record.c, record.d, record.e, record.f, record.logCut}) {
            std::string decimal;
            rows >> decimal;
            const float expected = std::strtof(decimal.c_str(), nullptr);
            EXPECT_EQ(std::bit_cast<std::uint32_t>(found), std::bit_cast<std::uint32_t>(expected)) << id;
        }
    }
}

// Every kind of float, infinities and subnormals included, and densely from 0 to 1.
TEST(LogCurve, ResultsLieInTheUnitRange) {
    const auto check = [](float value) {
        for (const _kine_curve_param& record : table)
            for (const Curve curve : {lin2log, log2lin}) {
                const float result = curve(&record, value);
                if (std::isnan(value))
                    ASSERT_TRUE(std::isnan(result)) << record.id;
                else
                    ASSERT_TRUE(result >= 0.0F && result <= 1.0F) << record.id << " of " << value;
            }
    };
    for (std::uint64_t bits = 0; bits <= 0xFFFFFFFFU; bits += 0x3FFFF)
        check(std::bit_cast<float>(static_cast<std::uint32_t>(bits)));
    for (int i = 0; i <= 50000; ++i)
        check(static_cast<float>(i) / 50000.0F);
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    for (const float value : {kInfinity, -kInfinity, std::nanf(""), std::numeric_limits<float>::denorm_min()})
        check(value);
}

TEST(LogCurve, NoLogarithmMeansZero) {
    const auto linearOf = [](double remapped) {
        return static_cast<float>((remapped + 0.06362466) / 1.06362473);
    };
    // Remapped values from the cut at 0 to -b / a.
    for (int i = 1; i <= 10; ++i) {
        EXPECT_EQ(lin2log(curveWithId(14), linearOf(0.00004 * i)), 0.0F);
        EXPECT_EQ(lin2log(curveWithId(15), linearOf(0.000128 * i)), 0.0F);
    }
    for (const _kine_curve_param& record : table)
        EXPECT_EQ(lin2log(&record, 0.0F), 0.0F) << record.id;
}

// A record whose segments do not meet shows which of them a value takes.
TEST(LogCurve, ThresholdsBelongToTheLinearSegment) {
    const float linear = 0.3F;
    const auto remapped = static_cast<float>(1.06362473 * 0.3F - 0.06362466);
    const _kine_curve_param split = {0, remapped, 1.0F, 0.0F, 0.0F, 0.75F, 0.0F, 0.25F, 0.5F};
    EXPECT_EQ(lin2log(&split, linear), 0.25F);
    EXPECT_EQ(lin2log(&split, std::nextafter(linear, 1.0F)), 0.75F);

    const _kine_curve_param other = {0, 0.0F, 1.0F, 0.0F, 1.0F, 1.0F, 1.0F, 0.0F, 0.5F};
    EXPECT_NEAR(log2lin(&other, 0.5F), (0.5 + 0.06362466) / 1.06362473, 1e-6);
    EXPECT_NEAR(log2lin(&other, std::nextafter(0.5F, 1.0F)), (std::pow(10.0, -0.5) + 0.06362466) / 1.06362473,
                1e-6);
}

TEST(LogCurve, DecodingTakesEncodingBack) {
    constexpr double kTolerance = 2e-6;
    for (const _kine_curve_param& record : table) {
        int compared = 0;
        for (int i = 1; i < 100000; ++i) {
            const float linear = static_cast<float>(i) / 100000.0F;
            const float encoded = lin2log(&record, linear);
            if (encoded <= 0.0F || encoded >= 1.0F) continue;
            EXPECT_NEAR(log2lin(&record, encoded), linear, kTolerance) << record.id;
            ++compared;
        }
        EXPECT_GT(compared, 85000) << record.id;
    }
}

} // namespace
