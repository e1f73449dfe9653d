// png_check: decodes a PNG file completely with libpng and prints its size
// and whether it is grey or colour, so that the tests of keldcfg can tell a
// written frame from a file that merely starts like one.
#include <png.h>

#include <cstdio>
#include <vector>

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: png_check FILE.png\n");
    return 2;
  }
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  if (png_image_begin_read_from_file(&image, argv[1]) == 0) {
    std::fprintf(stderr, "png_check: %s: %s\n", argv[1], image.message);
    return 1;
  }
  const bool colour = (image.format & PNG_FORMAT_FLAG_COLOR) != 0;
  image.format = colour ? PNG_FORMAT_RGB : PNG_FORMAT_GRAY;
  std::vector<png_byte> pixels(PNG_IMAGE_SIZE(image));
  if (png_image_finish_read(&image, nullptr, pixels.data(), 0, nullptr) == 0) {
    std::fprintf(stderr, "png_check: %s: %s\n", argv[1], image.message);
    png_image_free(&image);
    return 1;
  }
  // The distinct values tell a picture from a blank page.
  std::vector<bool> seen(256, false);
  unsigned distinct = 0;
  for (const png_byte value : pixels) {
    if (!seen[value]) {
      seen[value] = true;
      ++distinct;
    }
  }
  std::printf("%u x %u %s, %u distinct sample values\n", image.width, image.height, colour ? "colour" : "grey",
              distinct);
  return 0;
}
