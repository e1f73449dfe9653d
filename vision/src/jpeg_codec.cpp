// libjpeg reports fatal errors through error_exit, which would end the
// process; it is replaced by a longjmp back into the calling function. Only
// plain data lives between setjmp and the jump.
#include <cstdio>  // jpeglib.h needs FILE
#include <csetjmp>
#include <cstring>

#include <jpeglib.h>

#include "codecs.h"
#include "image_object.h"

namespace odv {

namespace {

struct JumpingError {
  jpeg_error_mgr base;
  std::jmp_buf target;
};

[[noreturn]] void JumpOut(j_common_ptr info) {
  std::longjmp(reinterpret_cast<JumpingError*>(info->err)->target, 1);
}

void Quiet(j_common_ptr, int) {}

}  // namespace

OdvStatus CompressJpeg(const Image* image, int quality, Buffer* out) {
  const bool colour = image->Type() == ODV_RGB32;
  jpeg_compress_struct info;
  JumpingError error;
  info.err = jpeg_std_error(&error.base);
  error.base.error_exit = JumpOut;
  unsigned char* memory = nullptr;
  unsigned long memorySize = 0;
  if (setjmp(error.target) != 0) {
    jpeg_destroy_compress(&info);
    std::free(memory);
    return ODV_E_CODEC;
  }
  jpeg_create_compress(&info);
  jpeg_mem_dest(&info, &memory, &memorySize);
  info.image_width = image->Width();
  info.image_height = image->Height();
  info.input_components = colour ? 4 : 1;
  info.in_color_space = colour ? JCS_EXT_BGRX : JCS_GRAYSCALE;
  jpeg_set_defaults(&info);
  jpeg_set_quality(&info, quality, TRUE);
  info.dct_method = JDCT_ISLOW;
  // Full-resolution colour: fine colour edges of machine-vision images survive.
  for (int c = 0; c < info.num_components; ++c) {
    info.comp_info[c].h_samp_factor = 1;
    info.comp_info[c].v_samp_factor = 1;
  }
  jpeg_start_compress(&info, TRUE);
  while (info.next_scanline < info.image_height) {
    JSAMPROW row = image->Row(info.next_scanline);
    jpeg_write_scanlines(&info, &row, 1);
  }
  jpeg_finish_compress(&info);
  jpeg_destroy_compress(&info);
  out->data.reset(memory);  // allocated by libjpeg-turbo with malloc
  out->size = memorySize;
  return ODV_SUCCESS;
}

OdvStatus DecompressJpeg(const std::uint8_t* payload, std::uint64_t payloadSize, Image* image) {
  const bool colour = image->Type() == ODV_RGB32;
  jpeg_decompress_struct info;
  JumpingError error;
  info.err = jpeg_std_error(&error.base);
  error.base.error_exit = JumpOut;
  error.base.emit_message = Quiet;
  if (setjmp(error.target) != 0) {
    jpeg_destroy_decompress(&info);
    return ODV_E_CORRUPT;
  }
  jpeg_create_decompress(&info);
  jpeg_mem_src(&info, payload, static_cast<unsigned long>(payloadSize));
  if (jpeg_read_header(&info, TRUE) != JPEG_HEADER_OK || info.image_width != image->Width() ||
      info.image_height != image->Height() || info.num_components != (colour ? 3 : 1)) {
    jpeg_destroy_decompress(&info);
    return ODV_E_CORRUPT;
  }
  info.out_color_space = colour ? JCS_EXT_BGRX : JCS_GRAYSCALE;
  info.dct_method = JDCT_ISLOW;
  jpeg_start_decompress(&info);
  while (info.output_scanline < info.output_height) {
    JSAMPROW row = image->Row(info.output_scanline);
    jpeg_read_scanlines(&info, &row, 1);
  }
  jpeg_finish_decompress(&info);
  jpeg_destroy_decompress(&info);
  if (colour) {  // the X byte comes back as 0xFF; alpha of this library is 0
    for (std::uint32_t y = 0; y < image->Height(); ++y) {
      std::uint8_t* p = image->Row(y);
      for (std::uint32_t x = 0; x < image->Width(); ++x) p[4 * x + 3] = 0;
    }
  }
  return ODV_SUCCESS;
}

}  // namespace odv
