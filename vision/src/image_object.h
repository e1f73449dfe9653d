// The image object behind the C handle `Image`: the header words that callers
// may read, the pixel memory, and the lock state. Internal to the library.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "odvissvc/odvissvc.h"

namespace odv {

inline constexpr std::uint32_t kImageMagic = 0x4F445649;  // "ODVI"
inline constexpr std::uint32_t kLineAlignBytes = 64;

// Reader/writer lock that a thread may take again, in either mode, while it
// already holds it; only other threads are waited for.
class ImageLock {
 public:
  OdvStatus Lock(std::uint32_t mode);
  OdvStatus Unlock(std::uint32_t mode);
  std::uint32_t Count(std::uint32_t mode);

 private:
  std::uint32_t& ReadsOf(std::thread::id thread);
  std::mutex mutex_;
  std::condition_variable changed_;
  std::thread::id writer_;
  std::uint32_t writeDepth_ = 0;
  std::uint32_t readTotal_ = 0;
  std::vector<std::pair<std::thread::id, std::uint32_t>> readers_;
};

}  // namespace odv

struct Image {
  std::uint32_t header[ODV_HEADER_WORDS];
  std::uint8_t* memory = nullptr;  // aligned allocation holding border and padding
  std::uint64_t memoryBytes = 0;
  odv::ImageLock lock;

  std::uint32_t Type() const { return header[ODV_WORD_TYPE]; }
  std::uint32_t Width() const { return header[ODV_WORD_WIDTH]; }
  std::uint32_t Height() const { return header[ODV_WORD_HEIGHT]; }
  std::uint32_t Border() const { return header[ODV_WORD_BORDER]; }
  std::uint32_t PixelSize() const { return header[ODV_WORD_PIXEL_SIZE]; }
  std::uint32_t LineWidth() const { return header[ODV_WORD_LINE_WIDTH]; }
  std::uint32_t BitDepth() const { return header[ODV_WORD_BIT_DEPTH]; }
  std::uint64_t LineBytes() const { return std::uint64_t{LineWidth()} * PixelSize(); }
  std::uint64_t RowBytes() const { return std::uint64_t{Width()} * PixelSize(); }
  // Start of line y of the image proper (after the border).
  std::uint8_t* Row(std::uint32_t y) const {
    return memory + (std::uint64_t{y} + Border()) * LineBytes() + std::uint64_t{Border()} * PixelSize();
  }
  // True where the rows follow each other without gaps.
  bool Contiguous() const { return LineWidth() == Width() && Border() == 0; }
};

namespace odv {

// The image if `image` is a live image of this library, else null.
Image* Live(const Image* image);

}  // namespace odv
