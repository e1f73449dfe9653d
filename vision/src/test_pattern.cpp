// Camera-like test picture: vertical bars, a diagonal gradient and a bright
// disc, all moving with the frame number, plus uniform noise from a small
// linear congruential generator so that runs are repeatable.
#include <cstring>

#include "image_object.h"

extern "C" OdvStatus FillTestPattern(Image* image, uint32_t frame, uint32_t noise, uint32_t seed) {
  Image* live = odv::Live(image);
  if (live == nullptr) return ODV_E_NOT_AN_IMAGE;
  const std::uint32_t type = live->Type();
  if (type != ODV_U8 && type != ODV_U16 && type != ODV_RGB32) return ODV_E_UNSUPPORTED;
  const std::uint32_t depth = type == ODV_U16 ? (live->BitDepth() == 0 ? 16 : live->BitDepth()) : 8;
  const std::uint32_t maxValue = (1u << depth) - 1;
  std::uint32_t state = seed * 2654435761u + 12345u;
  const int w = static_cast<int>(live->Width());
  const int h = static_cast<int>(live->Height());
  const int cx = (w / 2 + static_cast<int>(frame) * 3) % (w == 0 ? 1 : w);
  const int cy = h / 2;
  const int radius2 = (h / 5) * (h / 5);
  for (int y = 0; y < h; ++y) {
    std::uint8_t* row = live->Row(static_cast<std::uint32_t>(y));
    for (int x = 0; x < w; ++x) {
      const int shifted = x + static_cast<int>(frame) * 2;
      int base = 40 + ((shifted / 80) % 2 == 0 ? 0 : 60) + (x + y) * 100 / (w + h + 1);
      const int dx = x - cx, dy = y - cy;
      if (dx * dx + dy * dy < radius2) base = 200;
      int value = base;
      if (noise != 0) {
        state = state * 1664525u + 1013904223u;
        value += static_cast<int>((state >> 16) % (2 * noise + 1)) - static_cast<int>(noise);
      }
      value = value < 0 ? 0 : (value > 255 ? 255 : value);
      if (type == ODV_U8) {
        row[x] = static_cast<std::uint8_t>(value);
      } else if (type == ODV_U16) {
        const std::uint16_t wide = static_cast<std::uint16_t>(static_cast<std::uint32_t>(value) * maxValue / 255);
        std::memcpy(row + 2 * x, &wide, 2);
      } else {
        std::uint8_t* p = row + 4 * x;
        p[0] = static_cast<std::uint8_t>(255 - value);           // blue
        p[1] = static_cast<std::uint8_t>(value);                 // green
        p[2] = static_cast<std::uint8_t>(value / 2 + y * 100 / (h + 1));  // red
        p[3] = 0;
      }
    }
  }
  return ODV_SUCCESS;
}
