// local_acquisition_bench: local cfgSnapImage and cfgGrabImage from the
// simulated frame-grabber driver, beside references measured in the same
// run.
//
//   For 1280 x 1024 and 2448 x 2048 U8 cameras at a frame rate of 0 (a frame
//   whenever one is asked for) that look at the still colour chart, which the
//   driver draws once and then copies into each frame (a moving scene would
//   be drawn anew for each frame, at a hundred times the cost of a copy,
//   and hide the library's part in the noise of the drawing):
//   - memcpy: one copy of a frame between two buffers of the program's;
//   - driver snap / grab: the same driver called directly on the board's
//     second acquisition unit (kldSnapArea into the driver's memory,
//     kldGrabArea into a buffer of the program's): what the driver itself
//     costs, drawing the camera's frame included;
//   - library snap / grab: cfgSnapImage and cfgGrabImage on the first unit.
//   The library's cost over the driver's, in copies of the frame, is
//   (library - driver) / memcpy: a snap copies the driver's frame into the
//   caller's image once, a grab has the driver write into the image.
//
//   For 1280 x 1024 and 2448 x 2048 raw Bayer cameras: the library's Bayer
//   decoding per frame (a snap, and a grab, with bit 4 of the flags, less the
//   same without it) beside Gen_BayerColorDecode2 of the image library
//   called directly on a mosaic of the same size.
//
// Each figure is the median over rounds in which all paths take turns.
// Run from a Release build.
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include <unistd.h>

#include "keldcfgc/keldcfgc.h"
#include "keldsim/keldsim_control.h"
#include "local/keld/keld_driver_api.h"
#include "odvissvc/odvissvc.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kRounds = 7;
constexpr double kRoundSeconds = 0.3;
constexpr std::uint32_t kDecode = 16;

[[noreturn]] void Fail(const char* what, std::uint32_t status) {
  std::fprintf(stderr, "local_acquisition_bench: %s: 0x%08X\n", what, status);
  std::exit(1);
}

void Check(const char* what, std::uint32_t status) {
  if (status != 0) Fail(what, status);
}

// Seconds per call of `body`, over at least kRoundSeconds and 3 calls.
double PerCall(const std::function<void()>& body) {
  int calls = 0;
  const Clock::time_point start = Clock::now();
  Clock::time_point now = start;
  while (calls < 3 || now - start < std::chrono::duration<double>(kRoundSeconds)) {
    body();
    ++calls;
    now = Clock::now();
  }
  return std::chrono::duration<double>(now - start).count() / calls;
}

double Median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

std::string CameraText(std::uint32_t width, std::uint32_t height, bool bayer) {
  return "[Camera]\nModel = Bench\nInterfaceTypes = 0x7\nWidth = " + std::to_string(width) +
         "\nHeight = " + std::to_string(height) + "\nImageType = 0\nBitDepth = 8\nBayerPattern = " +
         (bayer ? "0" : "none") + "\nFrameRate = 0\nNoise = 0\nScene = chart\n";
}

// The two sessions on the board's two acquisition units: the library's
// on unit 0, the driver's own on unit 1, both with the same camera.
struct Sessions {
  std::uint32_t library = 0;
  std::uint32_t driver = 0;

  void LoadCamera(const std::string& text) {
    Check("camera of the library's session", static_cast<std::uint32_t>(cfgReadAttributesFromString(library, text.c_str())));
    Check("camera of the driver's session", kldLoadCameraConfigFromString(driver, text.c_str()));
  }
};

struct OwnedImage {
  Image* image = nullptr;
  OwnedImage() { Check("image", NewImage(&image, ODV_U8, 0, 0, 0)); }
  ~OwnedImage() { DisposeImage(image); }
  OwnedImage(const OwnedImage&) = delete;
  OwnedImage& operator=(const OwnedImage&) = delete;
};

struct Row {
  const char* name;
  std::vector<double> seconds;
};

void PrintRow(const char* name, double seconds, double reference) {
  std::printf("  %-34s %10.3f ms %10.2f\n", name, seconds * 1e3, seconds / reference);
}

