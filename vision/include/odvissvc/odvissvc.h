/* odvissvc: the image library. Image objects with typed pixel memory, their
 * packing for transport (with optional lossless or JPEG compression), PNG
 * files, Bayer colour decoding, and the runtime's counted strings and
 * one-dimensional arrays.
 *
 * Every function returns an OdvStatus: 0 on success, one of the ODV_E_* words
 * otherwise. No C++ exception leaves the library. */
#ifndef ODVISSVC_ODVISSVC_H_
#define ODVISSVC_ODVISSVC_H_

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#if defined(_WIN32)
#define ODV_API __declspec(dllexport)
#else
#define ODV_API __attribute__((visibility("default")))
#endif

typedef uint32_t OdvStatus;

#define ODV_SUCCESS 0u
#define ODV_E_NOT_AN_IMAGE 0xBFFA0001u   /* pointer is not a live image */
#define ODV_E_ARGUMENT 0xBFFA0002u       /* null pointer or value out of range */
#define ODV_E_NO_MEMORY 0xBFFA0003u
#define ODV_E_TRUNCATED 0xBFFA0004u      /* packed data shorter than it says */
#define ODV_E_CORRUPT 0xBFFA0005u        /* packed data fails its checks */
#define ODV_E_VERSION 0xBFFA0006u        /* packed data of an unknown format */
#define ODV_E_UNSUPPORTED 0xBFFA0007u    /* image type not handled by the call */
#define ODV_E_NOT_LOCKED 0xBFFA0008u     /* unlock without a matching lock */
#define ODV_E_FILE 0xBFFA0009u           /* file cannot be opened, read or written */
#define ODV_E_CODEC 0xBFFA000Au          /* compressor or decompressor failed */
#define ODV_E_BUFFER_TOO_SMALL 0xBFFA000Bu

/* ---- Images -------------------------------------------------------------
 * An image object begins with ODV_HEADER_WORDS u32 header words; the words
 * below are stable and may be read directly. Pixel (x, y) lies at
 * first pixel + (y * line width + x) * pixel size; lines may be padded, and a
 * border of `border` pixels surrounds the image on every side. */
#ifndef ODVISSVC_IMAGE_DECLARED /* also declared by <keldcfgc/keldcfgc.h> */
#define ODVISSVC_IMAGE_DECLARED
typedef struct Image Image;
#endif

#define ODV_HEADER_WORDS 16
#define ODV_WORD_MAGIC 0
#define ODV_WORD_TYPE 2
#define ODV_WORD_BORDER 3
#define ODV_WORD_WIDTH 4
#define ODV_WORD_HEIGHT 5
#define ODV_WORD_BIT_DEPTH 6
#define ODV_WORD_PIXEL_SIZE 7
#define ODV_WORD_KIND 8       /* 0 for a plain image */
#define ODV_WORD_LINE_WIDTH 9 /* line width in pixels, border and padding included */

enum OdvImageType {
  ODV_U8 = 0,      /* 1 byte */
  ODV_I16 = 1,     /* 2 bytes */
  ODV_SGL = 2,     /* float, 4 bytes */
  ODV_COMPLEX = 3, /* two floats, 8 bytes */
  ODV_RGB32 = 4,   /* blue, green, red, alpha, 4 bytes */
  ODV_HSL32 = 5,   /* 4 bytes */
  ODV_RGBU64 = 6,  /* blue, green, red, alpha as u16, 8 bytes */
  ODV_U16 = 7      /* 2 bytes */
};

/* Bytes per pixel of a type, 0 for an unknown type. */
ODV_API uint32_t ImageTypePixelSize(uint32_t type);

/* Creates an image of the type and size, zero-filled. 0 x 0 is allowed. */
ODV_API OdvStatus NewImage(Image** image, uint32_t type, uint32_t width, uint32_t height, uint32_t border);
/* Releases the image and its pixels; a null image does nothing. */
ODV_API OdvStatus DisposeImage(Image* image);
/* True (1) for a live image of this library, 0 for anything else, null included. */
ODV_API int IsImage(const Image* image);
/* Gives the image a new size and type. Where size or type change, the pixels
 * are zero-filled afterwards; otherwise they are kept. */
