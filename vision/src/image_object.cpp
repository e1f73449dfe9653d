#include "image_object.h"

#include <cstdlib>
#include <cstring>
#include <new>
#include <unordered_set>

namespace odv {

namespace {

// Every live image, so that IsImage answers for any pointer value.
std::mutex& RegistryMutex() {
  static std::mutex mutex;
  return mutex;
}
std::unordered_set<const Image*>& Registry() {
  static std::unordered_set<const Image*> images;
  return images;
}

constexpr std::uint32_t kPixelSizes[] = {1, 2, 4, 8, 4, 4, 8, 2};

// Allocates zeroed pixel memory for the geometry and stores it in the image.
OdvStatus Allocate(Image* image, std::uint32_t type, std::uint32_t width, std::uint32_t height,
                   std::uint32_t border) {
  const std::uint32_t pixelSize = ImageTypePixelSize(type);
  if (pixelSize == 0) return ODV_E_ARGUMENT;
  const std::uint64_t outerWidth = std::uint64_t{width} + 2ull * border;
  const std::uint64_t outerHeight = std::uint64_t{height} + 2ull * border;
  const std::uint64_t lineBytes =
      (outerWidth * pixelSize + kLineAlignBytes - 1) / kLineAlignBytes * kLineAlignBytes;
  const std::uint64_t lineWidth = lineBytes / pixelSize;
  if (lineWidth > 0xFFFFFFFFull || outerHeight > 0xFFFFFFFFull) return ODV_E_ARGUMENT;
  const std::uint64_t bytes = width == 0 || height == 0 ? 0 : lineBytes * outerHeight;
  if (bytes > (1ull << 40)) return ODV_E_NO_MEMORY;
  std::uint8_t* memory = nullptr;
  if (bytes != 0) {
    memory = static_cast<std::uint8_t*>(std::aligned_alloc(kLineAlignBytes, bytes));
    if (memory == nullptr) return ODV_E_NO_MEMORY;
    std::memset(memory, 0, bytes);
  }
  std::free(image->memory);
  image->memory = memory;
  image->memoryBytes = bytes;
  image->header[ODV_WORD_TYPE] = type;
  image->header[ODV_WORD_BORDER] = border;
  image->header[ODV_WORD_WIDTH] = width;
  image->header[ODV_WORD_HEIGHT] = height;
  image->header[ODV_WORD_PIXEL_SIZE] = pixelSize;
  image->header[ODV_WORD_LINE_WIDTH] = bytes == 0 ? 0 : static_cast<std::uint32_t>(lineWidth);
  return ODV_SUCCESS;
}

}  // namespace

Image* Live(const Image* image) {
  if (image == nullptr) return nullptr;
  std::lock_guard<std::mutex> guard(RegistryMutex());
  return Registry().count(image) != 0 ? const_cast<Image*>(image) : nullptr;
}

std::uint32_t& ImageLock::ReadsOf(std::thread::id thread) {
  for (auto& entry : readers_) {
    if (entry.first == thread) return entry.second;
  }
  readers_.emplace_back(thread, 0);
  return readers_.back().second;
}

OdvStatus ImageLock::Lock(std::uint32_t mode) {
  if (mode > ODV_LOCK_WRITE) return ODV_E_ARGUMENT;
  const std::thread::id self = std::this_thread::get_id();
  std::unique_lock<std::mutex> guard(mutex_);
  if (mode == ODV_LOCK_READ) {
    changed_.wait(guard, [&] { return writeDepth_ == 0 || writer_ == self; });
    ++ReadsOf(self);
    ++readTotal_;
  } else {
    changed_.wait(guard, [&] {
      return (writeDepth_ == 0 || writer_ == self) && readTotal_ == ReadsOf(self);
    });
    writer_ = self;
    ++writeDepth_;
  }
  return ODV_SUCCESS;
}

OdvStatus ImageLock::Unlock(std::uint32_t mode) {
  if (mode > ODV_LOCK_WRITE) return ODV_E_ARGUMENT;
  const std::thread::id self = std::this_thread::get_id();
  std::lock_guard<std::mutex> guard(mutex_);
  if (mode == ODV_LOCK_READ) {
    std::uint32_t& mine = ReadsOf(self);
    if (mine == 0) return ODV_E_NOT_LOCKED;
    --mine;
    --readTotal_;
  } else {
    if (writeDepth_ == 0 || writer_ != self) return ODV_E_NOT_LOCKED;
    if (--writeDepth_ == 0) writer_ = std::thread::id();
  }
  changed_.notify_all();
  return ODV_SUCCESS;
}

std::uint32_t ImageLock::Count(std::uint32_t mode) {
  std::lock_guard<std::mutex> guard(mutex_);
  return mode == ODV_LOCK_READ ? readTotal_ : writeDepth_;
}

}  // namespace odv

