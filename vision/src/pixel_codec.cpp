#include "pixel_codec.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <new>
#include <vector>

#include "bit_planes.h"
#include "pixel_predictors.h"
#include "worker_pool.h"

namespace odv {

namespace {

constexpr std::uint8_t kVersion = 1;
constexpr std::uint64_t kHeaderBytes = 16;
constexpr std::uint64_t kSliceHeaderBytes = 4;
constexpr std::uint8_t kMosaicBit = 4;
// Raw bytes per slice: enough to keep a thread busy for tens of microseconds,
// small enough that a slice and its scratch stay in the second-level cache
// and that a frame of a megapixel splits into enough slices for the cores.
constexpr std::uint64_t kSliceTarget = 128 * 1024;

struct Layout {
  unsigned elementBytes = 0;  // 1 or 2
  unsigned channels = 0;      // elements per pixel
  unsigned pixelBytes = 0;    // = byte planes
  std::uint32_t width = 0, height = 0;

  std::uint64_t RowBytes() const { return std::uint64_t{width} * pixelBytes; }
  RowGeometry Row(bool mosaic) const {
    return RowGeometry{elementBytes, std::size_t{width} * channels, std::size_t{channels} * (mosaic ? 2u : 1u)};
  }
};

bool LayoutOf(std::uint32_t type, std::uint32_t width, std::uint32_t height, Layout* layout) {
  switch (type) {
    case ODV_U8: *layout = {1, 1, 1, width, height}; return true;
    case ODV_I16:
    case ODV_U16: *layout = {2, 1, 2, width, height}; return true;
    case ODV_RGB32:
    case ODV_HSL32: *layout = {1, 4, 4, width, height}; return true;
    case ODV_RGBU64: *layout = {2, 4, 8, width, height}; return true;
    default: return false;
  }
}

struct Slicing {
  std::uint32_t rowsPerSlice = 0;
  std::uint32_t slices = 0;
  std::uint32_t FirstRow(std::uint32_t s) const { return s * rowsPerSlice; }
  std::uint32_t Rows(std::uint32_t s, std::uint32_t height) const {
    return std::min(rowsPerSlice, height - FirstRow(s));
  }
};

std::uint64_t SliceBound(const Layout& layout, std::uint64_t pixels) {
  return kSliceHeaderBytes + layout.pixelBytes * (WidthBytes(pixels) + MaxMaskBytes(pixels));
}

void PutU32(std::uint8_t* p, std::uint32_t v) { std::memcpy(p, &v, 4); }
std::uint32_t GetU32(const std::uint8_t* p) {
  std::uint32_t v;
  std::memcpy(&v, p, 4);
  return v;
}

// What a slice says about its coding: the predictor code (kind, mosaic bit)
// and the colour code (blue's mode in bits 0-2, red's in bits 3-5).
struct Coding {
  std::uint8_t predictor = 0;
  std::uint8_t colours = 0;
};

// Scratch of one thread: the residuals of a slice and one byte plane.
struct Scratch {
  std::vector<std::uint8_t> residual, plane;
};
thread_local Scratch scratch;

// Width nibbles of zero among `blocks` blocks.
std::uint64_t ZeroWidths(const std::uint8_t* widths, std::uint64_t blocks) {
  std::uint64_t zeros = 0;
  for (std::uint64_t b = 0; b < blocks; ++b) zeros += ((widths[b / 2] >> (4 * (b & 1))) & 0xF) == 0;
  return zeros;
}

// Blocks of zeros of each byte plane (up to 8).
using PlaneZeros = std::array<std::uint64_t, 8>;

// Codes one slice of `rows` lines starting at `first`; returns its size and
// counts the blocks of zeros of each plane into `zeros`.
std::uint64_t EncodeSlice(const Layout& layout, Coding coding, const std::uint8_t* first, std::uint64_t stride,
                          std::uint32_t rows, std::uint8_t* out, PlaneZeros* zeros) {
  const std::uint8_t code = coding.predictor;
  const bool mosaic = (code & kMosaicBit) != 0;
  const Predictor predictor = static_cast<Predictor>(code & 3);
  const RowGeometry row = layout.Row(mosaic);
  const std::uint32_t up = mosaic ? 2 : 1;
  const std::uint64_t rowBytes = layout.RowBytes();
  const std::size_t pixels = std::size_t{rows} * layout.width;
  const unsigned planes = layout.pixelBytes;
  scratch.residual.resize(pixels * planes);
  for (std::uint32_t y = 0; y < rows; ++y)
    ResidualRow(row, predictor, first + y * stride, y >= up ? first + (y - up) * stride : nullptr,
                scratch.residual.data() + y * rowBytes);
  const bool bytePlanes = layout.elementBytes == 1;  // each channel is one plane
  if (!bytePlanes)
    DecorrelateColours(layout.elementBytes, coding.colours & 7, coding.colours >> 3, pixels, scratch.residual.data(),
                       false);
  const std::uint8_t* source = scratch.residual.data();
  if (planes > 1) {
    scratch.plane.resize(pixels * planes);
    std::uint8_t* split = scratch.plane.data();
    SplitPlanes(scratch.residual.data(), pixels, planes, split);
    if (bytePlanes)
      DecorrelateColourPlanes(coding.colours & 7, coding.colours >> 3, pixels, split, split + pixels,
                              split + 2 * pixels, false);
    source = split;
  }
  out[0] = code;
  out[1] = coding.colours;
  out[2] = out[3] = 0;
  std::uint8_t* widths = out + kSliceHeaderBytes;
  std::uint8_t* masks = widths + planes * WidthBytes(pixels);
  for (unsigned p = 0; p < planes; ++p) {
    masks += PackBitPlanes(source + p * pixels, pixels, widths + p * WidthBytes(pixels), masks);
    (*zeros)[p] = ZeroWidths(widths + p * WidthBytes(pixels), PlaneBlocks(pixels));
  }
  return static_cast<std::uint64_t>(masks - out);
}

void DecodeSlice(const Layout& layout, const std::uint8_t* in, std::uint8_t* first, std::uint64_t stride,
                 std::uint32_t rows) {
  const std::uint8_t code = in[0];
  const bool mosaic = (code & kMosaicBit) != 0;
  const Predictor predictor = static_cast<Predictor>(code & 3);
  const RowGeometry row = layout.Row(mosaic);
  const std::uint32_t up = mosaic ? 2 : 1;
  const std::uint64_t rowBytes = layout.RowBytes();
  const std::size_t pixels = std::size_t{rows} * layout.width;
  const unsigned planes = layout.pixelBytes;
  const std::uint8_t* widths = in + kSliceHeaderBytes;
  const std::uint8_t* masks = widths + planes * WidthBytes(pixels);
  scratch.residual.resize(pixels * planes);
  std::uint8_t* target = scratch.residual.data();
  if (planes > 1) {
    scratch.plane.resize(pixels * planes);
    target = scratch.plane.data();
  }
  for (unsigned p = 0; p < planes; ++p) {
    const std::uint8_t* w = widths + p * WidthBytes(pixels);
    std::uint64_t bytes = 0;
    MaskBytesOf(w, pixels, &bytes);  // checked before decoding began
    UnpackBitPlanes(w, masks, pixels, target + p * pixels);
    masks += bytes;
  }
  if (planes > 1 && layout.elementBytes == 1) {
    std::uint8_t* split = scratch.plane.data();
    DecorrelateColourPlanes(in[1] & 7, in[1] >> 3, pixels, split, split + pixels, split + 2 * pixels, true);
  }
  if (planes > 1) MergePlanes(scratch.plane.data(), pixels, planes, scratch.residual.data());
  if (layout.elementBytes != 1) DecorrelateColours(layout.elementBytes, in[1] & 7, in[1] >> 3, pixels, scratch.residual.data(), true);
  for (std::uint32_t y = 0; y < rows; ++y)
    ReconstructRow(row, predictor, scratch.residual.data() + y * rowBytes,
                   y >= up ? first + (y - up) * stride : nullptr, first + y * stride);
}

// Residuals of one line under a coding, into scratch.residual.
void LineResidual(const Layout& layout, Coding coding, const std::uint8_t* line, std::uint64_t stride) {
  const bool mosaic = (coding.predictor & kMosaicBit) != 0;
  scratch.residual.resize(std::size_t{layout.width} * layout.pixelBytes);
  ResidualRow(layout.Row(mosaic), static_cast<Predictor>(coding.predictor & 3), line, line - (mosaic ? 2 : 1) * stride,
              scratch.residual.data());
  DecorrelateColours(layout.elementBytes, coding.colours & 7, coding.colours >> 3, layout.width,
                     scratch.residual.data(), false);
}

// Bits the masks of planes [first, last) of one line take under a coding.
std::uint64_t LineCost(const Layout& layout, Coding coding, const std::uint8_t* line, std::uint64_t stride,
                       unsigned first, unsigned last) {
  LineResidual(layout, coding, line, stride);
  const std::size_t pixels = layout.width;
  const unsigned planes = layout.pixelBytes;
  const std::uint8_t* source = scratch.residual.data();
  if (planes > 1) {
    scratch.plane.resize(pixels * planes);
    SplitPlanes(scratch.residual.data(), pixels, planes, scratch.plane.data());
    source = scratch.plane.data();
  }
  std::uint64_t bits = 0;
  for (unsigned p = first; p < last; ++p) bits += PlaneBits(source + p * pixels, pixels);
  return bits;
}

// The coding that spends the fewest bits on a few lines spread over the
// image: first the predictor, then, for colour pixels, the share of green
// taken from blue and from red (each judged on its own planes). The smooth
// prediction where the image is too small to tell.
Coding ChooseCoding(const Layout& layout, const std::uint8_t* rows, std::uint64_t stride) {
  Coding best;
  best.predictor = static_cast<std::uint8_t>(Predictor::kSmooth);
  if (layout.height < 3 || layout.width < 64) return best;
  constexpr std::uint32_t kSamples = 6;
  std::uint32_t lines[kSamples];
  for (std::uint32_t k = 0; k < kSamples; ++k) lines[k] = 2 + (layout.height - 3) * k / (kSamples - 1);
  const auto cost = [&](Coding coding, unsigned first, unsigned last) {
    std::uint64_t bits = 0;
    for (std::uint32_t k = 0; k < kSamples; ++k) bits += LineCost(layout, coding, rows + lines[k] * stride, stride, first, last);
    return bits;
  };
  std::uint64_t bestBits = UINT64_MAX;
  const unsigned variants = layout.channels == 1 ? 2 : 1;
  for (unsigned variant = 0; variant < variants; ++variant) {
    for (unsigned kind = 0; kind < kPredictors; ++kind) {
      const Coding coding{static_cast<std::uint8_t>(kind | (variant == 1 ? kMosaicBit : 0)), 0};
      const std::uint64_t bits = cost(coding, 0, layout.pixelBytes);
      if (bits < bestBits) {
        bestBits = bits;
        best = coding;
      }
    }
  }
  if (layout.channels != 4) return best;
  const unsigned e = layout.elementBytes;
  for (unsigned channel : {0u, 2u}) {  // blue, red
    unsigned bestMode = 0;
    std::uint64_t fewest = UINT64_MAX;
    for (unsigned mode = 0; mode < kColourModes; ++mode) {
      Coding coding = best;
      coding.colours = static_cast<std::uint8_t>(channel == 0 ? mode : mode << 3);
      const std::uint64_t bits = cost(coding, channel * e, (channel + 1) * e);
      if (bits < fewest) {
        fewest = bits;
        bestMode = mode;
      }
    }
    best.colours = static_cast<std::uint8_t>(best.colours | (channel == 0 ? bestMode : bestMode << 3));
  }
  return best;
}

Slicing SlicesFor(const Layout& layout, std::uint64_t sliceLimit) {
  const std::uint64_t rowBytes = layout.RowBytes();
  std::uint64_t rows = std::max<std::uint64_t>(1, std::min(kSliceTarget, std::max<std::uint64_t>(sliceLimit, 1)) / rowBytes);
  rows = std::min<std::uint64_t>(rows, layout.height);
  Slicing slicing;
  slicing.rowsPerSlice = static_cast<std::uint32_t>(rows);
  slicing.slices = static_cast<std::uint32_t>((layout.height + rows - 1) / rows);
  return slicing;
}

}  // namespace

bool PixelCodecTakes(std::uint32_t type) {
  Layout layout;
  return LayoutOf(type, 1, 1, &layout);
}

OdvStatus EncodePixels(std::uint32_t type, std::uint32_t width, std::uint32_t height, const std::uint8_t* rows,
                       std::uint64_t stride, std::uint64_t sliceLimit, unsigned threads, Buffer* out,
                       double* quietShare) {
  Layout layout;
  if (!LayoutOf(type, width, height, &layout) || width == 0 || height == 0) return ODV_E_ARGUMENT;
  const Slicing slicing = SlicesFor(layout, sliceLimit);
  std::vector<std::uint64_t> bound(slicing.slices + 1, 0);
  const std::uint64_t tableEnd = kHeaderBytes + 4ull * slicing.slices;
  bound[0] = tableEnd;
  for (std::uint32_t s = 0; s < slicing.slices; ++s)
    bound[s + 1] = bound[s] + SliceBound(layout, std::uint64_t{slicing.Rows(s, height)} * width);
  if (!out->Allocate(bound[slicing.slices])) return ODV_E_NO_MEMORY;
  std::uint8_t* base = out->data.get();
  base[0] = kVersion;
  base[1] = static_cast<std::uint8_t>(layout.pixelBytes);
  base[2] = base[3] = 0;
  PutU32(base + 4, slicing.rowsPerSlice);
  PutU32(base + 8, slicing.slices);
  PutU32(base + 12, 0);
  Coding code;
  try {
    code = ChooseCoding(layout, rows, stride);
  } catch (const std::bad_alloc&) {
    return ODV_E_NO_MEMORY;
  }
  std::vector<std::uint64_t> sizes(slicing.slices, 0);
  std::vector<PlaneZeros> zeros(slicing.slices, PlaneZeros{});
  std::atomic<bool> failed{false};
  const auto encode = [&](std::uint64_t s, std::uint8_t* at) {
    try {
      const std::uint32_t first = slicing.FirstRow(static_cast<std::uint32_t>(s));
      sizes[s] = EncodeSlice(layout, code, rows + first * stride, stride,
                             slicing.Rows(static_cast<std::uint32_t>(s), height), at, &zeros[s]);
    } catch (...) {
      failed = true;
    }
  };
  std::uint64_t end = tableEnd;
  if (threads <= 1 || slicing.slices == 1) {
    for (std::uint32_t s = 0; s < slicing.slices && !failed; ++s) {
      encode(s, base + end);
      end += sizes[s];
    }
  } else {
    // Each slice lands at its worst-case place, then they close ranks.
    ParallelFor(slicing.slices, threads, [&](std::size_t s) { encode(s, base + bound[s]); });
    for (std::uint32_t s = 0; s < slicing.slices && !failed; ++s) {
      if (end != bound[s]) std::memmove(base + end, base + bound[s], sizes[s]);
      end += sizes[s];
    }
  }
  if (failed) return ODV_E_NO_MEMORY;
  for (std::uint32_t s = 0; s < slicing.slices; ++s) PutU32(base + kHeaderBytes + 4ull * s, static_cast<std::uint32_t>(sizes[s]));
  out->size = end;
  if (quietShare != nullptr) {
    // The plane with the fewest quiet blocks speaks for the frame: a
    // constant alpha or an unused high byte is quiet in any frame.
    std::uint64_t blocks = 0, fewest = UINT64_MAX;
    for (std::uint32_t s = 0; s < slicing.slices; ++s) blocks += PlaneBlocks(std::uint64_t{slicing.Rows(s, height)} * width);
    for (unsigned p = 0; p < layout.pixelBytes; ++p) {
      std::uint64_t quiet = 0;
      for (const PlaneZeros& z : zeros) quiet += z[p];
      fewest = std::min(fewest, quiet);
    }
    *quietShare = double(fewest) / double(blocks);
  }
  return ODV_SUCCESS;
}

OdvStatus CheckPixels(std::uint32_t type, std::uint32_t width, std::uint32_t height, const std::uint8_t* payload,
                      std::uint64_t size, PixelPlan* plan) {
  Layout layout;
  if (!LayoutOf(type, width, height, &layout) || width == 0 || height == 0) return ODV_E_CORRUPT;
  if (payload == nullptr || size < kHeaderBytes) return ODV_E_TRUNCATED;
  if (payload[0] != kVersion) return ODV_E_VERSION;
  if (payload[1] != layout.pixelBytes || payload[2] != 0 || payload[3] != 0 || GetU32(payload + 12) != 0)
    return ODV_E_CORRUPT;
  Slicing slicing;
  slicing.rowsPerSlice = GetU32(payload + 4);
  slicing.slices = GetU32(payload + 8);
  if (slicing.rowsPerSlice == 0 || slicing.rowsPerSlice > height ||
      slicing.slices != (std::uint64_t{height} + slicing.rowsPerSlice - 1) / slicing.rowsPerSlice)
    return ODV_E_CORRUPT;
  if ((size - kHeaderBytes) / 4 < slicing.slices) return ODV_E_TRUNCATED;
  // Where every slice starts, each size checked against the bytes left.
  std::vector<std::uint64_t>& offsets = plan->offsets;
  offsets.assign(slicing.slices + 1, 0);
  std::uint64_t at = kHeaderBytes + 4ull * slicing.slices;
  for (std::uint32_t s = 0; s < slicing.slices; ++s) {
    const std::uint32_t sliceSize = GetU32(payload + kHeaderBytes + 4ull * s);
    if (sliceSize > size - at) return ODV_E_TRUNCATED;
    offsets[s] = at;
    at += sliceSize;
  }
  if (at != size) return ODV_E_CORRUPT;
  offsets[slicing.slices] = at;
  // Every slice's header and widths, and the mask bytes they announce.
  for (std::uint32_t s = 0; s < slicing.slices; ++s) {
    const std::uint8_t* slice = payload + offsets[s];
    const std::uint64_t sliceSize = offsets[s + 1] - offsets[s];
    const std::uint64_t pixels = std::uint64_t{slicing.Rows(s, height)} * width;
    const std::uint64_t widthBytes = WidthBytes(pixels);
    if (sliceSize < kSliceHeaderBytes + layout.pixelBytes * widthBytes) return ODV_E_TRUNCATED;
    const std::uint8_t code = slice[0];
    const std::uint8_t colours = slice[1];
    if ((code & ~(kMosaicBit | 3u)) != 0 || ((code & kMosaicBit) != 0 && layout.channels != 1) ||
        (colours != 0 && layout.channels != 4) || (colours & 7) >= kColourModes || (colours >> 3) >= kColourModes ||
        slice[2] != 0 || slice[3] != 0)
      return ODV_E_CORRUPT;
    std::uint64_t masks = 0;
    for (unsigned p = 0; p < layout.pixelBytes; ++p) {
      std::uint64_t bytes = 0;
      if (!MaskBytesOf(slice + kSliceHeaderBytes + p * widthBytes, pixels, &bytes)) return ODV_E_CORRUPT;
      masks += bytes;
    }
    const std::uint64_t announced = kSliceHeaderBytes + layout.pixelBytes * widthBytes + masks;
    if (announced > sliceSize) return ODV_E_TRUNCATED;
    if (announced != sliceSize) return ODV_E_CORRUPT;
  }
  plan->type = type;
  plan->width = width;
  plan->height = height;
  plan->rowsPerSlice = slicing.rowsPerSlice;
  plan->payload = payload;
  return ODV_SUCCESS;
}

OdvStatus DecodePixels(const PixelPlan& plan, std::uint8_t* rows, std::uint64_t stride, unsigned threads) {
  Layout layout;
  if (!LayoutOf(plan.type, plan.width, plan.height, &layout) || plan.offsets.size() < 2) return ODV_E_ARGUMENT;
  Slicing slicing;
  slicing.rowsPerSlice = plan.rowsPerSlice;
  slicing.slices = static_cast<std::uint32_t>(plan.offsets.size() - 1);
  std::atomic<bool> failed{false};
  ParallelFor(slicing.slices, threads, [&](std::size_t s) {
    try {
      const std::uint32_t first = slicing.FirstRow(static_cast<std::uint32_t>(s));
      DecodeSlice(layout, plan.payload + plan.offsets[s], rows + first * stride, stride,
                  slicing.Rows(static_cast<std::uint32_t>(s), plan.height));
    } catch (...) {
      failed = true;
    }
  });
  return failed ? ODV_E_NO_MEMORY : ODV_SUCCESS;
}

}  // namespace odv