ODV_API OdvStatus ResizeAndCastImage(Image* image, uint32_t width, uint32_t height, uint32_t type);
/* Significant bits of the pixel values, 0 meaning "all of the type". */
ODV_API OdvStatus SetBitDepth(Image* image, uint32_t depth);
/* Address of pixel (x, y); x and y must lie inside the image. */
ODV_API OdvStatus GetImagePixel(const Image* image, uint32_t x, uint32_t y, void** address);

/* Locks: mode 0 shares the image for reading, mode 1 takes it for writing.
 * A thread may take any lock again that it already holds; a lock held by
 * another thread in a conflicting mode is waited for. Each lock is released
 * by one unlock of the same mode on the same thread. The list form locks in
 * list order and stops at the first failure. */
#define ODV_LOCK_READ 0u
#define ODV_LOCK_WRITE 1u
ODV_API OdvStatus LockImage(Image* const* images, uint32_t count, uint32_t mode);
ODV_API OdvStatus UnlockImage(Image* const* images, uint32_t count, uint32_t mode);
/* Number of locks of the mode currently held on the image, by all threads. */
ODV_API OdvStatus GetImageLockCount(const Image* image, uint32_t mode, uint32_t* count);

/* Fills the image with a camera-like test picture: bars, gradients and a
 * disc that move with `frame`, plus uniform noise of +-noise levels (8-bit
 * scale). U8, U16 (honours the bit depth) and RGB32 only. */
ODV_API OdvStatus FillTestPattern(Image* image, uint32_t frame, uint32_t noise, uint32_t seed);

/* PNG files: U8 as 8-bit grey, U16 as 16-bit grey, RGB32 as 8-bit RGB (or
 * RGBA where any alpha byte is not 0). Reading resizes the image to the file. */
ODV_API OdvStatus WriteImagePNG(const Image* image, const char* path);
ODV_API OdvStatus ReadImagePNG(Image* image, const char* path);

/* ---- Transport packing ------------------------------------------------
 * Compression types: 0 none, 1 lossless, 2 JPEG (U8 and RGB32 only; other
 * types fall back to lossless). Quality runs from 0 to 1000 and matters to
 * JPEG only. Lossless packs the integer types (U8, I16, U16, RGB32, HSL32,
 * RGBU64, raw Bayer mosaics in U8 or U16) with a pixel predictor and a fast
 * bit-plane coder, in slices of rows that several threads can share; SGL
 * and complex images go through zstd. Every packed image carries a
 * versioned, checksummed descriptor naming its codec, and readers check all
 * sizes against the bytes given to them; a codec the reader doesn't know
 * gives ODV_E_VERSION. */
#define ODV_COMPRESS_NONE 0u
#define ODV_COMPRESS_LOSSLESS 1u
#define ODV_COMPRESS_JPEG 2u
#define ODV_PACK_FORMAT 2u       /* newest packing format this library writes */
#define ODV_RECORD_LAYOUT 0x68u  /* layout tag of OdvRPCImage */

/* Transport record: two blocks, the descriptor and the pixel payload, and
 * the descriptor's main fields as words. */
typedef struct OdvRPCImage {
  uint32_t layout;          /* 0x00: ODV_RECORD_LAYOUT */
  uint32_t ownsBlocks;      /* 0x04: 1 where the blocks were allocated here */
  uint32_t reserved08;      /* 0x08 */
  uint32_t type;            /* 0x0C */
  uint32_t width;           /* 0x10 */
  uint32_t height;          /* 0x14 */
  uint32_t border;          /* 0x18 */
  uint32_t lineWidth;       /* 0x1C: of the source image */
  uint32_t bitDepth;        /* 0x20 */
  uint32_t compression;     /* 0x24: as used */
  uint32_t quality;         /* 0x28 */
  uint32_t pixelSize;       /* 0x2C */
  uint32_t descriptorSize;  /* 0x30 */
  uint32_t reserved34;
  uint8_t* descriptor;      /* 0x38 */
  uint32_t payloadSize;     /* 0x40 */
  uint32_t reserved44;
  uint8_t* payload;         /* 0x48 */
  uint32_t rawSize;         /* 0x50: packed pixel bytes before compression, 0 if unknown */
  uint32_t reserved54[3];
  uint32_t payloadCheck;    /* 0x60: low word of the payload checksum, 0 if unknown */
  uint32_t reserved64[4];
  uint32_t kind;            /* 0x74: header word 8 of the source */
} OdvRPCImage;