extern "C" {

uint32_t ImageTypePixelSize(uint32_t type) {
  return type < sizeof odv::kPixelSizes / sizeof odv::kPixelSizes[0] ? odv::kPixelSizes[type] : 0;
}

OdvStatus NewImage(Image** image, uint32_t type, uint32_t width, uint32_t height, uint32_t border) {
  if (image == nullptr) return ODV_E_ARGUMENT;
  *image = nullptr;
  Image* created = new (std::nothrow) Image();
  if (created == nullptr) return ODV_E_NO_MEMORY;
  created->header[ODV_WORD_MAGIC] = odv::kImageMagic;
  created->header[1] = ODV_HEADER_WORDS;
  const OdvStatus status = odv::Allocate(created, type, width, height, border);
  if (status != ODV_SUCCESS) {
    delete created;
    return status;
  }
  try {
    std::lock_guard<std::mutex> guard(odv::RegistryMutex());
    odv::Registry().insert(created);
  } catch (...) {
    std::free(created->memory);
    delete created;
    return ODV_E_NO_MEMORY;
  }
  *image = created;
  return ODV_SUCCESS;
}

OdvStatus DisposeImage(Image* image) {
  if (image == nullptr) return ODV_SUCCESS;
  {
    std::lock_guard<std::mutex> guard(odv::RegistryMutex());
    if (odv::Registry().erase(image) == 0) return ODV_E_NOT_AN_IMAGE;
  }
  std::free(image->memory);
  delete image;
  return ODV_SUCCESS;
}

int IsImage(const Image* image) { return odv::Live(image) != nullptr ? 1 : 0; }

OdvStatus ResizeAndCastImage(Image* image, uint32_t width, uint32_t height, uint32_t type) {
  Image* live = odv::Live(image);
  if (live == nullptr) return ODV_E_NOT_AN_IMAGE;
  if (live->Width() == width && live->Height() == height && live->Type() == type) return ODV_SUCCESS;
  return odv::Allocate(live, type, width, height, live->Border());
}

OdvStatus SetBitDepth(Image* image, uint32_t depth) {
  Image* live = odv::Live(image);
  if (live == nullptr) return ODV_E_NOT_AN_IMAGE;
  if (depth > 8 * live->PixelSize()) return ODV_E_ARGUMENT;
  live->header[ODV_WORD_BIT_DEPTH] = depth;
  return ODV_SUCCESS;
}

OdvStatus GetImagePixel(const Image* image, uint32_t x, uint32_t y, void** address) {
  Image* live = odv::Live(image);
  if (live == nullptr) return ODV_E_NOT_AN_IMAGE;
  if (address == nullptr || x >= live->Width() || y >= live->Height()) return ODV_E_ARGUMENT;
  *address = live->Row(y) + std::uint64_t{x} * live->PixelSize();
  return ODV_SUCCESS;
}

OdvStatus LockImage(Image* const* images, uint32_t count, uint32_t mode) {
  if (images == nullptr && count != 0) return ODV_E_ARGUMENT;
  for (uint32_t i = 0; i < count; ++i) {
    Image* live = odv::Live(images[i]);
    if (live == nullptr) return ODV_E_NOT_AN_IMAGE;
    const OdvStatus status = live->lock.Lock(mode);
    if (status != ODV_SUCCESS) return status;
  }
  return ODV_SUCCESS;
}

OdvStatus UnlockImage(Image* const* images, uint32_t count, uint32_t mode) {
  if (images == nullptr && count != 0) return ODV_E_ARGUMENT;
  for (uint32_t i = 0; i < count; ++i) {
    Image* live = odv::Live(images[i]);
    if (live == nullptr) return ODV_E_NOT_AN_IMAGE;
    const OdvStatus status = live->lock.Unlock(mode);
    if (status != ODV_SUCCESS) return status;
  }
  return ODV_SUCCESS;
}

OdvStatus GetImageLockCount(const Image* image, uint32_t mode, uint32_t* count) {
  Image* live = odv::Live(image);
  if (live == nullptr) return ODV_E_NOT_AN_IMAGE;
  if (count == nullptr || mode > ODV_LOCK_WRITE) return ODV_E_ARGUMENT;
  *count = live->lock.Count(mode);
  return ODV_SUCCESS;
}

}  // extern "C"
