// Packing of an image for transport. A packed image is a descriptor followed
// by the payload. The descriptor states its own format and size, the image's
// geometry, the codec, the payload's size and hash with the kind of hash, and
// ends with a hash of its own bytes; readers check all of it before they touch
// the target image.
#include <cstddef>
#include <cstring>
#include <new>
#include <utility>

#include "codecs.h"
#include "image_object.h"
#include "payload_hash.h"
#include "pixel_codec.h"
#include "worker_pool.h"

namespace odv {

namespace {

constexpr std::uint32_t kPackMagic = 0x50564F44;  // "ODVP"
constexpr std::uint32_t kDefaultChunk = 1u << 20;
constexpr std::uint32_t kMaxChunk = 1u << 26;
constexpr std::uint64_t kMaxRawSize = 1ull << 32;
// Share of all-zero blocks of the pixel codec from which zstd is tried as well.
constexpr double kQuietShare = 0.03;

struct Descriptor {
  std::uint32_t magic;
  std::uint16_t format;
  std::uint16_t size;
  std::uint64_t rawSize;  // packed pixel bytes; 0 where only the geometry travels
  std::uint64_t payloadSize;
  std::uint64_t payloadCheck;  // hash of the payload
  std::uint32_t hashKind;      // which hash payloadCheck and selfCheck are
  std::uint32_t type;
  std::uint32_t width;
  std::uint32_t height;
  std::uint32_t border;
  std::uint32_t lineWidth;
  std::uint32_t bitDepth;
  std::uint32_t kind;
  std::uint32_t compression;  // compression type actually applied
  std::uint32_t codec;
  std::uint32_t quality;
  std::uint32_t chunkBytes;
  std::uint32_t reserved;   // zero
  std::uint32_t selfCheck;  // low word of the hash of the bytes before it
};
static_assert(sizeof(Descriptor) == 88 && offsetof(Descriptor, selfCheck) == 84);
constexpr std::uint32_t kDescriptorSize = sizeof(Descriptor);

static_assert(offsetof(OdvRPCImage, type) == 0x0C && offsetof(OdvRPCImage, width) == 0x10 &&
              offsetof(OdvRPCImage, height) == 0x14 && offsetof(OdvRPCImage, border) == 0x18 &&
              offsetof(OdvRPCImage, lineWidth) == 0x1C && offsetof(OdvRPCImage, bitDepth) == 0x20 &&
              offsetof(OdvRPCImage, compression) == 0x24 && offsetof(OdvRPCImage, quality) == 0x28 &&
              offsetof(OdvRPCImage, pixelSize) == 0x2C && offsetof(OdvRPCImage, descriptorSize) == 0x30 &&
              offsetof(OdvRPCImage, descriptor) == 0x38 && offsetof(OdvRPCImage, payloadSize) == 0x40 &&
              offsetof(OdvRPCImage, payload) == 0x48 && offsetof(OdvRPCImage, rawSize) == 0x50 &&
              offsetof(OdvRPCImage, payloadCheck) == 0x60 && offsetof(OdvRPCImage, kind) == 0x74);

std::uint32_t SelfCheck(const Descriptor& d) {
  return static_cast<std::uint32_t>(HashOf(&d, offsetof(Descriptor, selfCheck)));
}

}  // namespace

}  // namespace odv

// Prepared packing of one image. Compressed payloads are made at once;
// uncompressed pixels are read from the image while they are written out.
struct OdvRPCData {
  odv::Descriptor descriptor;
  const Image* image;
  odv::Buffer payload;  // empty for the uncompressed form
};

