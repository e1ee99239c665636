#include "tools/picture/demosaic.h"

#include "tools/picture/display_curve.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <type_traits>

namespace {

static_assert(kCfaCell == std::array{CfaColour::green, CfaColour::red, CfaColour::blue, CfaColour::green});

constexpr std::size_t kRed = 0;
constexpr std::size_t kGreen = 1;
constexpr std::size_t kBlue = 2;

/// Sums of the samples of cells side by side, by colour.
struct CellSums {
    float red;
    float green; // of both sites
    float blue;
};

CellSums sumCells(const std::uint16_t* top, const std::uint16_t* bottom, std::size_t cells) {
    std::uint32_t red = 0;
    std::uint32_t green = 0;
    std::uint32_t blue = 0;
    for (std::size_t cell = 0; cell < cells; ++cell) {
        green += std::uint32_t{top[2 * cell]} + bottom[2 * cell + 1];
        red += top[2 * cell + 1];
        blue += bottom[2 * cell];
    }
    return {static_cast<float>(red), static_cast<float>(green), static_cast<float>(blue)};
}

/// Four pixels at once.
using Lanes [[gnu::vector_size(16)]] = float;

template <class Value>
Value loadFrom(const float* values) {
    Value loaded;
    std::memcpy(&loaded, values, sizeof loaded);
    return loaded;
}

template <class Value>
Value toLight(const Value& sample, float black, float factor) {
    const Value white = Value{} + static_cast<float>(kWhite16);
    const Value light = (sample - black) * factor;
    const Value held = light < white ? light : white;
    return held > -white ? held : -white;
}

/// Row `y` of a picture with a pixel for each cell.
void singleCellRow(const MosaicView& mosaic, const LightScale& scale, std::uint32_t y, LightRow& row) {
    using Pairs [[gnu::vector_size(16)]] = std::uint32_t; // samples of an even and of an odd column
    using Sums [[gnu::vector_size(16)]] = std::int32_t;   // what every processor converts to float
    constexpr std::size_t kLanes = sizeof(Lanes) / sizeof(float);
    constexpr unsigned kEven = std::endian::native == std::endian::little ? 0 : 16;
    constexpr unsigned kOdd = 16 - kEven;
    const std::uint16_t* const top = &mosaic.samples[std::size_t{2} * y * mosaic.width];
    const std::uint16_t* const bottom = top + mosaic.width;
    const std::size_t width = row.red.size();
    const auto put = [&scale, &row](const auto& red, const auto& green, const auto& blue, std::size_t x) {
        using Value = std::remove_cvref_t<decltype(red)>;
        const auto store = [x, &scale](const Value& sample, float factor, std::vector<float>& colour) {
            const Value light = toLight(sample, scale.black, factor);
            std::memcpy(&colour[x], &light, sizeof light);
        };
        store(red, scale.factors[kRed], row.red);
        store(green * 0.5F, scale.factors[kGreen], row.green);
        store(blue, scale.factors[kBlue], row.blue);
    };
    std::size_t x = 0;
    for (; x + kLanes <= width; x += kLanes) {
        Pairs above;
        Pairs below;
        std::memcpy(&above, top + 2 * x, sizeof above);
        std::memcpy(&below, bottom + 2 * x, sizeof below);
        const Pairs red = above >> kOdd & 0xFFFF;
        const Pairs green = (above >> kEven & 0xFFFF) + (below >> kOdd & 0xFFFF);
        const Pairs blue = below >> kEven & 0xFFFF;
        const auto values = [](const Pairs& sums) {
            return __builtin_convertvector(std::bit_cast<Sums>(sums), Lanes);
        };
        put(values(red), values(green), values(blue), x);
    }
    for (; x < width; ++x) {
        const CellSums sums = sumCells(top + 2 * x, bottom + 2 * x, 1);
        put(sums.red, sums.green, sums.blue, x);
    }
}

/// The rows that the interpolation of one row reads: the row itself, and its first and second neighbours
/// above and below. The pointers are to the samples of column 0 (even) and column 1 (odd).
struct HalfRows {
    const float* even;
    const float* odd;
};
struct Window {
    HalfRows above2, above, centre, below, below2;
};

/// The values that the interpolation of a pixel uses: its own, and sums of its neighbours. Value is float for
/// one pixel, Lanes for the pixels of four cells.
template <class Value>
struct Neighbours {
    Value centre;
    Value sides;     // left and right
    Value sides2;    // two to the left and two to the right
    Value stacked;   // above and below
    Value stacked2;  // two above and two below
    Value diagonals; // all four
};

template <class Value>
Neighbours<Value> atEvenColumn(const Window& w, std::ptrdiff_t i) {
    const auto get = loadFrom<Value>;
    return {get(w.centre.even + i),
            get(w.centre.odd + i - 1) + get(w.centre.odd + i),
            get(w.centre.even + i - 1) + get(w.centre.even + i + 1),
            get(w.above.even + i) + get(w.below.even + i),
            get(w.above2.even + i) + get(w.below2.even + i),
            get(w.above.odd + i - 1) + get(w.above.odd + i) + get(w.below.odd + i - 1) +
                get(w.below.odd + i)};
}

template <class Value>
Neighbours<Value> atOddColumn(const Window& w, std::ptrdiff_t i) {
    const auto get = loadFrom<Value>;
    return {get(w.centre.odd + i),
            get(w.centre.even + i) + get(w.centre.even + i + 1),
            get(w.centre.odd + i - 1) + get(w.centre.odd + i + 1),
            get(w.above.odd + i) + get(w.below.odd + i),
            get(w.above2.odd + i) + get(w.below2.odd + i),
            get(w.above.even + i) + get(w.above.even + i + 1) + get(w.below.even + i) +
                get(w.below.even + i + 1)};
}

/// The colours of a row's pixels in even or in odd columns. `own` is the colour that shares the row with
/// green, `other` the third one.
struct Interpolated {
    float* green;
    float* own;
    float* other;

