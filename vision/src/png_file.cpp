// PNG files through libpng. libpng reports errors by longjmp; only plain data
// lives between setjmp and the jump.
#include <png.h>

#include <csetjmp>
#include <cstdio>

#include "image_object.h"

extern "C" {

OdvStatus WriteImagePNG(const Image* image, const char* path) {
  Image* live = odv::Live(image);
  if (live == nullptr) return ODV_E_NOT_AN_IMAGE;
  if (path == nullptr) return ODV_E_ARGUMENT;
  const std::uint32_t type = live->Type();
  if (type != ODV_U8 && type != ODV_U16 && type != ODV_RGB32) return ODV_E_UNSUPPORTED;
  if (live->Width() == 0 || live->Height() == 0) return ODV_E_UNSUPPORTED;
  bool alpha = false;
  if (type == ODV_RGB32) {
    for (std::uint32_t y = 0; y < live->Height() && !alpha; ++y)
      for (std::uint32_t x = 0; x < live->Width() && !alpha; ++x) alpha = live->Row(y)[4 * x + 3] != 0;
  }
  std::FILE* file = std::fopen(path, "wb");
  if (file == nullptr) return ODV_E_FILE;
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png == nullptr ? nullptr : png_create_info_struct(png);
  if (info == nullptr || setjmp(png_jmpbuf(png)) != 0) {
    png_destroy_write_struct(&png, &info);
    std::fclose(file);
    return ODV_E_FILE;
  }
  png_init_io(png, file);
  const int colourType = type == ODV_RGB32 ? (alpha ? PNG_COLOR_TYPE_RGBA : PNG_COLOR_TYPE_RGB) : PNG_COLOR_TYPE_GRAY;
  png_set_IHDR(png, info, live->Width(), live->Height(), type == ODV_U16 ? 16 : 8, colourType, PNG_INTERLACE_NONE,
               PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  png_write_info(png, info);
  if (type == ODV_U16) png_set_swap(png);
  if (type == ODV_RGB32) {
    png_set_bgr(png);
    if (!alpha) png_set_filler(png, 0, PNG_FILLER_AFTER);
  }
  for (std::uint32_t y = 0; y < live->Height(); ++y) png_write_row(png, live->Row(y));
  png_write_end(png, info);
  png_destroy_write_struct(&png, &info);
  return std::fclose(file) == 0 ? ODV_SUCCESS : ODV_E_FILE;
}

OdvStatus ReadImagePNG(Image* image, const char* path) {
  Image* live = odv::Live(image);
  if (live == nullptr) return ODV_E_NOT_AN_IMAGE;
  if (path == nullptr) return ODV_E_ARGUMENT;
  std::FILE* file = std::fopen(path, "rb");
  if (file == nullptr) return ODV_E_FILE;
  png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png == nullptr ? nullptr : png_create_info_struct(png);
  volatile OdvStatus status = ODV_SUCCESS;
  if (info == nullptr || setjmp(png_jmpbuf(png)) != 0) {
    png_destroy_read_struct(&png, &info, nullptr);
    std::fclose(file);
    return status != ODV_SUCCESS ? status : ODV_E_FILE;
  }
  png_init_io(png, file);
  png_read_info(png, info);
  const png_uint_32 width = png_get_image_width(png, info);
  const png_uint_32 height = png_get_image_height(png, info);
  const int depth = png_get_bit_depth(png, info);
  const int colourType = png_get_color_type(png, info);
  std::uint32_t type = 0xFFFFFFFFu;
  if (colourType == PNG_COLOR_TYPE_GRAY && depth == 8) type = ODV_U8;
  if (colourType == PNG_COLOR_TYPE_GRAY && depth == 16) type = ODV_U16;
  if ((colourType == PNG_COLOR_TYPE_RGB || colourType == PNG_COLOR_TYPE_RGBA) && depth == 8) type = ODV_RGB32;
  if (type == 0xFFFFFFFFu || png_get_interlace_type(png, info) != PNG_INTERLACE_NONE) {
    status = ODV_E_UNSUPPORTED;
  } else {
    status = ResizeAndCastImage(live, width, height, type);
  }
  if (status != ODV_SUCCESS) png_error(png, "image");
  if (type == ODV_U16) png_set_swap(png);
  if (type == ODV_RGB32) {
    png_set_bgr(png);
    if (colourType == PNG_COLOR_TYPE_RGB) png_set_filler(png, 0, PNG_FILLER_AFTER);
  }
  png_read_update_info(png, info);
  for (png_uint_32 y = 0; y < height; ++y) png_read_row(png, live->Row(y), nullptr);
  png_read_end(png, nullptr);
  png_destroy_read_struct(&png, &info, nullptr);
  std::fclose(file);
  live->header[ODV_WORD_BIT_DEPTH] = type == ODV_U16 ? 16 : 0;
  return ODV_SUCCESS;
}

}  // extern "C"
