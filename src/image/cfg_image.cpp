#include "image/cfg_image.h"

#include <cstddef>
#include <cstring>
#include <iterator>
#include <limits>

#include "odvissvc/odvissvc.h"

namespace keld {

std::atomic<std::uint32_t> CfgImage::compressionType{1};
std::atomic<std::uint32_t> CfgImage::compressionQuality{750};

namespace {

constexpr std::uint32_t kRecordLayout = 0x68;
constexpr std::uint32_t kStreamFormat = 2;
constexpr std::uint32_t kStreamChunkBytes = 0x100000;

// Record words 2 to 15 in stream order, as offsets into the library's record.
constexpr std::size_t kRecordWordOffsets[] = {0x60, 0x74, 0x50, 0x2C, 0x0C, 0x10, 0x14,
                                              0x20, 0x18, 0x1C, 0x24, 0x28, 0x30, 0x40};
constexpr std::size_t kFirstBlockSize = 0x30, kFirstBlockPointer = 0x38;
constexpr std::size_t kSecondBlockSize = 0x40, kSecondBlockPointer = 0x48;

// Which of the words above follow each known version: the index of the first.
struct RecordVersion {
  std::uint32_t version;
  std::size_t firstWord;
};
constexpr RecordVersion kRecordVersions[] = {
    {kImageRecordVersion7, 3},   // from word 5
    {kImageRecordVersion71, 2},  // from word 4
    {kImageRecordVersion9, 0},   // from word 2
};

std::uint32_t WordAt(const OdvRPCImage& record, std::size_t offset) {
  std::uint32_t word;
  std::memcpy(&word, reinterpret_cast<const std::uint8_t*>(&record) + offset, sizeof word);
  return word;
}
void SetWordAt(OdvRPCImage* record, std::size_t offset, std::uint32_t word) {
  std::memcpy(reinterpret_cast<std::uint8_t*>(record) + offset, &word, sizeof word);
}
std::uint8_t* PointerAt(const OdvRPCImage& record, std::size_t offset) {
  std::uint8_t* pointer;
  std::memcpy(&pointer, reinterpret_cast<const std::uint8_t*>(&record) + offset, sizeof pointer);
  return pointer;
}
void SetPointerAt(OdvRPCImage* record, std::size_t offset, std::uint8_t* pointer) {
  std::memcpy(reinterpret_cast<std::uint8_t*>(record) + offset, &pointer, sizeof pointer);
}

// Runs `body`, turning anything the image library throws into 0xBFFF800B.
template <typename Body>
Status Guard(Body&& body) {
  try {
    return body();
  } catch (...) {
    return kSessionNotConfigured;
  }
}

}  // namespace

CfgImage::~CfgImage() { Release(); }

void CfgImage::Release() {
  if (owned_) {
    try {
      DisposeImage(image_);
    } catch (...) {
    }
  }
  image_ = nullptr;
  owned_ = false;
}

Status CfgImage::EnsureImage() {
  return Guard([&]() -> Status {
    if (IsImage(image_) != 0) return kSuccess;
    const Status status = NewImage(&image_, 0, 0, 0, 0);
    owned_ = true;
    return status;
  });
}

Status CfgImage::Resize(std::uint32_t width, std::uint32_t height, std::uint32_t type) {
  const Status status = EnsureImage();
  if (status != kSuccess) return status;
  return Guard([&]() -> Status { return ResizeAndCastImage(image_, width, height, type); });
}

Status CfgImage::SetBitDepth(std::uint32_t depth) {
  // The bit depth is a hint for showing the image; whether the library took
  // it does not change the image, so the answer is always success.
  IgnoreStatus(Guard([&]() -> Status { return ::SetBitDepth(image_, depth); }));
  return kSuccess;
}

void CfgImage::Attach(Image* other) {
  if (other == image_) return;
  Release();
  image_ = other;
}

std::uint32_t CfgImage::HeaderWord(int index) const {
  if (IsImage(image_) == 0) return 0;
  std::uint32_t word;
  std::memcpy(&word, reinterpret_cast<const std::uint8_t*>(image_) + sizeof word * static_cast<std::size_t>(index),
              sizeof word);
  return word;
}

std::uint32_t CfgImage::GetWidth() const { return HeaderWord(ODV_WORD_WIDTH); }
std::uint32_t CfgImage::GetHeight() const { return HeaderWord(ODV_WORD_HEIGHT); }
std::uint32_t CfgImage::GetType() const { return HeaderWord(ODV_WORD_TYPE); }
std::uint32_t CfgImage::GetLineWidth() const { return HeaderWord(ODV_WORD_LINE_WIDTH); }

void* CfgImage::GetFirstPixel() const {
  void* address = nullptr;
  if (GetImagePixel(image_, 0, 0, &address) != ODV_SUCCESS) return nullptr;
  return address;
}

void CfgImage::LockImage(Status* status, std::uint32_t mode) {
  Image* list[1] = {image_};
  const Status result = Guard([&]() -> Status { return ::LockImage(list, 1, mode); });
  if (*status == kSuccess) *status = result;
}

void CfgImage::UnlockImage(Status* status, std::uint32_t mode) {
  Image* list[1] = {image_};
  const Status result = Guard([&]() -> Status { return ::UnlockImage(list, 1, mode); });
  if (*status == kSuccess) *status = result;
}

Status CfgImage::LockForWrite() {
  Status status = kSuccess;
  LockImage(&status, ODV_LOCK_WRITE);
  return status;
}

Status CfgImage::Unlock() {
  Status status = kSuccess;
  UnlockImage(&status, ODV_LOCK_WRITE);
  return status;
}

Status CfgImage::Show() {
  Status status = kSuccess;
  LockImage(&status, ODV_LOCK_READ);
  if (status == kSuccess) UnlockImage(&status, ODV_LOCK_READ);
  return status;
}

Status CfgImage::Flatten(ByteStream* stream, bool useStreamForm) {
  if (image_ == nullptr) return kBadPointer;
  return Guard([&]() -> Status { return useStreamForm ? FlattenStream(stream) : FlattenRecord(stream); });
}

Status CfgImage::Unflatten(ByteStream* stream, bool useStreamForm) {
  if (image_ == nullptr) return kBadPointer;
  return Guard([&]() -> Status { return useStreamForm ? UnflattenStream(stream) : UnflattenRecord(stream); });
}

Status CfgImage::FlattenStream(ByteStream* stream) {
  Status status = kSuccess;
  LockImage(&status, ODV_LOCK_READ);
  if (status != kSuccess) return status;
  OdvRPCData* data = nullptr;
  std::uint64_t size = 0;
  status = FlattenImageToRPCData(image_, kStreamFormat, compressionType.load(std::memory_order_relaxed), 1,
                                 compressionQuality.load(std::memory_order_relaxed), 0, 0, kStreamChunkBytes, &data,
                                 &size);
  // The size and the packed image in one extension: a stream that holds a
  // block of the same size already (see ByteStream::Truncate) keeps it.
  const std::uint32_t end = stream->size;
  if (status == kSuccess && size > std::numeric_limits<std::uint32_t>::max() - sizeof size - end) status = kOutOfMemory;
  if (status == kSuccess) status = stream->Extend(static_cast<std::uint32_t>(sizeof size + size));
  if (status == kSuccess) {
    std::memcpy(stream->data + end, &size, sizeof size);
    std::uint64_t written = 0;
    const Status library = FlattenRPCDataToStream(data, stream->data + end + sizeof size, size, &written);
    if (written != size) status = library != kSuccess ? library : kInternalError;
  }
  if (data != nullptr) DisposeRPCData(data);
  UnlockImage(&status, ODV_LOCK_READ);
  return status;
}

Status CfgImage::FlattenRecord(ByteStream* stream) {
  OdvRPCImage record;
  Status status = rpcInitImage2(&record, kRecordLayout);
  LockImage(&status, ODV_LOCK_READ);
  if (status == kSuccess)
    status = RpcConvertToRPCImage3(&record, image_, kRecordLayout, kStreamFormat,
                                   compressionType.load(std::memory_order_relaxed), 0,
                                   compressionQuality.load(std::memory_order_relaxed), 0);
  UnlockImage(&status, ODV_LOCK_READ);
  // The version, the words and both blocks are laid out in one extension of
  // the stream: growing it word by word would reallocate (and, for a large
  // image, fault in fresh pages for) the whole block at every append.
  // A block without a pointer adds no bytes, as with AppendBytes.
  const std::uint8_t* first = PointerAt(record, kFirstBlockPointer);
  const std::uint8_t* second = PointerAt(record, kSecondBlockPointer);
  const std::uint32_t firstSize = first != nullptr ? WordAt(record, kFirstBlockSize) : 0;
  const std::uint32_t secondSize = second != nullptr ? WordAt(record, kSecondBlockSize) : 0;
  const std::uint64_t wordBytes = sizeof(std::uint32_t) * (1 + std::size(kRecordWordOffsets));
  const std::uint64_t total = wordBytes + firstSize + secondSize;
  const std::uint32_t end = stream->size;
  if (status == kSuccess && total > std::numeric_limits<std::uint32_t>::max() - end) status = kOutOfMemory;
  if (status == kSuccess) status = stream->Extend(static_cast<std::uint32_t>(total));
  if (status == kSuccess) {
    std::uint8_t* out = stream->data + end;
    const auto put = [&out](const void* source, std::size_t count) {
      if (count != 0) std::memcpy(out, source, count);
      out += count;
    };
    const std::uint32_t version = kImageRecordVersion9;
    put(&version, sizeof version);
    for (std::size_t offset : kRecordWordOffsets) {
      const std::uint32_t word = WordAt(record, offset);
      put(&word, sizeof word);
    }
    put(first, firstSize);
    put(second, secondSize);
  }
  rpcDisposeImageBytes2(&record, 0, kRecordLayout);
  return status;
}

Status CfgImage::UnflattenStream(ByteStream* stream) {
  std::uint64_t size = 0;
  Status status = stream->ReadU64(&size);
  if (status != kSuccess) return status;
  if (size == 0) return kSuccess;
  // The library reads exactly `size` bytes from the cursor; more than the
  // stream holds is refused before anything is handed over.
  if (size > stream->Remaining()) return kByteStreamLoadFailed;
  LockImage(&status, ODV_LOCK_WRITE);
  if (status == kSuccess) {
    const Array1D view{stream->cursor, size, size, 1, 0, nullptr};
    status = UnflattenImageFromArray1D(&image_, &view);
  }
  UnlockImage(&status, ODV_LOCK_WRITE);
  return status;
}

Status CfgImage::UnflattenRecord(ByteStream* stream) {
  OdvRPCImage record;
  Status status = rpcInitImage2(&record, kRecordLayout);
  std::uint32_t version = 0;
  if (status == kSuccess) status = stream->ReadU32(&version);
  std::size_t firstWord = sizeof kRecordWordOffsets / sizeof kRecordWordOffsets[0];
  if (status == kSuccess) {
    status = kByteStreamLoadFailed;
    for (const RecordVersion& known : kRecordVersions) {
      if (known.version == version) {
        firstWord = known.firstWord;
        status = kSuccess;
      }
    }
  }
  for (std::size_t i = firstWord; i < sizeof kRecordWordOffsets / sizeof kRecordWordOffsets[0]; ++i) {
    std::uint32_t word = 0;
    if (status == kSuccess) status = stream->ReadU32(&word);
    if (status == kSuccess) SetWordAt(&record, kRecordWordOffsets[i], word);
  }
  // The blocks stay in the stream; the record points at them.
  for (const auto& block : {std::pair{kFirstBlockSize, kFirstBlockPointer}, std::pair{kSecondBlockSize, kSecondBlockPointer}}) {
    const std::uint32_t size = WordAt(record, block.first);
    if (status != kSuccess || size == 0) continue;
    std::uint8_t* start = stream->cursor;
    status = stream->Skip(size);
    if (status == kSuccess) SetPointerAt(&record, block.second, start);
  }
  // A failure so far still takes the write lock and ends here with it held.
  LockImage(&status, ODV_LOCK_WRITE);
  if (status != kSuccess) return status;
  RpcConvertToGRImage3(&image_, &record, kRecordLayout, 0);  // its result is not used
  UnlockImage(&status, ODV_LOCK_WRITE);
  return status;
}

}  // namespace keld
