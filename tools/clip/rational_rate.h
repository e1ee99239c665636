// Frame rates as fractions.
#pragma once

#include <cstdint>
#include <optional>

/// A fraction in lowest terms, as EXIF stores numbers.
struct Rational {
    std::uint32_t numerator = 0;
    std::uint32_t denominator = 1;

    [[nodiscard]] bool operator==(const Rational&) const = default;
};

/// Brings a fraction to its lowest terms. Nothing when a term does not fit 32 bits, or both are 0.
[[nodiscard]] std::optional<Rational> makeRational(std::uint64_t numerator, std::uint64_t denominator);

/// The fraction that a rate stands for: n or n * 1000/1001 where the rate is within 0.05 % of it, else the
/// nearest thousandth. Nothing for a rate that is not a number between 0.001 and 1,000,000.
[[nodiscard]] std::optional<Rational> rationalRate(double framesPerSecond);

/// The rate that readers of the format deliver for the rate that a clip's header states: the nearest row of
/// their table.
[[nodiscard]] Rational deliveredRate(float framesPerSecond);