/* Zeroes the record and stamps its layout; `layout` must be ODV_RECORD_LAYOUT. */
ODV_API OdvStatus rpcInitImage2(OdvRPCImage* record, uint32_t layout);
/* Packs `image` into the blocks of the record. The descriptor block is
 * always allocated here; the payload too, except for the uncompressed form
 * of an image whose lines are contiguous, where the payload block is the
 * image's own pixels: such an image must stay unchanged (e.g. read-locked)
 * and alive until the blocks have been used and rpcDisposeImageBytes2 called. */
ODV_API OdvStatus RpcConvertToRPCImage3(OdvRPCImage* record, const Image* image, uint32_t layout,
                                        uint32_t format, uint32_t compression, uint32_t reserved,
                                        uint32_t quality, uint32_t flags);
/* Unpacks the record into *image, creating the image where *image is null. */
ODV_API OdvStatus RpcConvertToGRImage3(Image** image, const OdvRPCImage* record, uint32_t layout,
                                       uint32_t flags);
/* Frees blocks the record owns and zeroes it again; borrowed blocks are left alone. */
ODV_API OdvStatus rpcDisposeImageBytes2(OdvRPCImage* record, uint32_t flags, uint32_t layout);

/* Stream form: one contiguous byte sequence, descriptor then payload.
 * FlattenImageToRPCData prepares the packing and reports its exact size; the
 * image must stay unchanged (e.g. read-locked) until DisposeRPCData, as
 * uncompressed pixels are copied from it only by FlattenRPCDataToStream.
 * `format` is ODV_PACK_FORMAT; `withPixels` 0 packs the geometry alone;
 * `chunkBytes` bounds the raw bytes compressed as one unit (0: 1 MiB). */
typedef struct OdvRPCData OdvRPCData;
ODV_API OdvStatus FlattenImageToRPCData(const Image* image, uint32_t format, uint32_t compression,
                                        uint32_t withPixels, uint32_t quality, uint32_t reserved1,
                                        uint32_t reserved2, uint32_t chunkBytes, OdvRPCData** data,
                                        uint64_t* size);
/* Writes the packed bytes to `target` (capacity bytes); *written is the count
 * written, which is the full size or 0 with ODV_E_BUFFER_TOO_SMALL. */
ODV_API OdvStatus FlattenRPCDataToStream(OdvRPCData* data, void* target, uint64_t capacity,
                                         uint64_t* written);
ODV_API OdvStatus DisposeRPCData(OdvRPCData* data);

/* Threads that pack and unpack one image with the lossless codec, process
 * wide: 1 (the default) keeps the work on the calling thread, 0 means one per
 * processor; at most 1024. The library starts the extra threads on first
 * use and keeps them until it unloads. */
ODV_API OdvStatus SetPackingThreads(uint32_t count);
ODV_API uint32_t GetPackingThreads(void);

/* ---- Runtime handles ----------------------------------------------------
 * String handle: a handle to a block of an i32 length and the characters,
 * no terminator. Array handle: a handle to a block of an i32 element count,
 * four bytes of padding and the elements. */
typedef struct OdvString {
  int32_t length;
  char text[1];
} OdvString;
typedef OdvString** OdvStringHandle;

typedef struct OdvArrayBlock {
  int32_t count;
  int32_t padding;
  uint8_t elements[8];
} OdvArrayBlock;
typedef OdvArrayBlock** OdvArrayHandle;

