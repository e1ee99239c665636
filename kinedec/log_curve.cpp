// The log curves and their records. The build compiles this file so that every step is rounded as it is
// written: no fused multiply-add, no rearranging, and the C library's own logarithm and power.
#include "kinedec/log_curve.h"

#include <cfloat>
#include <cmath>

static_assert(FLT_EVAL_METHOD == 0, "float arithmetic has to round to float at every step");

// clang-format off
constinit _kine_curve_param table[16] = {
    // id  cut        a       b           c          d          e           f           logCut
    {11, 0.0F,      12.5F,   0.048509F, 0.284181F, 0.379541F, 40.0F,        0.0F,      0.0F},
    {12, 0.0F,      16.0F,   0.031534F, 0.281152F, 0.380031F, 40.0F,        0.0F,      0.0F},
    {13, 0.0F,      20.0F,   0.012543F, 0.278123F, 0.380521F, 40.0F,        0.0F,      0.0F},
    {14, 0.0F,      25.0F,  -0.010418F, 0.275094F, 0.381011F, 40.0F,        0.0F,      0.0F},
    {15, 0.0F,      32.0F,  -0.041258F, 0.272065F, 0.381501F, 40.0F,        0.0F,      0.0F},
    {16, 0.00468F,  40.0F,  -0.076072F, 0.269036F, 0.381991F, 42.062664F,  -0.071569F, 0.125266F},
    {17, 0.004597F, 50.0F,  -0.11874F,  0.266007F, 0.382478F, 51.986385F,  -0.110339F, 0.128643F},
    {18, 0.004518F, 62.5F,  -0.17126F,  0.262978F, 0.382966F, 64.24305F,   -0.158224F, 0.132021F},
    {19, 0.004436F, 80.0F,  -0.243808F, 0.259627F, 0.383508F, 81.183334F,  -0.224409F, 0.135761F},
    {20, 0.004369F, 100.0F, -0.32582F,  0.256598F, 0.383999F, 100.29528F,  -0.299079F, 0.139142F},
    {21, 0.004309F, 125.0F, -0.427461F, 0.253569F, 0.384493F, 123.88924F,  -0.391261F, 0.142526F},
    {22, 0.004249F, 160.0F, -0.568709F, 0.250219F, 0.38504F,  156.48268F,  -0.518605F, 0.146271F},
    {23, 0.004201F, 200.0F, -0.729169F, 0.24719F,  0.385537F, 193.23558F,  -0.662201F, 0.149658F},
    {24, 0.00416F,  250.0F, -0.928805F, 0.244161F, 0.386036F, 238.58475F,  -0.839385F, 0.153047F},
    {25, 0.00412F,  320.0F, -1.207168F, 0.24081F,  0.38659F,  301.1974F,   -1.08402F,  0.156799F},
    {26, 0.004088F, 400.0F, -1.524256F, 0.237781F, 0.387093F, 371.76117F,  -1.359723F, 0.160192F},
};
// clang-format on

namespace {

// The remapping of linear values. It takes 0 to -kOffset and 1 almost to 1.
constexpr double kGain = 1.06362473;
constexpr double kOffset = 0.06362466;

// NaN stays NaN.
float clampToUnit(float value) {
    if (value < 0.0F) return 0.0F;
    return value > 1.0F ? 1.0F : value;
}

} // namespace

float lin2log(const _kine_curve_param* curve, float linear) {
    const auto y = static_cast<float>(kGain * linear - kOffset);
    if (!(y > curve->cut)) return clampToUnit(y * curve->e + curve->f);
    const float argument = y * curve->a + curve->b;
    if (argument <= 0.0F) return 0.0F;
    return clampToUnit(::log10f(argument) * curve->c + curve->d);
}

float log2lin(const _kine_curve_param* curve, float encoded) {
    float y = 0.0F;
    if (encoded > curve->logCut) {
        const float exponent = (encoded - curve->d) / curve->c;
        y = static_cast<float>((::pow(10.0, exponent) - curve->b) / curve->a);
    } else {
        y = (encoded - curve->f) / curve->e;
    }
    return clampToUnit(static_cast<float>((y + kOffset) / kGain));
}
