// keldcfg: command-line configuration tool over the cfg API.
#include <CLI/CLI.hpp>
#include <unistd.h>

#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "keldcfgc/keldcfgc.h"
#include "keldcfgc/version.hpp"
#include "odvissvc/odvissvc.h"

namespace {

std::string ErrorText(std::int32_t status) {
  char text[255];
  cfgGetErrorText(static_cast<std::uint32_t>(status), text);
  return text;
}

// Version of a target's server; the library's own where no host is named.
int ShowTargetVersion(const std::string& host) {
  std::uint32_t version = 0;
  const std::int32_t status = cfgQueryVersion(host.c_str(), &version);
  if (status != 0) {
    std::fprintf(stderr, "keldcfg: version of %s: 0x%08" PRIX32 " %s\n", host.c_str(),
                 static_cast<std::uint32_t>(status), ErrorText(status).c_str());
    return 1;
  }
  std::printf("%s: %s (0x%08" PRIX32 ")\n", host.c_str(), tHTVersion(version).toString().c_str(), version);
  return 0;
}

int ShowMtu(const std::string& host, const std::string& adapter) {
  std::uint32_t mtu = 0;
  const std::int32_t status = cfgGetNetworkInterfaceMTU(host.c_str(), adapter.c_str(), &mtu);
  if (status != 0) {
    std::fprintf(stderr, "keldcfg: MTU of %s on %s: 0x%08" PRIX32 " %s\n", adapter.c_str(), host.c_str(),
                 static_cast<std::uint32_t>(status), ErrorText(status).c_str());
    return 1;
  }
  std::printf("%s %s: MTU %" PRIu32 "\n", host.c_str(), adapter.c_str(), mtu);
  return 0;
}

int ShowVersion() {
  std::int32_t status = 0;
  const tHTVersion current = nKELDCFGC_18_5::getCurrentVersion(status);
  const tHTVersion oldest = nKELDCFGC_18_5::getOldestCompatibleVersion(status);
  std::printf("keldcfgc %s (0x%08" PRIX32 "), compatible back to %s\n", current.toString().c_str(), current.word(),
              oldest.toString().c_str());
  return 0;
}

int ShowErrorTexts(const std::vector<std::string>& codes) {
  for (const std::string& code : codes) {
    const auto status = static_cast<std::uint32_t>(std::stoul(code, nullptr, 0));
    char text[255];
    cfgGetErrorText(status, text);
    std::printf("0x%08" PRIX32 ": %s\n", status, text);
  }
  return 0;
}


// Prints a failed call with its status word and text; the exit status 1.
int Failed(const std::string& what, std::int32_t status) {
  std::fprintf(stderr, "keldcfg: %s: 0x%08" PRIX32 " %s\n", what.c_str(), static_cast<std::uint32_t>(status),
               ErrorText(status).c_str());
  return 1;
}

// Flags of the acquisition functions: bring the image back (a remote
// session's reply carries it only with this bit) and decode raw Bayer data
// to colour.
constexpr std::uint32_t kWithImage = 1;
constexpr std::uint32_t kDecodeBayer = 16;
constexpr std::uint32_t kFrameRateKey = 0x3FF600D9;

// What the acquisition commands share: where the board is, which board,
// and what to change on it before acquiring.
struct BoardChoice {
  std::string host;
  std::string board;
  std::string cameraFile;
  double frameRate = -1;  // below 0: as the camera file says
};

// A session on a board, closed at the end of its scope.
class Board {
 public:
  Board() = default;
  Board(const Board&) = delete;
  Board& operator=(const Board&) = delete;
  ~Board() {
    if (id_ != 0) cfgClose(id_);
  }
  // Opens the board and sets it up as chosen; 0 or the exit status.
  int Open(const BoardChoice& choice) {
    const char* host = choice.host.empty() ? nullptr : choice.host.c_str();
    // The boards' interface files, which their names stand for, are made
    // by an enumeration where a board has none yet.
    std::int32_t status = cfgRefreshBoards(host);
    if (status != 0) return Failed("list the boards", status);
    status = cfgOpenBoard(host, choice.board.c_str(), 0, &id_);
    if (status != 0) {
      id_ = 0;
      return Failed("open " + choice.board, status);
    }
    if (!choice.cameraFile.empty()) {
      status = cfgReadAttributes(id_, choice.cameraFile.c_str());
      if (status != 0) return Failed("camera file " + choice.cameraFile, status);
    }
    if (choice.frameRate >= 0) {
      status = cfgSetAttributeDouble(id_, kFrameRateKey, choice.frameRate, 0);
      if (status != 0) return Failed("frame rate", status);
    }
    return 0;
  }
  std::uint32_t id() const { return id_; }

