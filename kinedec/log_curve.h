// The camera's logarithmic curves, for outside callers: a straight segment up to a cut point and a base-10
// logarithm above it, behind a fixed linear remapping of the input. Nothing in the reader itself uses them.
#pragma once

#include <cstdint>

/// One curve. With y the remapped linear value, encoded = c * log10(a * y + b) + d above `cut` and e * y + f
/// up to it.
struct _kine_curve_param { // NOLINT(bugprone-reserved-identifier): the name outside callers know
    std::int32_t id;       ///< names the curve
    float cut;             ///< remapped linear values above it are on the logarithmic segment
    float a;
    float b;
    float c;
    float d;
    float e;
    float f;
    float logCut; ///< encoded values above it are on the logarithmic segment
};
static_assert(sizeof(_kine_curve_param) == 36);

/// Curves with the ids 11 to 26 in order: the one with id k is `table[k - 11]`. Writable, so that a caller
/// can bring curves of its own.
[[gnu::visibility("default")]] extern _kine_curve_param table[16];

/// Encodes a linear value (0 black, 1 white; any float) under `curve`, which is only read. The result lies in
/// [0, 1]; it is 0 as well where the logarithm has no value, and NaN for NaN.
[[gnu::visibility("default")]] float lin2log(const _kine_curve_param* curve, float linear);

/// The linear value of an encoded one (0 to 1; any float) under `curve`, which is only read. The result lies
/// in [0, 1], and is NaN for NaN. Takes back lin2log wherever neither of the two clamps.
[[gnu::visibility("default")]] float log2lin(const _kine_curve_param* curve, float encoded);