void MonochromeTable(Sessions& sessions, std::uint32_t width, std::uint32_t height) {
  sessions.LoadCamera(CameraText(width, height, false));
  const std::size_t bytes = std::size_t{width} * height;
  std::vector<std::uint8_t> from(bytes, 1), to(bytes, 2), grabbed(bytes, 3);
  OwnedImage snapped, grabImage;
  std::uint32_t number = 0;
  Row memcpyRow{"memcpy of one frame", {}};
  Row driverSnap{"driver snap (kldSnapArea)", {}};
  Row librarySnap{"library snap (cfgSnapImage)", {}};
  Row driverGrab{"driver grab (kldGrabArea)", {}};
  Row libraryGrab{"library grab (cfgGrabImage)", {}};
  for (int round = 0; round < kRounds; ++round) {
    memcpyRow.seconds.push_back(PerCall([&] {
      std::memcpy(to.data(), from.data(), bytes);
      from[round] ^= to[bytes - 1];  // each copy depends on the one before
    }));
    driverSnap.seconds.push_back(PerCall([&] {
      void* pixels = nullptr;
      Check("kldSnapArea", kldSnapArea(sessions.driver, &pixels, 0, 0, height, width, width));
    }));
    librarySnap.seconds.push_back(PerCall([&] {
      Check("cfgSnapImage", static_cast<std::uint32_t>(cfgSnapImage(sessions.library, 0, snapped.image)));
    }));
    Check("kldGrabSetup", kldGrabSetup(sessions.driver, 1));
    driverGrab.seconds.push_back(PerCall([&] {
      void* pixels = grabbed.data();
      Check("kldGrabArea", kldGrabArea(sessions.driver, &pixels, 1, 0, 0, height, width, width));
    }));
    Check("kldSessionStopAcquisition", kldSessionStopAcquisition(sessions.driver));
    Check("cfgSetupGrab", static_cast<std::uint32_t>(cfgSetupGrab(sessions.library, 0)));
    libraryGrab.seconds.push_back(PerCall([&] {
      Check("cfgGrabImage", static_cast<std::uint32_t>(cfgGrabImage(sessions.library, &number, grabImage.image)));
    }));
    Check("cfgStopAcquisition", static_cast<std::uint32_t>(cfgStopAcquisition(sessions.library)));
  }
  const double copy = Median(memcpyRow.seconds);
  std::printf("\n%u x %u U8 (%.2f MB a frame), frame rate 0, median of %d rounds\n", width, height, bytes / 1e6,
              kRounds);
  std::printf("  %-34s %13s %10s\n", "path", "per frame", "x memcpy");
  for (const Row* row : {&memcpyRow, &driverSnap, &librarySnap, &driverGrab, &libraryGrab}) {
    PrintRow(row->name, Median(row->seconds), copy);
  }
  std::printf("  library's cost over the driver's: snap %.2f memcpy, grab %.2f memcpy\n",
              (Median(librarySnap.seconds) - Median(driverSnap.seconds)) / copy,
              (Median(libraryGrab.seconds) - Median(driverGrab.seconds)) / copy);
}