 private:
  std::uint32_t id_ = 0;
};

// An image of the image library, disposed of at the end of its scope.
struct ImageDeleter {
  void operator()(Image* image) const { DisposeImage(image); }
};
using ImagePointer = std::unique_ptr<Image, ImageDeleter>;

ImagePointer MakeImage() {
  Image* image = nullptr;
  if (NewImage(&image, ODV_U8, 0, 0, 0) != ODV_SUCCESS) return nullptr;
  return ImagePointer(image);
}

const char* TypeName(std::uint32_t type) {
  switch (type) {
    case ODV_U8:
      return "8-bit monochrome";
    case ODV_U16:
      return "16-bit monochrome";
    case ODV_RGB32:
      return "colour";
    default:
      return "other";
  }
}

std::uint32_t HeaderWord(const Image* image, int index) {
  return reinterpret_cast<const std::uint32_t*>(image)[index];
}

// Snaps one frame and writes it as PNG; raw Bayer frames are decoded to
// colour unless `raw` asks for the mosaic.
int SnapToPng(const BoardChoice& choice, const std::string& output, bool raw) {
  Board board;
  if (const int failed = board.Open(choice); failed != 0) return failed;
  ImagePointer image = MakeImage();
  if (!image) return Failed("image", static_cast<std::int32_t>(ODV_E_NO_MEMORY));
  const std::uint32_t flags = kWithImage | (raw ? 0 : kDecodeBayer);
  std::int32_t status = cfgSnapImage(board.id(), flags, image.get());
  if (status != 0) return Failed("snap on " + choice.board, status);
  const OdvStatus written = WriteImagePNG(image.get(), output.c_str());
  if (written != ODV_SUCCESS) return Failed("write " + output, static_cast<std::int32_t>(written));
  const std::uint32_t type = HeaderWord(image.get(), ODV_WORD_TYPE);
  std::printf("%s: %" PRIu32 " x %" PRIu32 " %s frame written to %s\n", choice.board.c_str(),
              HeaderWord(image.get(), ODV_WORD_WIDTH), HeaderWord(image.get(), ODV_WORD_HEIGHT), TypeName(type),
              output.c_str());
  return 0;
}

// Grabs `count` frames and prints their buffer numbers as runs, with every
// gap (frames the board lost, or that came while this program was busy)
// and every number seen twice (a remote target answers with its newest
// image, which may be the one it gave before).
int GrabFrames(const BoardChoice& choice, std::uint32_t count, bool quiet) {
  Board board;
  if (const int failed = board.Open(choice); failed != 0) return failed;
  ImagePointer image = MakeImage();
  if (!image) return Failed("image", static_cast<std::int32_t>(ODV_E_NO_MEMORY));
  std::int32_t status = cfgSetupGrab(board.id(), kWithImage);
  if (status != 0) return Failed("set up the grab on " + choice.board, status);
  std::vector<std::uint32_t> numbers;
  numbers.reserve(count);
  const bool terminal = isatty(fileno(stderr)) != 0;
  const auto start = std::chrono::steady_clock::now();
  auto lastReport = start;
  for (std::uint32_t i = 0; i < count; ++i) {
    std::uint32_t number = 0;
    status = cfgGrabImage(board.id(), &number, image.get());
    if (status != 0) {
      if (terminal && lastReport != start) std::fprintf(stderr, "\n");
      Failed("grab " + std::to_string(i + 1) + " of " + std::to_string(count) + " on " + choice.board, status);
      break;
    }
    numbers.push_back(number);
    const auto now = std::chrono::steady_clock::now();
    if (!quiet && now - lastReport >= std::chrono::seconds(1)) {
      lastReport = now;
      // One line rewritten on a terminal, one line a report elsewhere.
      std::fprintf(stderr, "%s%" PRIu32 " of %" PRIu32 " frames, buffer %" PRIu32 "%s", terminal ? "\r" : "", i + 1,
                   count, number, terminal ? "" : "\n");
      std::fflush(stderr);
    }
  }
  if (!quiet && terminal && lastReport != start) std::fprintf(stderr, "\n");
  cfgStopAcquisition(board.id());
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();

  // Runs of consecutive numbers; a number given again (a remote target's
  // newest image may still be the one it gave before) is counted, not
  // listed twice.
  std::string runs;
  std::uint64_t missing = 0;
  std::uint32_t repeated = 0;
  std::vector<std::string> gaps;
  std::vector<std::uint32_t> distinct;
  for (const std::uint32_t number : numbers) {
    if (!distinct.empty() && number == distinct.back()) {
      ++repeated;
    } else {
      distinct.push_back(number);
    }
  }
  for (std::size_t i = 0; i < distinct.size();) {
    std::size_t end = i;
    while (end + 1 < distinct.size() && distinct[end + 1] == distinct[end] + 1) ++end;
    if (!runs.empty()) runs += " ";
    runs += end == i ? std::to_string(distinct[i]) : std::to_string(distinct[i]) + "-" + std::to_string(distinct[end]);
    if (end + 1 < distinct.size()) {
      const std::uint32_t before = distinct[end];
      const std::uint32_t after = distinct[end + 1];
      if (after > before) {
        missing += after - before - 1;
        gaps.push_back(after - before == 2 ? std::to_string(before + 1)
                                           : std::to_string(before + 1) + "-" + std::to_string(after - 1));
      } else {
        gaps.push_back("back from " + std::to_string(before) + " to " + std::to_string(after));
      }
    }
    i = end + 1;
  }
  std::printf("%s: %zu frames in %.2f s, buffer numbers %s\n", choice.board.c_str(), numbers.size(), seconds,
              runs.empty() ? "none" : runs.c_str());
  if (gaps.empty()) {
    std::printf("no gaps");
  } else {
    std::printf("%" PRIu64 " frames missing:", missing);
    for (const std::string& gap : gaps) std::printf(" %s", gap.c_str());
  }
  if (repeated != 0) std::printf(", %" PRIu32 " numbers given again", repeated);
  std::printf("\n");
  return status == 0 ? 0 : 1;
}
}  // namespace

