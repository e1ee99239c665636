// The log curves: worked values, the records, the range of results, the thresholds and the way back.
#include "kinedec/log_curve.h"

#include <bit>
#include <cmath>
#include <gmock/gmock.h>
#include <limits>

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

// Worked with a pocket calculator's precision: d + c * log10(a * y + b), y being the remapped linear value.
TEST(LogCurve, EncodedValuesOfEveryRecord) {
    const struct {
        int id;
        double of18Percent;
        double of7Percent;
    } rows[] = {{11, 0.441073, 0.170531}, {12, 0.469266, 0.186410}, {13, 0.494490, 0.202542},
                {14, 0.519424, 0.220215}, {15, 0.546746, 0.241302}, {16, 0.570901, 0.261672},
                {17, 0.594606, 0.283004}, {18, 0.617830, 0.305064}, {19, 0.642937, 0.330064},
                {20, 0.665080, 0.352988}, {21, 0.686686, 0.376047}, {22, 0.709949, 0.401537},
                {23, 0.730389, 0.424432}, {24, 0.750265, 0.447087}, {25, 0.771589, 0.471777},
                {26, 0.790261, 0.493690}};
    for (const auto& row : rows) {
        EXPECT_EQ(curveWithId(row.id)->id, row.id);
        EXPECT_NEAR(lin2log(curveWithId(row.id), 0.18F), row.of18Percent, 2e-6) << row.id;
        EXPECT_NEAR(lin2log(curveWithId(row.id), 0.07F), row.of7Percent, 2e-6) << row.id;
    }
}

// From record 16 on the straight segment touches the logarithm at the cut.
TEST(LogCurve, SegmentsMeetInValueAndSlope) {
    for (const _kine_curve_param& record : table) {
        EXPECT_NEAR(record.e * record.cut + record.f, record.logCut, 2e-4) << record.id;
        if (record.id < 16) continue;
        const double argument = double{record.a} * record.cut + record.b;
        EXPECT_NEAR(record.c * std::log10(argument) + record.d, record.logCut, 2e-4) << record.id;
        EXPECT_NEAR(record.c * record.a / (argument * std::log(10.0)) / record.e, 1.0, 2e-3) << record.id;
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