    template <class Value>
    void put(std::ptrdiff_t i, const Value& greens, const Value& owns, const Value& others) const {
        std::memcpy(green + i, &greens, sizeof greens);
        std::memcpy(own + i, &owns, sizeof owns);
        std::memcpy(other + i, &others, sizeof others);
    }
};

// The filters of figure 2 of the paper, in its order.

struct AtGreen {
    template <class Value>
    static void interpolate(const Neighbours<Value>& n, const Interpolated& row, std::ptrdiff_t i) {
        const Value common = 5.0F * n.centre - n.diagonals;
        row.put<Value>(i, n.centre, (common + 4.0F * n.sides - n.sides2 + 0.5F * n.stacked2) * 0.125F,
                       (common + 4.0F * n.stacked - n.stacked2 + 0.5F * n.sides2) * 0.125F);
    }
};

struct AtColour {
    template <class Value>
    static void interpolate(const Neighbours<Value>& n, const Interpolated& row, std::ptrdiff_t i) {
        const Value second = n.sides2 + n.stacked2;
        row.put<Value>(i, (4.0F * n.centre + 2.0F * (n.sides + n.stacked) - second) * 0.125F, n.centre,
                       (6.0F * n.centre + 2.0F * n.diagonals - 1.5F * second) * 0.125F);
    }
};

template <class AtEven, class AtOdd>
void interpolateRow(const Window& window, std::ptrdiff_t cells, const Interpolated& even,
                    const Interpolated& odd) {
    constexpr std::ptrdiff_t kLanes = sizeof(Lanes) / sizeof(float);
    std::ptrdiff_t i = 0;
    for (; i + kLanes <= cells; i += kLanes) {
        AtEven::interpolate(atEvenColumn<Lanes>(window, i), even, i);
        AtOdd::interpolate(atOddColumn<Lanes>(window, i), odd, i);
    }
    for (; i < cells; ++i) {
        AtEven::interpolate(atEvenColumn<float>(window, i), even, i);
        AtOdd::interpolate(atOddColumn<float>(window, i), odd, i);
    }
}

} // namespace

