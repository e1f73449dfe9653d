// Pixel predictors of the lossless codec. A row is a run of elements (u8 or
// u16 arithmetic, modulo their width); each element is predicted from
// elements of the same channel that the decoder already has: `step` elements
// to the left on the same row, and the row `up`, which is the row one line
// above, or two lines above for a Bayer mosaic, whose same-coloured
// neighbours lie two steps away. The residual (element minus prediction) is
// stored zigzagged, so that small values of either sign are small numbers:
// 0, -1, 1, -2, 2 become 0, 1, 2, 3, 4.
//
// Predictions, where `up` exists:
//   left      the element `step` to the left (the one above at the row's start)
//   up        the element above
//   smooth    (above-left + 2 above + above-right + 2) / 4: averages the
//             sensor noise of the row above; at the row's ends the missing
//             neighbour is replaced by the one above
//   gradient  left + above - above-left (the one above at the row's start)
// A row without `up` (the first of a slice) is predicted from the left, its
// first `step` elements from zero.
#pragma once

#include <cstddef>
#include <cstdint>

namespace odv {

enum class Predictor : std::uint8_t { kLeft = 0, kUp = 1, kSmooth = 2, kGradient = 3 };
inline constexpr unsigned kPredictors = 4;

struct RowGeometry {
  unsigned elementBytes;  // 1 or 2
  std::size_t elements;   // per row
  std::size_t step;       // elements between same-channel neighbours on a row, 1 to 8
};

// Zigzagged residuals of row `current` into `residual` (elements of the same
// width). `up` may be null.
void ResidualRow(const RowGeometry& row, Predictor predictor, const std::uint8_t* current, const std::uint8_t* up,
                 std::uint8_t* residual);

// The inverse: rebuilds `current` from the residuals and the same `up`.
void ReconstructRow(const RowGeometry& row, Predictor predictor, const std::uint8_t* residual, const std::uint8_t* up,
                    std::uint8_t* current);

// Colour residuals of four-channel pixels (blue, green, red, alpha) follow
// each other: an edge or a change of light moves all three. Before coding,
// the residual of blue and of red each lose a share of the green residual
// of the same pixel, chosen per image: 0 none, 1 all of it, 2 minus all of
// it, 3 half of it, 4 minus half of it (halves rounded towards minus
// infinity). Works on zigzagged residuals of `pixels` pixels, in place;
// `restore` undoes it.
inline constexpr unsigned kColourModes = 5;
void DecorrelateColours(unsigned elementBytes, unsigned blueMode, unsigned redMode, std::size_t pixels,
                        std::uint8_t* residual, bool restore);

// The same on 8-bit channels split into planes: the blue and red planes
// against the green one.
void DecorrelateColourPlanes(unsigned blueMode, unsigned redMode, std::size_t pixels, std::uint8_t* blue,
                             const std::uint8_t* green, std::uint8_t* red, bool restore);

// Byte p of every pixel of `interleaved` (pixels of `planes` bytes) into
// plane p of `out`, planes `pixels` bytes apart; and back.
void SplitPlanes(const std::uint8_t* interleaved, std::size_t pixels, unsigned planes, std::uint8_t* out);
void MergePlanes(const std::uint8_t* in, std::size_t pixels, unsigned planes, std::uint8_t* interleaved);

}  // namespace odv