/* One-dimensional array as the library works on it: a view of `size`
 * elements at `data`, room for `capacity`, elements of `elementSize` bytes
 * (0 counts as 1), and the runtime handle behind it, if any. */
typedef struct Array1D {
  void* data;
  uint64_t size;
  uint64_t capacity;
  uint32_t elementSize;
  uint32_t reserved;
  OdvArrayHandle handle;
} Array1D;

/* Unpacks a stream-form image from the bytes of the array into *image,
 * creating the image where *image is null. Packed data that fails a check
 * leaves *image as it was, with one exception: uncompressed pixels are
 * hashed while they are copied, so where only their hash fails, the image
 * has the packed geometry and zeroed pixels (and the status is
 * ODV_E_CORRUPT). The record form (RpcConvertToGRImage3) behaves the same. */
ODV_API OdvStatus UnflattenImageFromArray1D(Image** image, const Array1D* array);

/* Sets the text of a string handle; a null *handle gets a new handle. */
ODV_API OdvStatus FM_SetString_v2(OdvStringHandle* handle, const char* text, int32_t length);
ODV_API OdvStatus FM_DisposeString(OdvStringHandle handle);
/* An empty array of elements of the size, with no handle yet. */
ODV_API OdvStatus InitArray1D(Array1D* array, uint32_t elementSize);
/* Sets the element count, growing the handle's block (new elements zeroed). */
ODV_API OdvStatus ResizeArray1D(Array1D* array, uint64_t count);
/* The handle behind the array, made (empty) where there is none yet. The
 * handle then belongs to the caller (the runtime). */
ODV_API OdvStatus FM_GetArray1DHandle(Array1D* array, OdvArrayHandle* handle);
/* Describes an existing handle (null allowed) as an array of elementSize elements. */
ODV_API OdvStatus FM_HandleToArray1D(OdvArrayHandle handle, uint32_t elementSize, Array1D* array);
ODV_API OdvStatus FM_DisposeArrayHandle(OdvArrayHandle handle);

/* Thread state of the calling thread: 0 native callers, 1 the runtime. */
ODV_API OdvStatus SetThreadCore(uint32_t core);
/* The runtime's entry step: records the core and the runtime's context. */
ODV_API OdvStatus FM_SetThreadCore(uint32_t core, void* context);
ODV_API uint32_t GetThreadCore(void);
ODV_API void* GetThreadCoreContext(void);
/* The runtime's module and TLS slot, handed on by the runtime's loader. */
ODV_API void SetODVisSvcFMRTModule(void* module);
ODV_API void SetODVisSvcFMRTTLSIndex(uint32_t index);
ODV_API void* GetODVisSvcFMRTModule(void);
ODV_API uint32_t GetODVisSvcFMRTTLSIndex(void);

/* ---- Bayer decoding ---------------------------------------------------------
 * Patterns, named by the first two pixels of the first two lines:
 * 0 RG/GB, 1 BG/GR, 2 GB/RG, 3 GR/BG. A window moved by one line swaps 0<->2
 * and 1<->3; by one column 0<->3 and 1<->2. Sources are 8-bit
 * (bitDepth <= 8) or 16-bit (9 to 16), `sourceRowPixels` pixels per line.
 * The destination (type RGB32; lineWidth pixels per line, padding on either
 * side untouched) gets width x height pixels with alpha 255. Algorithm 0 is
 * bilinear interpolation with mirrored edges; others give the same result
 * here. Gains scale each channel before the cut to 8 bits. `revision` is
 * reserved and should be 1. */
ODV_API OdvStatus Gen_BayerColorDecode2(void* destination, const void* source, uint32_t height,
                                        uint32_t width, uint32_t lineWidth, uint32_t sourceRowPixels,
                                        uint32_t pattern, uint32_t bitDepth, uint32_t algorithm,
                                        uint32_t revision, uint32_t destinationType, double blueGain,
                                        double greenGain, double redGain);

#ifdef __cplusplus
}
#endif

#endif /* ODVISSVC_ODVISSVC_H_ */