namespace odv {

namespace {

// Gathers the rows of the image into one block where they aren't one already.
OdvStatus PackedRows(const Image* image, const std::uint8_t** rows, Buffer* gathered) {
  if (image->Contiguous()) {
    *rows = image->Row(0);
    return ODV_SUCCESS;
  }
  const std::uint64_t rowBytes = image->RowBytes();
  if (!gathered->Allocate(rowBytes * image->Height())) return ODV_E_NO_MEMORY;
  for (std::uint32_t y = 0; y < image->Height(); ++y)
    std::memcpy(gathered->data.get() + y * rowBytes, image->Row(y), rowBytes);
  *rows = gathered->data.get();
  return ODV_SUCCESS;
}

OdvStatus Prepare(const Image* image, std::uint32_t format, std::uint32_t compression,
                  std::uint32_t withPixels, std::uint32_t quality, std::uint32_t chunkBytes,
                  OdvRPCData* data) {
  if (format != ODV_PACK_FORMAT) return ODV_E_VERSION;
  if (compression > ODV_COMPRESS_JPEG || quality > 1000 || chunkBytes > kMaxChunk) return ODV_E_ARGUMENT;
  Descriptor& d = data->descriptor;
  std::memset(&d, 0, sizeof d);
  d.magic = kPackMagic;
  d.format = static_cast<std::uint16_t>(format);
  d.size = kDescriptorSize;
  d.hashKind = kHashXxh3;
  d.type = image->Type();
  d.width = image->Width();
  d.height = image->Height();
  d.border = image->Border();
  d.lineWidth = image->LineWidth();
  d.bitDepth = image->BitDepth();
  d.kind = image->header[ODV_WORD_KIND];
  d.quality = quality;
  d.chunkBytes = chunkBytes == 0 ? kDefaultChunk : chunkBytes;
  d.rawSize = withPixels != 0 ? image->RowBytes() * image->Height() : 0;
  if (d.rawSize > kMaxRawSize) return ODV_E_UNSUPPORTED;
  data->image = image;
  if (d.rawSize == 0) return ODV_SUCCESS;
  const bool jpegable = d.type == ODV_U8 || d.type == ODV_RGB32;
  d.compression = compression == ODV_COMPRESS_JPEG && !jpegable ? ODV_COMPRESS_LOSSLESS : compression;
  OdvStatus status = ODV_SUCCESS;
  if (d.compression == ODV_COMPRESS_NONE) {
    d.codec = kCodecRaw;
    d.payloadSize = d.rawSize;  // hashed when the pixels are written
    return ODV_SUCCESS;
  }
  if (d.compression == ODV_COMPRESS_JPEG) {
    d.codec = kCodecJpeg;
    status = CompressJpeg(image, static_cast<int>((quality + 5) / 10), &data->payload);
  } else if (PixelCodecTakes(d.type)) {
    d.codec = kCodecPixel;
    double quietShare = 0;
    status = EncodePixels(d.type, d.width, d.height, image->Row(0), image->LineBytes(), d.chunkBytes,
                          PackingThreads(), &data->payload, &quietShare);
    // A frame without sensor noise (a test pattern, a dark or saturated
    // scene) has many blocks of zero residuals; the bit planes spend at
    // least a plane on every block with any change in it, where an LZ codec
    // also catches the repeats. Such a frame is packed by zstd as well, which
    // is fast on it, and the smaller payload travels. Noisy frames, with
    // hardly a quiet block, never pay for the trial.
    if (status == ODV_SUCCESS && quietShare >= kQuietShare) {
      const std::uint8_t* rows = nullptr;
      Buffer gathered, general;
      status = PackedRows(image, &rows, &gathered);
      if (status == ODV_SUCCESS &&
          CompressLossless(kLosslessCodec, rows, d.rawSize, d.chunkBytes, &general) == ODV_SUCCESS &&
          general.size < data->payload.size) {
        d.codec = kLosslessCodec;
        data->payload = std::move(general);
      }
    }
  } else {
    d.codec = kLosslessCodec;
    const std::uint8_t* rows = nullptr;
    Buffer gathered;
    status = PackedRows(image, &rows, &gathered);
    if (status == ODV_SUCCESS)
      status = CompressLossless(d.codec, rows, d.rawSize, d.chunkBytes, &data->payload);
  }
  if (status != ODV_SUCCESS) return status;
  d.payloadSize = data->payload.size;  // hashed when it is written
  return ODV_SUCCESS;
}

// Stamps the descriptor's own hash and writes it to `target`.
void SealDescriptor(Descriptor* d, std::uint8_t* target) {
  d->selfCheck = SelfCheck(*d);
  std::memcpy(target, d, kDescriptorSize);
}

std::uint64_t PackedSize(const OdvRPCData& data) { return kDescriptorSize + data.descriptor.payloadSize; }

// Writes descriptor and payload to `target`, which holds PackedSize bytes.
// Uncompressed pixels are copied once, straight from the image's lines;
// every payload is hashed in the same pass as its copy.
void WritePacked(OdvRPCData* data, std::uint8_t* target) {
  Descriptor& d = data->descriptor;
  std::uint8_t* payload = target + kDescriptorSize;
  if (d.codec == kCodecRaw && d.rawSize != 0) {
    const Image* image = data->image;
    if (image->Contiguous()) {
      d.payloadCheck = CopyAndHash(payload, image->Row(0), d.rawSize);
    } else {
      HashedCopy copy;
      const std::uint64_t rowBytes = image->RowBytes();
      for (std::uint32_t y = 0; y < d.height; ++y) copy.Copy(payload + y * rowBytes, image->Row(y), rowBytes);
      d.payloadCheck = copy.Digest();
    }
  } else {
    d.payloadCheck = CopyAndHash(payload, data->payload.data.get(), d.payloadSize);
  }
  SealDescriptor(&d, target);
}

OdvStatus ReadDescriptor(const std::uint8_t* bytes, std::uint64_t count, Descriptor* d) {
  if (bytes == nullptr || count < 8) return ODV_E_TRUNCATED;
  std::uint32_t magic = 0;
  std::uint16_t format = 0;
  std::uint16_t size = 0;
  std::memcpy(&magic, bytes, 4);
  std::memcpy(&format, bytes + 4, 2);
  std::memcpy(&size, bytes + 6, 2);
  if (magic != kPackMagic) return ODV_E_CORRUPT;
  if (format != ODV_PACK_FORMAT) return ODV_E_VERSION;
  if (size != kDescriptorSize) return ODV_E_CORRUPT;
  if (count < kDescriptorSize) return ODV_E_TRUNCATED;
  std::memcpy(d, bytes, kDescriptorSize);
  if (d->selfCheck != SelfCheck(*d)) return ODV_E_CORRUPT;
  if (d->hashKind != kHashXxh3) return ODV_E_VERSION;
  if (d->reserved != 0) return ODV_E_CORRUPT;
  const std::uint32_t pixelSize = ImageTypePixelSize(d->type);
  if (pixelSize == 0 || d->compression > ODV_COMPRESS_JPEG) return ODV_E_CORRUPT;
  if (d->codec > kLastCodec) return ODV_E_VERSION;  // a newer writer's codec
  const std::uint64_t expected = std::uint64_t{d->width} * d->height;  // below 2^64
  if (d->rawSize != 0 && (expected > kMaxRawSize || expected * pixelSize != d->rawSize)) return ODV_E_CORRUPT;
  if (d->rawSize == 0 && d->payloadSize != 0) return ODV_E_CORRUPT;
  if (d->codec == kCodecRaw && d->payloadSize != d->rawSize) return ODV_E_CORRUPT;
  if (d->codec == kCodecJpeg && d->type != ODV_U8 && d->type != ODV_RGB32) return ODV_E_CORRUPT;
  if (d->codec == kCodecPixel && (!PixelCodecTakes(d->type) || d->rawSize == 0)) return ODV_E_CORRUPT;
  if (d->chunkBytes == 0 || d->chunkBytes > kMaxChunk) return ODV_E_CORRUPT;
  return ODV_SUCCESS;
}

// Unpacks into *image (created where null) from a checked descriptor and a
// payload of exactly its announced size.
// Copies an uncompressed payload into the target's lines and hashes it in
// the same pass; a payload whose hash fails leaves zeros, not its bytes.
OdvStatus CopyRawChecked(const Descriptor& d, const std::uint8_t* payload, Image* target) {
  const std::uint64_t rowBytes = target->RowBytes();
  std::uint64_t check = 0;
  if (target->Contiguous()) {
    check = CopyAndHash(target->Row(0), payload, d.rawSize);
  } else {
    HashedCopy copy;
    for (std::uint32_t y = 0; y < d.height; ++y) copy.Copy(target->Row(y), payload + y * rowBytes, rowBytes);
    check = copy.Digest();
  }
  if (check == d.payloadCheck) return ODV_SUCCESS;
  for (std::uint32_t y = 0; y < d.height; ++y) std::memset(target->Row(y), 0, rowBytes);
  return ODV_E_CORRUPT;
}

OdvStatus Unpack(Image** image, const Descriptor& d, const std::uint8_t* payload) {
  // A compressed payload is checked before the target is touched, so that a
  // refused image leaves the caller's image as it was. Uncompressed pixels
  // are hashed while they are copied into the target instead, which spares
  // a pass over the frame: the descriptor and all sizes are still checked
  // first, but a payload whose hash then fails leaves the target with the
  // packed geometry and zeroed pixels.
  const bool uncompressed = d.codec == kCodecRaw;
  if (!uncompressed && d.payloadSize != 0 && HashPayload(payload, d.payloadSize) != d.payloadCheck) return ODV_E_CORRUPT;
  // So is the structure of a pixel-codec payload.
  PixelPlan plan;
  if (d.codec == kCodecPixel) {
    const OdvStatus checked = CheckPixels(d.type, d.width, d.height, payload, d.payloadSize, &plan);
    if (checked != ODV_SUCCESS) return checked;
  }
  Image* target = nullptr;
  OdvStatus status = ODV_SUCCESS;
  if (*image == nullptr) {
    status = NewImage(image, d.type, d.width, d.height, 0);
    if (status != ODV_SUCCESS) return status;
    target = *image;
  } else {
    target = Live(*image);
    if (target == nullptr) return ODV_E_NOT_AN_IMAGE;
    status = ResizeAndCastImage(target, d.width, d.height, d.type);
    if (status != ODV_SUCCESS) return status;
  }
  if (d.bitDepth <= 8 * target->PixelSize()) target->header[ODV_WORD_BIT_DEPTH] = d.bitDepth;
  if (d.rawSize == 0) return ODV_SUCCESS;
  if (uncompressed) return CopyRawChecked(d, payload, target);
  if (d.codec == kCodecJpeg) return DecompressJpeg(payload, d.payloadSize, target);
  if (d.codec == kCodecPixel) return DecodePixels(plan, target->Row(0), target->LineBytes(), PackingThreads());
  if (target->Contiguous())
    return DecompressLossless(d.codec, payload, d.payloadSize, target->Row(0), d.rawSize, d.chunkBytes);
  Buffer raw;
  if (!raw.Allocate(d.rawSize)) return ODV_E_NO_MEMORY;
  status = DecompressLossless(d.codec, payload, d.payloadSize, raw.data.get(), d.rawSize, d.chunkBytes);
  if (status != ODV_SUCCESS) return status;
  const std::uint64_t rowBytes = target->RowBytes();
  for (std::uint32_t y = 0; y < d.height; ++y) std::memcpy(target->Row(y), raw.data.get() + y * rowBytes, rowBytes);
  return ODV_SUCCESS;
}

OdvStatus Guarded(OdvStatus (*body)(void*), void* context) {
  try {
    return body(context);
  } catch (const std::bad_alloc&) {
    return ODV_E_NO_MEMORY;
  } catch (...) {
    return ODV_E_CODEC;
  }
}

}  // namespace

}  // namespace odv

