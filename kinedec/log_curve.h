// The camera's logarithmic curves, for outside callers. A fixed linear remapping of the input comes first.
// Then follows a straight segment up to a cut point and a base-10 logarithm above it. The reader itself uses
// none of them.
#pragma once

#include <cstdint>

/// One curve. With y the remapped linear value, the encoded value is c * log10(a * y + b) + d above `cut`,
/// and e * y + f up to it.
struct _kine_curve_param { // the name that outside callers know
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

/// Curves with the ids 11 to 26 in order: `table[k - 11]` has the id k. The table is writable, so that a
/// caller can install curves of its own.
[[gnu::visibility("default")]] extern _kine_curve_param table[16];

/// Encodes a linear value (0 black, 1 white; any float) under `curve`, which is only read. The result lies in
/// [0, 1]. It is 0 where the logarithm has no value, and NaN for NaN.
[[gnu::visibility("default")]] float lin2log(const _kine_curve_param* curve, float linear);

/// Decodes an encoded value (0 to 1; any float) under `curve`, which is only read. The result lies in [0, 1],
/// and is NaN for NaN. It inverts lin2log wherever neither of the two clamps.
[[gnu::visibility("default")]] float log2lin(const _kine_curve_param* curve, float encoded);
