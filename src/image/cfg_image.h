// CfgImage: carrier of one image object of the image library through
// sessions and commands. It either owns the image it created (and disposes of
// it) or borrows one that a caller attached. It flattens the image into a
// ByteStream in one of two forms: the stream form, packed (and compressed) by
// the image library in one piece behind a u64 size, or the record form, a
// versioned list of u32 words of the library's transport record followed by
// its two data blocks. Reading the record form points into the stream instead
// of copying. Any exception out of the image library becomes 0xBFFF800B.
#pragma once

#include <atomic>
#include <cstdint>

#include "foundation/byte_stream.h"
#include "foundation/status.h"

struct Image;

namespace keld {

// Version words of the record form: what follows the version on the stream.
inline constexpr std::uint32_t kImageRecordVersion7 = 0x00070000;   // words 5 to 15
inline constexpr std::uint32_t kImageRecordVersion71 = 0x00070100;  // word 4, then 5 to 15
inline constexpr std::uint32_t kImageRecordVersion9 = 0x00090000;   // words 2 to 15

class CfgImage {
 public:
  // Process-wide compression of both flatten forms, read and written without
  // a lock by every session of the process.
  static std::atomic<std::uint32_t> compressionType;     // initially 1
  static std::atomic<std::uint32_t> compressionQuality;  // initially 750

  CfgImage() = default;
  CfgImage(const CfgImage&) = delete;
  CfgImage& operator=(const CfgImage&) = delete;
  virtual ~CfgImage();

  virtual Status Flatten(ByteStream* stream, bool useStreamForm);
  virtual Status Unflatten(ByteStream* stream, bool useStreamForm);
  // Takes a read lock and releases it; the hook for showing the image on the
  // target's screen does nothing else.
  virtual Status Show();

  // Creates an empty image unless a live one is held; the library's status.
  Status EnsureImage();
  Status Resize(std::uint32_t width, std::uint32_t height, std::uint32_t type);
  // Always 0.
  Status SetBitDepth(std::uint32_t depth);
  // Borrows `other`, disposing of an owned image first; the same pointer again does nothing.
  void Attach(Image* other);

  Image* GetImage() const { return image_; }
  bool Owned() const { return owned_; }
  std::uint32_t GetWidth() const;
  std::uint32_t GetHeight() const;
  std::uint32_t GetLineWidth() const;
  std::uint32_t GetType() const;
  // Word `index` of the image's header; 0 where there is no live image.
  std::uint32_t HeaderWord(int index) const;
  // Address of pixel (0, 0), null where the library gives none.
  void* GetFirstPixel() const;

  Status LockForWrite();
  Status Unlock();

 private:
  void Release();
  // Calls the library even when `*status` is already nonzero; keeps the first failure.
  void LockImage(Status* status, std::uint32_t mode);
  void UnlockImage(Status* status, std::uint32_t mode);

  Status FlattenStream(ByteStream* stream);
  Status FlattenRecord(ByteStream* stream);
  Status UnflattenStream(ByteStream* stream);
  Status UnflattenRecord(ByteStream* stream);

  Image* image_ = nullptr;
  bool owned_ = false;
};

}  // namespace keld