void BayerTable(Sessions& sessions, std::uint32_t width, std::uint32_t height) {
  sessions.LoadCamera(CameraText(width, height, true));
  OwnedImage image;
  std::uint32_t number = 0;
  // A mosaic of the same size for the image library's own decode: a raw
  // frame of this camera.
  std::vector<std::uint8_t> mosaic(std::size_t{width} * height), colour(std::size_t{width} * height * 4);
  {
    void* pixels = mosaic.data();
    Check("kldSnapArea", kldSnapArea(sessions.driver, &pixels, 0, 0, height, width, width));
  }
  Row snapRaw{"library snap, raw", {}};
  Row snapDecoded{"library snap, decoded", {}};
  Row grabRaw{"library grab, raw", {}};
  Row grabDecoded{"library grab, decoded", {}};
  Row own{"Gen_BayerColorDecode2 alone", {}};
  for (int round = 0; round < kRounds; ++round) {
    own.seconds.push_back(PerCall([&] {
      Check("Gen_BayerColorDecode2", Gen_BayerColorDecode2(colour.data(), mosaic.data(), height, width, width, width,
                                                           0, 8, 0, 1, ODV_RGB32, 1.0, 1.0, 1.0));
    }));
    snapRaw.seconds.push_back(PerCall([&] {
      Check("cfgSnapImage", static_cast<std::uint32_t>(cfgSnapImage(sessions.library, 0, image.image)));
    }));
    snapDecoded.seconds.push_back(PerCall([&] {
      Check("cfgSnapImage decoded", static_cast<std::uint32_t>(cfgSnapImage(sessions.library, kDecode, image.image)));
    }));
    Check("cfgSetupGrab", static_cast<std::uint32_t>(cfgSetupGrab(sessions.library, 0)));
    grabRaw.seconds.push_back(PerCall([&] {
      Check("cfgGrabImage", static_cast<std::uint32_t>(cfgGrabImage(sessions.library, &number, image.image)));
    }));
    Check("cfgSetupGrab decoded", static_cast<std::uint32_t>(cfgSetupGrab(sessions.library, kDecode)));
    grabDecoded.seconds.push_back(PerCall([&] {
      Check("cfgGrabImage decoded", static_cast<std::uint32_t>(cfgGrabImage(sessions.library, &number, image.image)));
    }));
    Check("cfgStopAcquisition", static_cast<std::uint32_t>(cfgStopAcquisition(sessions.library)));
  }
  const double decode = Median(own.seconds);
  std::printf("\n%u x %u raw Bayer U8 -> RGB32, frame rate 0, median of %d rounds\n", width, height, kRounds);
  std::printf("  %-34s %13s %10s\n", "path", "per frame", "x own decode");
  for (const Row* row : {&own, &snapRaw, &snapDecoded, &grabRaw, &grabDecoded}) {
    PrintRow(row->name, Median(row->seconds), decode);
  }
  const double snapDecode = Median(snapDecoded.seconds) - Median(snapRaw.seconds);
  const double grabDecode = Median(grabDecoded.seconds) - Median(grabRaw.seconds);
  std::printf("  decoding in the library: snap %.3f ms (%.2f x own), grab %.3f ms (%.2f x own)\n", snapDecode * 1e3,
              snapDecode / decode, grabDecode * 1e3, grabDecode / decode);
}

}  // namespace

int main() {
  const std::filesystem::path folder =
      std::filesystem::temp_directory_path() / ("local_acquisition_bench_" + std::to_string(getpid()));
  std::filesystem::remove_all(folder);
  Check("simulated driver", keldsimResetWith(
                                R"({ "boards": [ { "serial": "0x00B00001", "model": "OD PCIe-7109", "type": "0x7109",
                                     "units": 2, "ports": 2, "interface_types": "0x4" } ] })",
                                folder.c_str()));
  Check("boards", static_cast<std::uint32_t>(cfgRefreshBoards(nullptr)));
  Sessions sessions;
  Check("cfgOpenBoard", static_cast<std::uint32_t>(cfgOpenBoard(nullptr, "img0", 0, &sessions.library)));
  std::uint32_t interface = 0;
  Check("kldInterfaceOpen", kldInterfaceOpen("img0::1", &interface));
  Check("kldSessionOpen", kldSessionOpen(interface, &sessions.driver));

  std::printf("local acquisition from the simulated driver (%ld processors online)\n", sysconf(_SC_NPROCESSORS_ONLN));
  MonochromeTable(sessions, 1280, 1024);
  MonochromeTable(sessions, 2448, 2048);
  BayerTable(sessions, 1280, 1024);
  BayerTable(sessions, 2448, 2048);

  kldClose(sessions.driver, 1);
  kldClose(interface, 1);
  cfgClose(sessions.library);
  std::filesystem::remove_all(folder);
  return 0;
}