using odv::kDescriptorSize;

extern "C" {

OdvStatus FlattenImageToRPCData(const Image* image, uint32_t format, uint32_t compression, uint32_t withPixels,
                                uint32_t quality, uint32_t, uint32_t, uint32_t chunkBytes, OdvRPCData** data,
                                uint64_t* size) {
  if (data == nullptr || size == nullptr) return ODV_E_ARGUMENT;
  *data = nullptr;
  *size = 0;
  const Image* live = odv::Live(image);
  if (live == nullptr) return ODV_E_NOT_AN_IMAGE;
  OdvRPCData* made = new (std::nothrow) OdvRPCData();
  if (made == nullptr) return ODV_E_NO_MEMORY;
  const OdvStatus status = odv::Prepare(live, format, compression, withPixels, quality, chunkBytes, made);
  if (status != ODV_SUCCESS) {
    delete made;
    return status;
  }
  *data = made;
  *size = odv::PackedSize(*made);
  return ODV_SUCCESS;
}

OdvStatus FlattenRPCDataToStream(OdvRPCData* data, void* target, uint64_t capacity, uint64_t* written) {
  if (written != nullptr) *written = 0;
  if (data == nullptr || target == nullptr || written == nullptr) return ODV_E_ARGUMENT;
  if (capacity < odv::PackedSize(*data)) return ODV_E_BUFFER_TOO_SMALL;
  if (odv::Live(data->image) == nullptr) return ODV_E_NOT_AN_IMAGE;
  odv::WritePacked(data, static_cast<std::uint8_t*>(target));
  *written = odv::PackedSize(*data);
  return ODV_SUCCESS;
}

OdvStatus DisposeRPCData(OdvRPCData* data) {
  delete data;
  return ODV_SUCCESS;
}

OdvStatus UnflattenImageFromArray1D(Image** image, const Array1D* array) {
  if (image == nullptr || array == nullptr || (array->data == nullptr && array->size != 0)) return ODV_E_ARGUMENT;
  const std::uint64_t elementSize = array->elementSize == 0 ? 1 : array->elementSize;
  if (array->size > UINT64_MAX / elementSize) return ODV_E_ARGUMENT;
  const std::uint64_t count = array->size * elementSize;
  const auto* bytes = static_cast<const std::uint8_t*>(array->data);
  odv::Descriptor d;
  OdvStatus status = odv::ReadDescriptor(bytes, count, &d);
  if (status != ODV_SUCCESS) return status;
  if (count - kDescriptorSize < d.payloadSize) return ODV_E_TRUNCATED;
  if (count - kDescriptorSize > d.payloadSize) return ODV_E_CORRUPT;
  struct Call {
    Image** image;
    const odv::Descriptor* d;
    const std::uint8_t* payload;
  } call{image, &d, bytes + kDescriptorSize};
  return odv::Guarded(
      [](void* c) {
        auto* args = static_cast<Call*>(c);
        return odv::Unpack(args->image, *args->d, args->payload);
      },
      &call);
}

OdvStatus SetPackingThreads(uint32_t count) {
  if (count > 1024) return ODV_E_ARGUMENT;
  odv::SetPackingThreadCount(count);
  return ODV_SUCCESS;
}

uint32_t GetPackingThreads(void) { return odv::PackingThreads(); }

OdvStatus rpcInitImage2(OdvRPCImage* record, uint32_t layout) {
  if (record == nullptr || layout != ODV_RECORD_LAYOUT) return ODV_E_ARGUMENT;
  std::memset(record, 0, sizeof *record);
  record->layout = layout;
  return ODV_SUCCESS;
}

OdvStatus RpcConvertToRPCImage3(OdvRPCImage* record, const Image* image, uint32_t layout, uint32_t format,
                                uint32_t compression, uint32_t, uint32_t quality, uint32_t) {
  if (record == nullptr || layout != ODV_RECORD_LAYOUT || record->layout != layout) return ODV_E_ARGUMENT;
  OdvRPCData* data = nullptr;
  uint64_t size = 0;
  OdvStatus status = FlattenImageToRPCData(image, format, compression, 1, quality, 0, 0, 0, &data, &size);
  if (status != ODV_SUCCESS) return status;
  // Uncompressed pixels of an image with contiguous lines are not copied: the
  // payload block is the image's own pixels, and only the descriptor is
  // allocated. Otherwise one allocation holds both blocks.
  odv::Descriptor& d = data->descriptor;
  const Image* live = data->image;
  const bool borrow = d.codec == odv::kCodecRaw && d.rawSize != 0 && live->Contiguous();
  std::uint8_t* block = static_cast<std::uint8_t*>(std::malloc(borrow ? kDescriptorSize : size));
  if (block == nullptr || d.payloadSize > UINT32_MAX) {
    std::free(block);
    DisposeRPCData(data);
    return block == nullptr ? ODV_E_NO_MEMORY : ODV_E_UNSUPPORTED;
  }
  std::uint8_t* payload = block + kDescriptorSize;
  if (borrow) {
    payload = live->Row(0);
    d.payloadCheck = odv::HashPayload(payload, d.rawSize);
    odv::SealDescriptor(&d, block);
  } else {
    odv::WritePacked(data, block);
  }
  rpcDisposeImageBytes2(record, 0, layout);
  record->ownsBlocks = 1;  // the allocation above, freed through `descriptor`
  record->type = d.type;
  record->width = d.width;
  record->height = d.height;
  record->border = d.border;
  record->lineWidth = d.lineWidth;
  record->bitDepth = d.bitDepth;
  record->compression = d.compression;
  record->quality = d.quality;
  record->pixelSize = ImageTypePixelSize(d.type);
  record->descriptorSize = kDescriptorSize;
  record->descriptor = block;
  record->payloadSize = static_cast<uint32_t>(d.payloadSize);
  record->payload = d.payloadSize != 0 ? payload : nullptr;
  record->rawSize = d.rawSize <= UINT32_MAX ? static_cast<uint32_t>(d.rawSize) : 0;
  record->payloadCheck = static_cast<uint32_t>(d.payloadCheck);
  record->kind = d.kind;
  DisposeRPCData(data);
  return ODV_SUCCESS;
}

OdvStatus RpcConvertToGRImage3(Image** image, const OdvRPCImage* record, uint32_t layout, uint32_t) {
  if (image == nullptr || record == nullptr || layout != ODV_RECORD_LAYOUT) return ODV_E_ARGUMENT;
  if ((record->descriptor == nullptr && record->descriptorSize != 0) ||
      (record->payload == nullptr && record->payloadSize != 0))
    return ODV_E_ARGUMENT;
  odv::Descriptor d;
  OdvStatus status = odv::ReadDescriptor(record->descriptor, record->descriptorSize, &d);
  if (status != ODV_SUCCESS) return status;
  if (record->descriptorSize != kDescriptorSize) return ODV_E_CORRUPT;
  if (record->payloadSize < d.payloadSize) return ODV_E_TRUNCATED;
  // The words must agree with the descriptor; the optional ones count where set.
  if (record->payloadSize != d.payloadSize || record->type != d.type || record->width != d.width ||
      record->height != d.height || record->compression != d.compression ||
      record->pixelSize != ImageTypePixelSize(d.type) ||
      (record->rawSize != 0 && record->rawSize != d.rawSize) ||
      (record->payloadCheck != 0 && record->payloadCheck != static_cast<uint32_t>(d.payloadCheck)))
    return ODV_E_CORRUPT;
  struct Call {
    Image** image;
    const odv::Descriptor* d;
    const std::uint8_t* payload;
  } call{image, &d, record->payload};
  return odv::Guarded(
      [](void* c) {
        auto* args = static_cast<Call*>(c);
        return odv::Unpack(args->image, *args->d, args->payload);
      },
      &call);
}

OdvStatus rpcDisposeImageBytes2(OdvRPCImage* record, uint32_t, uint32_t layout) {
  if (record == nullptr || layout != ODV_RECORD_LAYOUT) return ODV_E_ARGUMENT;
  if (record->ownsBlocks != 0) std::free(record->descriptor);
  std::memset(record, 0, sizeof *record);
  record->layout = layout;
  return ODV_SUCCESS;
}

}  // extern "C"