void cellRow(const MosaicView& mosaic, const LightScale& scale, std::uint32_t shrink, std::uint32_t y,
             LightRow& row) {
    if (shrink == 1) return singleCellRow(mosaic, scale, y, row);
    const float weight = 1 / static_cast<float>(std::uint64_t{shrink} * shrink);
    const std::size_t width = row.red.size();
    for (std::vector<float>* colour : {&row.red, &row.green, &row.blue})
        std::fill(colour->begin(), colour->end(), 0.0F);
    for (std::uint32_t line = y * shrink; line < (y + 1) * shrink; ++line) {
        const std::uint16_t* const top = &mosaic.samples[std::size_t{2} * line * mosaic.width];
        const std::uint16_t* const bottom = top + mosaic.width;
        for (std::size_t x = 0; x < width; ++x) {
            const std::size_t first = std::size_t{2} * x * shrink;
            const CellSums sums = sumCells(top + first, bottom + first, shrink);
            row.red[x] += sums.red;
            row.green[x] += sums.green;
            row.blue[x] += sums.blue;
        }
    }
    for (std::size_t x = 0; x < width; ++x) {
        row.red[x] = toLight(row.red[x] * weight, scale.black, scale.factors[kRed]);
        row.green[x] = toLight(row.green[x] * weight / 2, scale.black, scale.factors[kGreen]);
        row.blue[x] = toLight(row.blue[x] * weight, scale.black, scale.factors[kBlue]);
    }
}

Demosaic::Demosaic(const MosaicView& mosaic, const LightScale& scale) : m_mosaic(mosaic), m_scale(scale) {
    for (SplitRow& row : m_rows) {
        row.even.resize(mosaic.width / 2 + 2);
        row.odd.resize(mosaic.width / 2 + 2);
    }
}

void Demosaic::load(std::uint32_t y) {
    const std::size_t cells = m_mosaic.width / 2;
    const std::uint16_t* const samples = &m_mosaic.samples[std::size_t{y} * m_mosaic.width];
    SplitRow& row = m_rows[y % kRowsInUse];
    const float black = m_scale.black;
    const float evenFactor = m_scale.factors[y % 2 == 0 ? kGreen : kBlue];
    const float oddFactor = m_scale.factors[y % 2 == 0 ? kRed : kGreen];
    float* __restrict const even = &row.even[1];
    float* __restrict const odd = &row.odd[1];
    for (std::size_t i = 0; i < cells; ++i) {
        even[i] = toLight(static_cast<float>(samples[2 * i]), black, evenFactor);
        odd[i] = toLight(static_cast<float>(samples[2 * i + 1]), black, oddFactor);
    }
    // Mirrored columns -2, -1, width and width + 1.
    row.even.front() = even[cells > 1 ? 1 : 0];
    row.odd.front() = odd[0];
    row.even.back() = even[cells - 1];
    row.odd.back() = odd[cells > 1 ? cells - 2 : 0];
}

const Demosaic::SplitRow& Demosaic::at(std::int64_t y) const {
    const std::int64_t last = std::int64_t{m_mosaic.height} - 1;
    while (y < 0 || y > last)
        y = y < 0 ? -y : 2 * last - y;
    return m_rows[static_cast<std::size_t>(y) % kRowsInUse];
}

void Demosaic::next(LightRow& evenColumns, LightRow& oddColumns) {
    const std::uint32_t y = m_next++;
    for (; m_loaded < std::min(m_mosaic.height, y + 3); ++m_loaded)
        load(m_loaded);
    const auto rows = [this, y](std::int64_t distance) {
        const SplitRow& neighbour = at(std::int64_t{y} + distance);
        return HalfRows{&neighbour.even[1], &neighbour.odd[1]};
    };
    const Window window{rows(-2), rows(-1), rows(0), rows(1), rows(2)};
    const auto cells = static_cast<std::ptrdiff_t>(m_mosaic.width / 2);
    const bool ownIsRed = y % 2 == 0;
    const auto colours = [ownIsRed](LightRow& row) {
        return Interpolated{row.green.data(), ownIsRed ? row.red.data() : row.blue.data(),
                            ownIsRed ? row.blue.data() : row.red.data()};
    };
    if (ownIsRed)
        interpolateRow<AtGreen, AtColour>(window, cells, colours(evenColumns), colours(oddColumns));
    else
        interpolateRow<AtColour, AtGreen>(window, cells, colours(evenColumns), colours(oddColumns));
}
