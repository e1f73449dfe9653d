// Uses both libraries of an installed keldcfgc from C++: prints the
// library's version beside the version of the CMake package it was found
// by, has the library check the package's version against its own range,
// and makes and releases an image with the image library.
#include <keldcfgc/keldcfgc.h>
#include <keldcfgc/version.hpp>
#include <odvissvc/odvissvc.h>

#include <cstdint>
#include <cstdio>

int main() {
  std::int32_t status = 0;
  const tHTVersion current = KELDCFGC_NAMESPACE::getCurrentVersion(status);
  const tHTVersion oldest = KELDCFGC_NAMESPACE::getOldestCompatibleVersion(status);
  std::printf("keldcfgc %s (0x%08X) from package %s, compatible back to %s\n", current.toString().c_str(),
              static_cast<unsigned>(current.word()), KELDCFGC_PACKAGE_VERSION, oldest.toString().c_str());

  KELDCFGC_NAMESPACE::compareVersion(current, current, status, "cxx_consumer");
  std::uint32_t word = 0;
  if (status != 0 || cfgQueryVersion(nullptr, &word) != 0 || word != current.word()) {
    std::printf("version check failed: status %d, cfgQueryVersion 0x%08X\n", static_cast<int>(status),
                static_cast<unsigned>(word));
    return 1;
  }

  Image* image = nullptr;
  if (NewImage(&image, ODV_U8, 4, 3, 0) != ODV_SUCCESS || IsImage(image) != 1 ||
      DisposeImage(image) != ODV_SUCCESS) {
    std::printf("the image library failed\n");
    return 1;
  }
  std::printf("odvissvc: made and released a 4 x 3 U8 image\n");
  return 0;
}