namespace {

// The sections of a manual page that the options alone do not tell.
constexpr const char* kHelpFooter = R"(
HOST
  Absent or 127.0.0.1      this computer, through the library itself.
  NAME or ADDRESS          the target server keldcfgd on that host, on the
                           port of the registry value RemotePort (7750).
  ADDRESS::TARGET          the target TARGET on that host, whose port its
                           service locator (TCP 3580) tells.

FILES
  /etc/keldcfgc/registry.reg  the library's settings (RemotePort,
                              ShowAllPhantomBoards); without it the defaults
                              hold. An example comes with the documentation
                              (share/doc/keldcfgc).

EXIT STATUS
  0 success; 1 a call failed (its status word and text are printed); 2 a
  bad argument; other values: the command line was not understood.

EXAMPLES
  keldcfg version
  keldcfg version --host 10.0.0.7::demo
  keldcfg mtu --host 10.0.0.7 eth0
  keldcfg error 0xBFFF8009
  keldcfg snap --board img0 frame.png
  keldcfg grab --board img1 --count 1000 --host 10.0.0.7)";

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{"keldcfg: configure frame-grabber boards and cameras"};
  app.footer(kHelpFooter);
  std::int32_t status = 0;
  app.set_version_flag("--version", "keldcfg of keldcfgc " + nKELDCFGC_18_5::getCurrentVersion(status).toString(),
                       "print the library's version and exit");
  app.require_subcommand(1);

  auto* version = app.add_subcommand("version", "print the library's version, or a target's with --host");
  std::string host;
  version->add_option("--host", host, "target host: name or address, or 127.0.0.1::target for the locator");
  auto* mtu = app.add_subcommand("mtu", "print the MTU of a network adapter of a target");
  std::string adapter;
  mtu->add_option("--host", host, "target host")->required();
  mtu->add_option("adapter", adapter, "adapter name, such as lo")->required();
  auto* error = app.add_subcommand("error", "print the text of status codes");
  std::vector<std::string> codes;
  error->add_option("codes", codes, "status codes, decimal or 0x-hex")->required();

  BoardChoice snapChoice;
  BoardChoice grabChoice;
  const auto boardOptions = [](CLI::App* command, BoardChoice& choice, const char* board) {
    choice.board = board;
    command->add_option("--host", choice.host, "target host (absent: this computer)");
    command->add_option("--board", choice.board, "interface name of the board")->capture_default_str();
    command->add_option("--camera", choice.cameraFile, "camera file to load first, such as mono640.icd");
    command->add_option("--frame-rate", choice.frameRate, "frames per second to set first (0: as fast as asked)")
        ->check(CLI::Range(0.0, 1000.0));
  };
  auto* snap = app.add_subcommand("snap", "snap one frame from a board and write it as PNG");
  boardOptions(snap, snapChoice, "img0");
  std::string output;
  bool raw = false;
  snap->add_option("output", output, "PNG file to write")->required();
  snap->add_flag("--raw", raw, "keep a raw Bayer mosaic as it is, without decoding it to colour");
  auto* grab = app.add_subcommand("grab", "grab frames from a board and print their buffer numbers and gaps");
  boardOptions(grab, grabChoice, "img1");
  std::uint32_t count = 100;
  bool quiet = false;
  grab->add_option("--count", count, "frames to grab")->capture_default_str()->check(CLI::Range(1u, 100000000u));
  grab->add_flag("--quiet", quiet, "no progress on standard error");

  CLI11_PARSE(app, argc, argv);
  try {
    if (version->parsed()) return host.empty() ? ShowVersion() : ShowTargetVersion(host);
    if (mtu->parsed()) return ShowMtu(host, adapter);
    if (error->parsed()) return ShowErrorTexts(codes);
    if (snap->parsed()) return SnapToPng(snapChoice, output, raw);
    if (grab->parsed()) return GrabFrames(grabChoice, count, quiet);
  } catch (const std::exception& e) {
    std::fprintf(stderr, "keldcfg: %s\n", e.what());
    return 2;
  }
  return 1;
}
